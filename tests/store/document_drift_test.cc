// The drift of the store from an export document: none from the store's
// own export, and after changes drift that the drift objects read back as
// exactly those changes, which an import of the document then removes.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/drift_compute.h"
#include "database_root.h"
#include "json/document.h"

namespace OrinConfigStore {
namespace {

// Repeated sub-objects and plain arrays of the sample types: the walk needs
// to know them, as any reader of drift does.
const std::set<std::string> kRepeated = {"addresses"};
const std::set<std::string> kPlainArrays = {"servers", "modules"};

std::string Serialized(const JVal& value) {
  std::string text;
  ConfigStoreDocument::SerializeValue(value, text);
  return text;
}

// A drift object read back through its walks, in one line: "key:OP" for
// members added or deleted whole, "key=<value>" for a new value,
// "key{...}" for a sub-object's drift and "key[id]:OP" or "key[id]{...}"
// per instance of a repeated sub-object.
std::string Walk(const DriftObject& drift) {
  const auto data = CreateDocumentFromString(drift.GetData());
  std::string text;
  for (const auto& [key, operation] : drift.Get()) {
    if (!text.empty()) text += " ";
    if (operation == "ADD" || operation == "DELETE") {
      text += key + ":" + operation;
      EXPECT_EQ(drift.GetSubObject(SubObjectId(key))->GetOperation(), operation);
    } else if (kRepeated.count(key) != 0) {
      std::string separator;
      for (const auto& instance : drift.GetSubObjectInstances(SubObjectId(key))) {
        const std::string id = instance->GetConfigStoreObjectId().instanceId;
        EXPECT_EQ(drift.GetSubObject(SubObjectId(key, id))->GetData(), instance->GetData());
        text += separator + key + "[" + id + "]";
        separator = " ";
        text += instance->GetOperation() == "SET" ? "{" + Walk(*instance) + "}"
                                                  : ":" + instance->GetOperation();
      }
    } else if (kPlainArrays.count(key) != 0) {
      // A new plain array travels as the value, read from the whole data.
      text += key + "=" + Serialized(data->GetDocument()[key.c_str()]);
    } else {
      const auto member = drift.GetSubObject(SubObjectId(key));
      EXPECT_EQ(member->GetOperation(), "SET");
      const auto value = CreateDocumentFromString(member->GetData());
      text += value->GetDocument().IsObject() ? key + "{" + Walk(*member) + "}"
                                              : key + "=" + member->GetData();
    }
  }
  return text;
}

class DocumentDriftTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store_->SetUserData(CreateObject(kResolver, R"({"domain":"example.org","servers":["10.0.0.1"],
                                                    "options":{"timeout":5,"attempts":2}})"),
                        EXTERNAL);
    store_->SetVitalData(CreateObject(kPlatform, R"({"serialNumber":"S1"})"));
    store_->SetUserData(
        CreateObject(kPlatform, R"({"assetTag":"A1","location":{"rack":"r1","slot":3}})"),
        EXTERNAL);
    store_->SetInstances({CreateObject(Nic("nic0"), R"({"network":"backend"})"),
                          CreateObject(Nic("nic1"), R"({"network":"frontend","mtu":9000,
                              "addresses":[{"address":"10.0.0.1","prefixLength":24},
                                           {"address":"10.0.0.2"}]})"),
                          CreateObject(Nic("nic2"), "{}")},
                         EXTERNAL);
  }
  static ConfigStoreObjectId Nic(const char* name) {
    return ConfigStoreObjectId("nics", "interfaces", "net", name);
  }
  std::vector<std::shared_ptr<DriftObject>> Drift(const std::string& document) {
    return ComputeDocumentDrift(store_, CreateDocumentFromString(document));
  }
  std::string Exported() { return Serialized(store_->Export({})->GetDocument()); }

  const ConfigStoreObjectId kResolver{"resolver", "dns", "net"};
  const ConfigStoreObjectId kPlatform{"platform", "hardware", "orin"};
  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(DocumentDriftTest, NoneFromTheStoresOwnExport) {
  EXPECT_TRUE(Drift(Exported()).empty());
  EXPECT_TRUE(Drift(Serialized(store_
                                   ->Export({std::make_shared<FilterSpecObject>(
                                       ConfigStoreObjectId("nics", "interfaces", "net"))})
                                   ->GetDocument()))
                  .empty());
  EXPECT_TRUE(Drift("{}").empty());
}

// Every drift is fed back through CreateDriftObject and walked.
TEST_F(DocumentDriftTest, DescribesExactlyTheChanges) {
  const std::string desired =
      R"({"net":{"dns":{"resolver":{"domain":"lab.example","servers":["10.0.0.2"],)"
      R"("options":{"timeout":7,"rotate":true}}},)"
      R"("interfaces":{"nics":[{"name":"nic3","mtu":1500},{"name":"nic2"},)"
      R"({"name":"nic1","mtu":1500,"addresses":[{"address":"10.0.0.3"},)"
      R"({"address":"10.0.0.1","prefixLength":16}]}]}},)"
      R"("orin":{"hardware":{"platform":{"serialNumber":"S1","location":{"rack":"r1","slot":4}}},)"
      R"("kernix":{"options":{"bootDelay":3}}}})";
  std::vector<std::string> walked;
  for (const auto& drift : Drift(desired)) {
    const auto read =
        CreateDriftObject(drift->GetConfigStoreObjectId(), drift->GetData(), drift->GetOperation());
    const ConfigStoreObjectId id = read->GetConfigStoreObjectId();
    walked.push_back(id.component + "/" + id.group + "/" + id.key +
                     (id.instanceId.empty() ? "" : "/" + id.instanceId) + " " +
                     read->GetOperation() + " " + Walk(*read));
  }
  EXPECT_EQ(walked, (std::vector<std::string>{
                        R"(net/dns/resolver SET domain="lab.example" servers=["10.0.0.2"] )"
                        "options{timeout=7 rotate:ADD attempts:DELETE}",
                        "net/interfaces/nics/nic0 DELETE network:DELETE name:DELETE",
                        "net/interfaces/nics/nic1 SET mtu=1500 addresses[10.0.0.3]:ADD "
                        "addresses[10.0.0.1]{prefixLength=16} addresses[10.0.0.2]:DELETE "
                        "network:DELETE",
                        "net/interfaces/nics/nic3 ADD name:ADD mtu:ADD",
                        "orin/hardware/platform SET location{slot=4} assetTag:DELETE",
                        "orin/kernix/options ADD bootDelay:ADD",
                    }));

  // Importing the desired state leaves no drift.
  store_->Import(CreateDocumentFromString(desired), EXTERNAL);
  EXPECT_TRUE(Drift(desired).empty());
}

TEST_F(DocumentDriftTest, RefusesWhatImportWouldRefuse) {
  EXPECT_CS_ERROR(ValidationException, 2000, "Drift document failed validation",
                  Drift(R"({"net":{"dns":{"nothing":{}}}})"));
  EXPECT_CS_ERROR(ValidationException, 2000, "Drift document failed validation",
                  Drift(R"({"net":{"interfaces":{"nics":[{"mtu":1500}]}}})"));
  EXPECT_CS_ERROR(ValidationException, 2000, "Drift document failed validation",
                  ComputeDocumentDrift(store_, nullptr));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Drift needs a store",
                  ComputeDocumentDrift(nullptr, CreateDocumentFromString("{}")));
}

}  // namespace
}  // namespace OrinConfigStore
