// Configuration objects: construction from the schema store, defaults,
// the id map, generated ids and SetValueEx.

#include <gtest/gtest.h>

#include "configstore/config_store_object.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic1");

class ConfigStoreObjectTest : public ::testing::Test {
 protected:
  cstest::SampleSchemaRoot root_;
};

TEST_F(ConfigStoreObjectTest, ConstructionNeedsAKnownTypeAndAnObject) {
  EXPECT_CS_ERROR(ConfigStoreException, 1037,
                  "Schema object not found: comp net grp dns key nothing",
                  ConfigStoreObject{ConfigStoreObjectId("nothing", "dns", "net")});
  EXPECT_CS_ERROR(ConfigStoreException, 1037,
                  "Schema object not found: comp net grp interfaces key nics id nic1",
                  CreateObject(kNic, CreateDocumentFromString("{}"), nullptr));
  EXPECT_CS_ERROR(InvalidArgumentException, 1082, "Invalid JSON", CreateObject(kResolver, "[]"));

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
  ASSERT_NE(options, nullptr);
  EXPECT_EQ(options->GetValue("timeout", &value), 2);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(options->GetValue("attempts", &value), 1);
  EXPECT_EQ(options->GetValue("domain", &domain), 0);  // the parent's default is not the view's

  // Instances of a repeated sub-object share the items' defaults.
  const auto nic = CreateObject(kNic, R"({"addresses": [{"address": "10.0.0.1"}]})");
  EXPECT_EQ(nic->GetValue("mtu", &value), 2);
  EXPECT_EQ(
      nic->GetSubObject(SubObjectId("addresses", "10.0.0.1"))->GetValue("prefixLength", &value), 2);
  EXPECT_EQ(value, 24);

  // A type without defaults answers 0; list getters take defaults too.
  const auto platform = CreateObject(ConfigStoreObjectId("platform", "hardware", "orin"), "{}");
  EXPECT_EQ(platform->GetValue("assetTag", &domain), 0);
  cstest::LoadTypes(R"({"component": "test", "group": "types", "key": "lists",
      "schema": {"properties": {"names": {"type": "array", "default": ["x", "y"]}}}})");
  std::vector<std::string> names;
  EXPECT_EQ(
      CreateObject(ConfigStoreObjectId("lists", "types", "test"), "{}")->GetValue("names", &names),
      2);
  EXPECT_EQ(names, (std::vector<std::string>{"x", "y"}));
}

TEST_F(ConfigStoreObjectTest, IdMapAndInstanceIdFromTheIdentifier) {
  const auto nic = CreateObject(kNic, R"({"name": "old", "mtu": 9000})");
  EXPECT_EQ(nic->GetIdMapStr(), R"({"nics":"name","addresses":"address"})");
  // The identifier's instance id wins, replaced in place.
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1","mtu":9000})");
  // Without an instance id in the identifier the data keeps its own.
  const auto unnamed =
      CreateObject(ConfigStoreObjectId("nics", "interfaces", "net"), R"({"name": "nic7"})");
  EXPECT_EQ(unnamed->GetData(), R"({"name":"nic7"})");
  EXPECT_EQ(CreateObject(kResolver, "{}")->GetIdMapStr(), "{}");

  // Built without a schema object: logged, no id map, no defaults.
  cstest::LogCapture log;
  ConfigStoreObjectImpl bare(kNic, CreateDocumentFromString(R"({"mtu": 1})"), nullptr);
  EXPECT_EQ(bare.GetIdMapStr(), "{}");
  EXPECT_EQ(bare.GetData(), R"({"mtu":1})");
  EXPECT_TRUE(log.Contains(1, "Schema object not found for key: nics"));
  EXPECT_TRUE(log.Contains(1, "Schema object is null."));
}

TEST_F(ConfigStoreObjectTest, GeneratedIdsAreHiddenFromCallersOnly) {
  const auto nic = CreateObject(kNic, R"({"cs_generated_id": "g1", "mtu": 1})");
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1","mtu":1})");
  EXPECT_EQ(nic->GetSerializedData(), R"({"cs_generated_id":"g1","mtu":1,"name":"nic1"})");
}

TEST_F(ConfigStoreObjectTest, SetValueExMovesChangedMembersToTheEnd) {
  const auto resolver = CreateObject(kResolver, R"({"a": {"x": 1}, "b": 2})");
  JDoc same;
  same.Parse(R"({"x": 1})");
  resolver->SetValueEx("a", &same);
  EXPECT_EQ(resolver->GetData(), R"({"a":{"x":1},"b":2})");
  JDoc other;
  other.Parse("[1, 2]");
  resolver->SetValueEx("a", &other);
  resolver->SetValueEx("c", &other);
  EXPECT_EQ(resolver->GetData(), R"({"b":2,"a":[1,2],"c":[1,2]})");
  // The value may be a member of the same object, even the one a removal moves.
  resolver->SetValueEx("b", resolver->GetValuePtr("c"));
  EXPECT_EQ(resolver->GetData(), R"({"c":[1,2],"a":[1,2],"b":[1,2]})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  resolver->SetValueEx(nullptr, &other));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", resolver->SetValueEx("d", nullptr));
}

TEST_F(ConfigStoreObjectTest, InstanceIdFromValue) {
  const auto nics = LookupSchema(kNic);
  JDoc value;
  value.Parse(R"({"name": "nic3", "mtu": 1500})");
  EXPECT_EQ(GetInstanceIdFromValue(value, nics), "nic3");
  value.Parse(R"({"mtu": 1500})");
  EXPECT_EQ(GetInstanceIdFromValue(value, nics), "");
  value.Parse(R"({"name": 3})");
  EXPECT_CS_ERROR(ConfigStoreException, 1032, "Invalid value for key name",
                  GetInstanceIdFromValue(value, nics));
  EXPECT_EQ(GetInstanceIdFromValue(value, LookupSchema(kResolver)), "");
}

}  // namespace
}  // namespace OrinConfigStore
