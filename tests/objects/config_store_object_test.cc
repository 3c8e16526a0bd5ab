// Configuration objects: construction from the schema store, defaults, the
// id map, generated ids, SetValueEx, and sub-objects: the singleton and
// repeated rules, views that share the parent's document, and instances
// listed and deleted through filters.

#include "configstore/config_store_object.h"

#include <gtest/gtest.h>

#include "configstore/filter_object.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "outcome.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic1");
const std::string kInvalidJson = "ConfigStore 2000 Invalid JSON";

JDoc Json(const char* text) {
  JDoc document;
  document.Parse(text);
  return document;
}

class ConfigStoreObjectTest : public ::testing::Test {
 protected:
  static std::shared_ptr<ConfigStoreObject> Nic(const char* json) {
    return CreateObject(kNic, json);
  }
  static std::shared_ptr<FilterSpecObject> Filter(const char* key, const char* instance = "") {
    return std::make_shared<FilterSpecObject>(
        ConfigStoreObjectId(key, "interfaces", "net", instance));
  }
  using Ids = std::vector<std::string>;
  static Ids InstanceIds(const std::vector<std::shared_ptr<ConfigStoreObject>>& views) {
    Ids ids;
    for (const auto& view : views) ids.push_back(view->GetConfigStoreObjectId().instanceId);
    return ids;
  }

  cstest::SampleSchemaRoot root_;
};

TEST_F(ConfigStoreObjectTest, ConstructionNeedsAKnownTypeAndAnObject) {
  const ConfigStoreObjectId unknown("nothing", "dns", "net");
  const std::string notFound = "ConfigStore 1037 Schema object not found: " + unknown.toString();
  EXPECT_EQ(RAISED(ConfigStoreObject{unknown}), notFound);
  EXPECT_EQ(RAISED(CreateObject(unknown, "{}")), notFound);
  EXPECT_EQ(RAISED(CreateObject(kNic, CreateDocumentFromString("{}"), nullptr)),
            "ConfigStore 1037 Schema object not found: comp net grp interfaces key nics id nic1");
  EXPECT_EQ(RAISED(CreateObject(kResolver, "[]")), "InvalidArgument 1082 Invalid JSON");

  const ConfigStoreObject fresh(kResolver);
  EXPECT_TRUE(fresh.IsEmpty());
  EXPECT_EQ(fresh.GetVersion() + fresh.GetCreationTime() + fresh.GetModifiedTime(), "");
  EXPECT_EQ(fresh.GetRevision(), 0u);
  EXPECT_EQ(GetSchemaVersion(kResolver), "1.2");
  EXPECT_EQ(GetSchemaVersion(ConfigStoreObjectId("x", "y", "z")), "");
}

TEST_F(ConfigStoreObjectTest, DefaultsAnswerWithReturnCodeTwoAtEveryLevel) {
  const auto resolver = CreateObject(kResolver, R"({"domain": "lab", "options": {"attempts": 4}})");
  std::string domain;
  int value = 0;
  EXPECT_EQ(resolver->GetValue("domain", &domain), 1);
  const auto options = resolver->GetSubObject(SubObjectId("options"));
  EXPECT_EQ(options->GetValue("timeout", &value), 2);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(options->GetValue("attempts", &value), 1);
  EXPECT_EQ(options->GetValue("domain", &domain), 0);  // the parent's default is not the view's
  // Instances of a repeated sub-object share the items' defaults.
  const auto nic = Nic(R"({"addresses": [{"address": "10.0.0.1"}]})");
  EXPECT_EQ(nic->GetValue("mtu", &value), 2);
  const auto address = nic->GetSubObject(SubObjectId("addresses", "10.0.0.1"));
  EXPECT_EQ(address->GetValue("prefixLength", &value), 2);
  EXPECT_EQ(value, 24);
  // A type without defaults answers 0; list getters take defaults too.
  const auto platform = CreateObject(ConfigStoreObjectId("platform", "hardware", "orin"), "{}");
  EXPECT_EQ(platform->GetValue("assetTag", &domain), 0);
  cstest::LoadTypes(R"({"component": "test", "group": "types", "key": "lists",
      "schema": {"properties": {"names": {"type": "array", "default": ["x", "y"]}}}})");
  std::vector<std::string> names;
  const auto lists = CreateObject(ConfigStoreObjectId("lists", "types", "test"), "{}");
  EXPECT_EQ(lists->GetValue("names", &names), 2);
  EXPECT_EQ(names, (std::vector<std::string>{"x", "y"}));
}

TEST_F(ConfigStoreObjectTest, IdMapInstanceIdAndGeneratedIds) {
  const auto nic = Nic(R"({"name": "old", "mtu": 9000, "cs_generated_id": "g1"})");
  EXPECT_EQ(nic->GetIdMapStr(), R"({"nics":"name","addresses":"address"})");
  // The identifier's instance id wins, replaced in place; generated ids are
  // hidden from callers only.
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1","mtu":9000})");
  EXPECT_EQ(nic->GetSerializedData(), R"({"name":"nic1","mtu":9000,"cs_generated_id":"g1"})");
  // Without an instance id in the identifier the data keeps its own.
  const auto unnamed =
      CreateObject(ConfigStoreObjectId("nics", "interfaces", "net"), R"({"name": "nic7"})");
  EXPECT_EQ(unnamed->GetData(), R"({"name":"nic7"})");
  EXPECT_EQ(CreateObject(kResolver, "{}")->GetIdMapStr(), "{}");
  // Built without a schema object: no id map, no defaults.
  ConfigStoreObjectImpl bare(kNic, CreateDocumentFromString(R"({"mtu": 1})"), nullptr);
  EXPECT_EQ(bare.GetIdMapStr(), "{}");
  EXPECT_EQ(bare.GetData(), R"({"mtu":1})");
}

TEST_F(ConfigStoreObjectTest, SetValueExMovesChangedMembersToTheEnd) {
  const auto resolver = CreateObject(kResolver, R"({"a": {"x": 1}, "b": 2})");
  const JDoc same = Json(R"({"x": 1})");
  const JDoc other = Json("[1, 2]");
  resolver->SetValueEx("a", &same);
  EXPECT_EQ(resolver->GetData(), R"({"a":{"x":1},"b":2})");
  resolver->SetValueEx("a", &other);
  resolver->SetValueEx("c", &other);
  EXPECT_EQ(resolver->GetData(), R"({"b":2,"a":[1,2],"c":[1,2]})");
  // The value may be a member of the same object, even the one a removal moves.
  resolver->SetValueEx("b", resolver->GetValuePtr("c"));
  EXPECT_EQ(resolver->GetData(), R"({"c":[1,2],"a":[1,2],"b":[1,2]})");
  EXPECT_EQ(RAISED(resolver->SetValueEx(nullptr, &other)), kInvalidJson);
  EXPECT_EQ(RAISED(resolver->SetValueEx("d", nullptr)), kInvalidJson);
}

TEST_F(ConfigStoreObjectTest, InstanceIdFromValue) {
  const auto nics = LookupSchema(kNic);
  EXPECT_EQ(GetInstanceIdFromValue(Json(R"({"name": "nic3", "mtu": 1500})"), nics), "nic3");
  EXPECT_EQ(GetInstanceIdFromValue(Json(R"({"mtu": 1500})"), nics), "");
  EXPECT_EQ(RAISED(GetInstanceIdFromValue(Json(R"({"name": 3})"), nics)),
            "ConfigStore 1032 Invalid value for key name");
  EXPECT_EQ(GetInstanceIdFromValue(Json(R"({"name": 3})"), LookupSchema(kResolver)), "");
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
  EXPECT_NE(nic->GetSubObject(SubObjectId("offload")), nullptr);
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
  nic->DeleteSubObject(SubObjectId("routes"));           // nor here
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
  EXPECT_EQ(RAISED(b->GetData()), kInvalidJson);
  nic->CreateSubObject(SubObjectId("addresses", "c"));
  EXPECT_EQ(RAISED(b->SetValue("gateway", "x")),
            "ConfigStore 2000 Subobject instance does not exists.");
}

TEST_F(ConfigStoreObjectTest, SubObjectInstancesThroughFilters) {
  const auto nic = Nic(R"({"addresses": [{"address": "a", "prefixLength": 24},
                                           {"address": "b", "prefixLength": 16},
                                           {"address": "c", "prefixLength": 24}]})");
  EXPECT_EQ(InstanceIds(nic->GetSubObjectInstances(Filter("addresses"))), (Ids{"a", "b", "c"}));
  EXPECT_EQ(InstanceIds(nic->GetSubObjectInstances(Filter("addresses", "b"))), Ids{"b"});
  EXPECT_TRUE(nic->GetSubObjectInstances(Filter("addresses", "x")).empty());
  auto wide = Filter("addresses");
  wide->SetValue("prefixLength", 24);
  EXPECT_EQ(InstanceIds(nic->GetSubObjectInstances(wide)), (Ids{"a", "c"}));
  EXPECT_EQ(RAISED(nic->GetSubObjectInstances(Filter("offload"))),
            "InvalidArgument 1046 Not a non-singleton object:  key offload");
  EXPECT_TRUE(nic->GetSubObjectInstances(nullptr).empty());
  EXPECT_TRUE(Nic("{}")->GetSubObjectInstances(Filter("addresses")).empty());

  nic->DeleteSubObjectInstances(wide);
  EXPECT_EQ(nic->GetData(), R"({"addresses":[{"address":"b","prefixLength":16}],"name":"nic1"})");
  nic->DeleteSubObjectInstances(Filter("addresses"));
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1"})");

  // Repeated sub-objects that are not arrays of objects with text ids.
  const auto single = Nic(R"({"addresses": {"address": "a"}})");
  const auto numbered = Nic(R"({"addresses": [{"address": 1}]})");
  EXPECT_EQ(RAISED(single->GetSubObject(SubObjectId("addresses", "a"))), kInvalidJson);
  EXPECT_EQ(RAISED(numbered->CreateSubObject(SubObjectId("addresses", "1"))), kInvalidJson);
  EXPECT_EQ(RAISED(numbered->GetSubObjectInstances(Filter("addresses"))), kInvalidJson);
}

}  // namespace
}  // namespace OrinConfigStore
