// A caller's view: only <configstore/configstore.h>, linked against the
// shared library alone.

#include <configstore/configstore.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <stdlib.h>

#include <filesystem>
#include <unordered_set>

namespace {

using namespace OrinConfigStore;

TEST(PublicApi, IdentifiersPrintCompareAndHash) {
  const ConfigStoreObjectId id("options", "kernix", "orin");
  EXPECT_EQ(id.toString(), "comp orin grp kernix key options");
  EXPECT_EQ(hashCsoId(id), 0x873b68b592bd3e45u);
  const std::unordered_set<ConfigStoreObjectId> set{
      id, ConfigStoreObjectId("options", "kernix", "orin")};
  EXPECT_EQ(set.size(), 1u);
  EXPECT_EQ(GenerateInstanceId().size(), 36u);
}

TEST(PublicApi, ExceptionsCrossTheLibraryBoundary) {
  try {
    ThrowValidation(CS_ERR_VALIDATE_SET, {{"/mtu", "too big"}});
    FAIL() << "no exception";
  } catch (const ValidationException& e) {
    EXPECT_EQ(e.toString(),
              "Error Code: 1089\nMessage: Failed to validate Set\nDetails: \n/mtu: too big\n");
  }
  EXPECT_THROW(ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING),
               InvalidArgumentException);
  StoreObject object(ConfigStoreObjectId("k", "g", "c"));
  object.SetValue("s", "x");
  int i = 0;
  EXPECT_THROW(object.GetValue("s", &i), InvalidTypeException);
  // rapidjson code compiled into the caller throws through the library's hook.
  EXPECT_THROW(object.GetValuePtr("s")->GetInt(), ConfigStoreException);
}

TEST(PublicApi, ReadAndWriteEveryKindOfValue) {
  StoreObject object(ConfigStoreObjectId("k", "g", "c"));
  object.SetValue("s", std::string("text"));
  object.SetValue("l", 1L << 40);
  object.SetValue("uc", static_cast<unsigned char>(9));
  object.SetValue("d", 0.25);
  object.SetValue("strings", std::vector<std::string>{"a"});
  object.AppendValue("strings", "b");
  const unsigned char bytes[] = {1, 2, 3};
  object.SetValueBinary("bin", bytes, 3);

  long l = 0;
  std::vector<std::string> strings;
  unsigned char* data = nullptr;
  unsigned long length = 0;
  EXPECT_EQ(object.GetValue("l", &l), 1);
  EXPECT_EQ(l, 1L << 40);
  EXPECT_EQ(object.GetValue("strings", &strings), 1);
  EXPECT_EQ(strings, (std::vector<std::string>{"a", "b"}));
  ASSERT_EQ(object.GetValueBinary("bin", &data, &length), 1);
  delete[] data;
  EXPECT_EQ(length, 3u);
  EXPECT_TRUE(object.Remove("bin"));
  EXPECT_EQ(object.GetData(),
            R"({"s":"text","l":1099511627776,"uc":9,"d":0.25,"strings":["a","b"]})");
}

// A scratch host root with the sample schemas, made with public calls only.
class SampleRoot {
 public:
  SampleRoot() {
    std::string pattern = std::filesystem::temp_directory_path() / "configstore-api-XXXXXX";
    path_ = mkdtemp(pattern.data());
    setenv("CONFIGSTORE_ROOT", path_.c_str(), 1);
    const std::string schemas = std::string(CONFIGSTORE_EXAMPLES_DIR) + "/schemas/";
    OrinSchemaStore::LoadSchemaFile(schemas + "net.json");
    OrinSchemaStore::LoadSchemaFile(schemas + "orin.json");
  }
  // Runs SQL on the configuration database directly, as another program on
  // the host might.
  void Sql(const char* statements) const {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((path_ + "/etc/tessel/configstore/current-store-1").c_str(), &db),
              SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, statements, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  ~SampleRoot() {
    unsetenv("CONFIGSTORE_ROOT");
    std::filesystem::remove_all(path_);
  }

 private:
  std::string path_;
};

TEST(PublicApi, ObjectsSubObjectsFiltersAndDefaultsOnASampleRoot) {
  SampleRoot root;
  const auto nic = CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", "nic1"),
                                 R"({"network": "storage"})");
  int mtu = 0;
  EXPECT_EQ(nic->GetValue("mtu", &mtu), 2);  // from the schema's defaults
  EXPECT_EQ(mtu, 1500);
  for (const char* address : {"10.0.0.1", "10.0.0.2", "10.0.1.1"}) {
    nic->CreateSubObject(SubObjectId("addresses", address))->SetValue("gateway", "10.0.0.254");
  }
  nic->GetSubObject(SubObjectId("addresses", "10.0.1.1"))->SetValue("gateway", "10.0.1.254");

  auto filter =
      std::make_shared<FilterSpecObject>(ConfigStoreObjectId("addresses", "interfaces", "net"));
  filter->SetValue("gateway", "10.0.0.254");
  EXPECT_EQ(nic->GetSubObjectInstances(filter).size(), 2u);
  nic->DeleteSubObjectInstances(filter);
  EXPECT_EQ(nic->GetData(),
            R"({"network":"storage","name":"nic1","addresses":[{"address":"10.0.1.1",)"
            R"("gateway":"10.0.1.254"}]})");
  EXPECT_THROW(CreateObject(ConfigStoreObjectId("none", "x", "y"), "{}"), ConfigStoreException);
}

TEST(PublicApi, ReadsThroughTheStore) {
  SampleRoot root;  // loading schemas initialises the database too
  root.Sql(
      "INSERT INTO Config(Component, ConfigGroup, Name, Identifier, UserValue, VitalValue, "
      "Revision)"
      " VALUES('net', 'interfaces', 'nics', 'nic1', '{\"mtu\":9000}', "
      "'{\"macAddress\":\"02:00:00:00:00:01\"}', 3);");
  auto store = ConfigStore::GetStore("");
  const ConfigStoreObjectId nic1("nics", "interfaces", "net", "nic1");
  const auto object = store->Get(nic1);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->GetData(), R"({"macAddress":"02:00:00:00:00:01","name":"nic1","mtu":9000})");
  bool enabled = false;
  EXPECT_EQ(object->GetValue("enabled", &enabled), 2);  // from the schema's defaults
  EXPECT_TRUE(enabled);
  EXPECT_EQ(store->GetRevision(nic1), 3);
  const ConfigStoreObjectId nics("nics", "interfaces", "net");
  EXPECT_EQ(store->GetInstanceIds(nics), std::vector<std::string>{"nic1"});
  EXPECT_EQ(store->GetInstances(std::make_shared<FilterSpecObject>(nics)).size(), 1u);
  const auto defaults = store->GetDefaultConfig(ConfigStoreObjectId("options", "kernix", "orin"));
  ASSERT_NE(defaults, nullptr);
  EXPECT_EQ(defaults->GetData(), R"({"maxVcpus":128,"bootDelay":0,"console":"vga"})");
  EXPECT_EQ(store->Get(ConfigStoreObjectId("options", "kernix", "orin")), nullptr);
  EXPECT_THROW(ConfigStore::GetStore("other"), InvalidArgumentException);
}

TEST(PublicApi, WritesInEveryContextAndSource) {
  SampleRoot root;
  auto store = ConfigStore::GetStore("");
  const ConfigStoreObjectId resolver("resolver", "dns", "net");
  store->SetUserData(CreateObject(resolver, R"({"domain":"user.example"})"), EXTERNAL);
  store->SetUserData(CreateObject(resolver, R"({"servers":["10.0.0.1"]})"), INTERNAL);
  store->Update(CreateObject(resolver, R"({"options":{"timeout":2}})"), EXTERNAL);
  EXPECT_EQ(store->Get(resolver)->GetData(),
            R"({"servers":["10.0.0.1"],"domain":"user.example","options":{"timeout":2}})");
  EXPECT_EQ(store->GetRevision(resolver), 3);

  const ConfigStoreObjectId platform("platform", "hardware", "orin");
  store->SetVitalData(CreateObject(platform, R"({"serialNumber":"SN-1"})"));
  store->SetCachedData(CreateObject(ConfigStoreObjectId("pciDevices", "inventory", "orin"),
                                    R"({"deviceCount":12})"));
  EXPECT_EQ(store->Get(platform)->GetData(), R"({"serialNumber":"SN-1"})");

  const ConfigStoreObjectId nics("nics", "interfaces", "net");
  std::vector<std::shared_ptr<ConfigStoreObject>> list;
  for (const char* name : {"nic0", "nic1", "nic2"}) {
    list.push_back(CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", name),
                                R"({"network":"net"})"));
  }
  {
    ConfigStoreTransaction transaction(store);
    store->SetInstances(list, EXTERNAL);
    transaction.Commit();
  }
  auto nic1 =
      std::make_shared<FilterSpecObject>(ConfigStoreObjectId("nics", "interfaces", "net", "nic1"));
  store->DeleteInstances(nic1);
  EXPECT_EQ(store->GetInstanceIds(nics), (std::vector<std::string>{"nic0", "nic2"}));
  store->Delete(resolver);
  EXPECT_EQ(store->Get(resolver), nullptr);
}

TEST(PublicApi, DesiredStateKernelOptionsAndCommands) {
  SampleRoot root;
  auto store = ConfigStore::GetStore("");
  const ConfigStoreObjectId options("options", "kernix", "orin");
  store->SetUserData(CreateObject(options, R"({"bootDelay":1})"), EXTERNAL);
  UpdateKernelOptions(CreateObject(options, R"({"console":"com1"})"));
  EXPECT_EQ(GetKernelOptions(options)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  EXPECT_EQ(GetDesiredUserConfig(options)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  EXPECT_EQ(store->Get(options)->GetData(), R"({"bootDelay":1})");  // in force at the next boot

  SetPartialBootStatus(CreateObject(options, R"({"console":"com1"})"));  // restores all of it
  EXPECT_EQ(store->Get(options)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  SetBootStatus(options, true);

  const char* succeed[] = {"/bin/sh", "-c", "exit 0", nullptr};
  const char* fail[] = {"/bin/sh", "-c", "exit 3", nullptr};
  EXPECT_TRUE(ExecCommand(succeed));
  EXPECT_FALSE(ExecCommand(fail));
}

TEST(PublicApi, DescribeTypesAndMoveThemBetweenHosts) {
  std::string exported;
  {
    SampleRoot source;
    const auto types = OrinSchemaStore::DescribeSchemas();
    ASSERT_TRUE(types->GetDocument().IsArray());
    EXPECT_EQ(std::string(types->GetDocument()[0]["key"].GetString()), "resolver");
    auto store = ConfigStore::GetStore("");
    store->SetUserData(
        CreateObject(ConfigStoreObjectId("resolver", "dns", "net"), R"({"domain":"a.example"})"),
        EXTERNAL);
    exported = SerializeJson(store->Export({})->GetDocument());
  }
  SampleRoot target;
  auto store = ConfigStore::GetStore("");
  store->Import(CreateDocumentFromString(exported), EXTERNAL);
  EXPECT_EQ(store->Get(ConfigStoreObjectId("resolver", "dns", "net"))->GetData(),
            R"({"domain":"a.example"})");
}

TEST(PublicApi, WalkADriftObject) {
  const auto drift = CreateDriftObject(
      ConfigStoreObjectId("nics", "interfaces", "net", "nic1"),
      R"({"mtu": 9000, "addresses": [{"INSTANCEID": "10.0.0.1", "DRIFTOP": "DELETE"}]})", "SET");
  const auto properties = drift->Get();
  ASSERT_EQ(properties.size(), 2u);
  EXPECT_EQ(properties[0], std::make_pair(std::string("mtu"), std::string("SET")));
  const auto deleted = drift->GetSubObject(SubObjectId("addresses", "10.0.0.1"));
  ASSERT_NE(deleted, nullptr);
  EXPECT_EQ(deleted->GetOperation(), "DELETE");
  EXPECT_EQ(deleted->GetData(), "{}");
}

}  // namespace
