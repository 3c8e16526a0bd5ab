// Configuration objects: construction from the schema store, defaults, the
// id map, generated ids, SetValueEx, and sub-objects: the singleton and
// repeated rules, views that share the parent's document, and instances
// listed and deleted through filters.

#include "configstore/config_store_object.h"

#include <gtest/gtest.h>

#include "configstore/filter_object.h"
#include "objects/config_store_object_internal.h"
#include "outcome.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

using cstest::kInvalidJson;
using cstest::Parse;
const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic1");

class ConfigStoreObjectTest : public ::testing::Test {
 protected:
  static std::shared_ptr<ConfigStoreObject> Nic(const char* json) {
    return CreateObject(kNic, json);
  }
  // The instance ids that a filter on `key` (and `instance`) lists.
  static std::string Instances(const std::shared_ptr<ConfigStoreObject>& nic,
                               std::shared_ptr<FilterSpecObject> filter) {
    std::string ids;
    for (const auto& view : nic->GetSubObjectInstances(filter))
      ids += view->GetConfigStoreObjectId().instanceId + ";";
    return ids;
  }
  static std::shared_ptr<FilterSpecObject> Filter(const char* key, const char* instance = "") {
    return std::make_shared<FilterSpecObject>(
        ConfigStoreObjectId(key, "interfaces", "net", instance));
  }

  cstest::SampleSchemaRoot root_;
};

TEST_F(ConfigStoreObjectTest, ConstructionNeedsAKnownTypeAndAnObject) {
  const ConfigStoreObjectId unknown("nothing", "dns", "net");
  const std::string notFound = "ConfigStore 1037 Schema object not found: " + unknown.toString();
  EXPECT_EQ(RAISED(ConfigStoreObject{unknown}), notFound);
  EXPECT_EQ(RAISED(CreateObject(unknown, "{}")), notFound);
  EXPECT_EQ(RAISED(CreateObject(kResolver, "[]")), "InvalidArgument 1082 Invalid JSON");

  EXPECT_EQ(GetSchemaVersion(kResolver) + "|" + GetSchemaVersion(unknown), "1.2|");
}

TEST_F(ConfigStoreObjectTest, DefaultsAnswerWithReturnCodeTwoAtEveryLevel) {
  const auto resolver = CreateObject(kResolver, R"({"domain": "lab", "options": {"attempts": 4}})");
  std::string domain;
  int value = 0;
  EXPECT_EQ(resolver->GetValue("domain", &domain), 1);
  const auto options = resolver->GetSubObject(SubObjectId("options"));
  EXPECT_EQ(options->GetValue("timeout", &value), 2);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(options->GetValue("domain", &domain), 0);  // the parent's default is not the view's
  // Instances of a repeated sub-object share the items' defaults.
  const auto nic = Nic(R"({"addresses": [{"address": "10.0.0.1"}]})");
  const auto address = nic->GetSubObject(SubObjectId("addresses", "10.0.0.1"));
  EXPECT_EQ(address->GetValue("prefixLength", &value), 2);
  EXPECT_EQ(value, 24);
}

TEST_F(ConfigStoreObjectTest, IdsGeneratedIdsAndSetValueEx) {
  const auto nic = Nic(R"({"name": "old", "mtu": 9000, "cs_generated_id": "g1"})");
  EXPECT_EQ(nic->GetIdMapStr(), R"({"nics":"name","addresses":"address"})");
  // The identifier's instance id wins, replaced in place; generated ids are
  // hidden from callers only.
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1","mtu":9000})");
  EXPECT_EQ(nic->GetSerializedData(), R"({"name":"nic1","mtu":9000,"cs_generated_id":"g1"})");
  // Without an instance id in the identifier the data keeps its own.
  const ConfigStoreObjectId nics("nics", "interfaces", "net");
  EXPECT_EQ(CreateObject(nics, R"({"name": "nic7"})")->GetData(), R"({"name":"nic7"})");

  const auto schema = LookupSchema(kNic);
  EXPECT_EQ(GetInstanceIdFromValue(Parse(R"({"name": "nic3", "mtu": 1500})"), schema), "nic3");
  EXPECT_EQ(GetInstanceIdFromValue(Parse(R"({"mtu": 1500})"), schema), "");
  EXPECT_EQ(RAISED(GetInstanceIdFromValue(Parse(R"({"name": 3})"), schema)),
            "ConfigStore 1032 Invalid value for key name");

  // SetValueEx writes the data by SetMemberEx's rules, which are tested with it.
  const JDoc list = Parse("[1, 2]");
  nic->SetValueEx("mtu", &list);
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1","mtu":[1,2]})");
}

TEST_F(ConfigStoreObjectTest, SubObjectsFollowTheSingletonAndRepeatedRules) {
  const auto nic = Nic(R"({"tags": ["a"]})");
  const auto first = nic->CreateSubObject(SubObjectId("addresses", "10.0.0.1"));
  nic->CreateSubObject(SubObjectId("addresses", "10.0.0.2"));
  nic->CreateSubObject(SubObjectId("offload"));
  const std::string addresses = R"("addresses":[{"address":"10.0.0.1"},{"address":"10.0.0.2"}])";
  EXPECT_EQ(nic->GetData(), R"({"tags":["a"],"name":"nic1",)" + addresses + R"(,"offload":{}})");
  EXPECT_EQ(first->GetConfigStoreObjectId(),
            ConfigStoreObjectId("addresses", "interfaces", "net", "10.0.0.1"));
  EXPECT_EQ(nic->GetSubObject(SubObjectId("addresses", "10.9.9.9")), nullptr);
  EXPECT_EQ(nic->GetSubObject(SubObjectId("routes", "x")), nullptr);

  const std::string exists = "ConfigStore 2000 Object already exists.";
  EXPECT_EQ(RAISED(nic->CreateSubObject(SubObjectId("addresses", "10.0.0.1"))), exists);
  EXPECT_EQ(RAISED(nic->CreateSubObject(SubObjectId("offload"))), exists);
  EXPECT_EQ(RAISED(nic->CreateSubObject(SubObjectId("addresses"))),
            "ConfigStore 2000 Non-Singleton object should contain instanceId");
  EXPECT_EQ(RAISED(nic->GetSubObject(SubObjectId("addresses"))),
            "ConfigStore 2000 Non-Singleton object should contain instanceId: key addresses");
  EXPECT_EQ(RAISED(nic->GetSubObject(SubObjectId("offload", "3"))),
            "ConfigStore 2000 Singleton object should not contain instanceId: key offload id 3");
  EXPECT_EQ(RAISED(nic->GetSubObject(SubObjectId("tags"))),
            "InvalidArgument 2000 Not a singleton SubObject: key tags");

  nic->DeleteSubObject(SubObjectId("offload", "ignored"));
  nic->DeleteSubObject(SubObjectId("addresses", "zz"));  // unknown: nothing happens
  EXPECT_EQ(nic->GetData(), R"({"tags":["a"],"name":"nic1",)" + addresses + "}");
}

TEST_F(ConfigStoreObjectTest, SubObjectViewsShareTheDocumentAndFailOnceDeleted) {
  const auto nic = Nic(R"({"addresses": [{"address": "a"}, {"address": "b"}]})");
  const auto b = nic->GetSubObject(SubObjectId("addresses", "b"));
  b->SetValue("gateway", "10.0.0.254");
  EXPECT_EQ(
      nic->GetData(),
      R"({"addresses":[{"address":"a"},{"address":"b","gateway":"10.0.0.254"}],"name":"nic1"})");
  nic->DeleteSubObject(SubObjectId("addresses", "a"));  // b moves, its view follows
  std::string gateway;
  EXPECT_EQ(b->GetValue("gateway", &gateway), 1);

  nic->DeleteSubObject(SubObjectId("addresses", "b"));  // the last takes the member along
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1"})");
  EXPECT_EQ(RAISED(b->GetValue("gateway", &gateway)),
            "ConfigStore 2000 Subobject does not exists.");
  nic->CreateSubObject(SubObjectId("addresses", "c"));
  EXPECT_EQ(RAISED(b->SetValue("gateway", "x")),
            "ConfigStore 2000 Subobject instance does not exists.");
}

TEST_F(ConfigStoreObjectTest, SubObjectInstancesThroughFilters) {
  const auto nic = Nic(R"({"addresses": [{"address": "a", "prefixLength": 24},
                                           {"address": "b", "prefixLength": 16},
                                           {"address": "c", "prefixLength": 24}]})");
  EXPECT_EQ(Instances(nic, Filter("addresses")), "a;b;c;");
  EXPECT_EQ(Instances(nic, Filter("addresses", "b")), "b;");
  EXPECT_EQ(Instances(nic, Filter("addresses", "x")), "");
  auto wide = Filter("addresses");
  wide->SetValue("prefixLength", 24);
  EXPECT_EQ(Instances(nic, wide), "a;c;");
  EXPECT_EQ(RAISED(nic->GetSubObjectInstances(Filter("offload"))),
            "InvalidArgument 1046 Not a non-singleton object:  key offload");
  EXPECT_EQ(Instances(Nic("{}"), Filter("addresses")), "");

  nic->DeleteSubObjectInstances(wide);
  EXPECT_EQ(nic->GetData(), R"({"addresses":[{"address":"b","prefixLength":16}],"name":"nic1"})");
  nic->DeleteSubObjectInstances(Filter("addresses"));
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1"})");

  // Repeated sub-objects that are not arrays of objects with text ids.
  EXPECT_EQ(
      RAISED(
          Nic(R"({"addresses": {"address": "a"}})")->GetSubObject(SubObjectId("addresses", "a"))),
      kInvalidJson);
}

}  // namespace
}  // namespace OrinConfigStore
