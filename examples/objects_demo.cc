// Loads the sample schemas into a host root, then builds and edits a
// configuration object the way a host service would: defaults, repeated
// sub-objects, filters, and the drift of an object against its last state.
// Prints one JSON document.
//
//   objects_demo <schemas-dir>        (CONFIGSTORE_ROOT names the host root)

#include <configstore/configstore.h>

#include <iostream>
#include <string>

using namespace OrinConfigStore;

namespace {

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

std::string InstanceIds(const std::vector<std::shared_ptr<ConfigStoreObject>>& instances) {
  std::string list;
  for (const auto& instance : instances) {
    list += (list.empty() ? "" : ", ") + Quoted(instance->GetConfigStoreObjectId().instanceId);
  }
  return "[" + list + "]";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: objects_demo <schemas-dir>\n";
    return 2;
  }
  try {
    const std::string schemas = argv[1];
    const std::size_t types = OrinSchemaStore::LoadSchemaFile(schemas + "/net.json") +
                              OrinSchemaStore::LoadSchemaFile(schemas + "/orin.json");

    const ConfigStoreObjectId id("nics", "interfaces", "net", "nic1");
    const auto nic = CreateObject(id, R"({"network": "storage"})");
    int mtu = 0;
    const int mtuSource = nic->GetValue("mtu", &mtu);
    for (const char* address : {"10.10.0.11", "10.10.0.12", "192.168.5.11"}) {
      nic->CreateSubObject(SubObjectId("addresses", address))->SetValue("prefixLength", 24);
    }
    nic->GetSubObject(SubObjectId("addresses", "192.168.5.11"))->SetValue("gateway", "192.168.5.1");

    auto withoutGateway =
        std::make_shared<FilterSpecObject>(ConfigStoreObjectId("addresses", "interfaces", "net"));
    withoutGateway->SetValue("prefixLength", 24);
    const auto matching = nic->GetSubObjectInstances(withoutGateway);

    const auto drift = CreateDriftObject(
        id, R"({"mtu": 9000, "addresses": [{"INSTANCEID": "10.10.0.12", "DRIFTOP": "DELETE"}]})",
        "SET");
    std::string driftLines;
    for (const auto& [property, operation] : drift->Get()) {
      driftLines += (driftLines.empty() ? "" : ", ") + Quoted(property + " " + operation);
    }

    std::cout << "{\n"
              << "  \"schemaTypesLoaded\": " << types << ",\n"
              << "  \"object\": " << Quoted(id.toString()) << ",\n"
              << "  \"schemaVersion\": " << Quoted(GetSchemaVersion(id)) << ",\n"
              << "  \"mtu\": {\"value\": " << mtu
              << ", \"fromDefaults\": " << (mtuSource == 2 ? "true" : "false") << "},\n"
              << "  \"instancesWithPrefix24\": " << InstanceIds(matching) << ",\n"
              << "  \"data\": " << nic->GetData() << ",\n"
              << "  \"drift\": [" << driftLines << "]\n"
              << "}\n";
    return 0;
  } catch (const ConfigStoreException& e) {
    std::cerr << e.toString();
    return 1;
  }
}
