// Sub-objects: the singleton and repeated rules, views that share the
// parent's document, and listing and deleting instances through filters.

#include <gtest/gtest.h>

#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kVnic("vnics", "interfaces", "net", "vmk1");

class SubObjectTest : public ::testing::Test {
 protected:
  std::shared_ptr<ConfigStoreObject> Vnic(const char* json) { return CreateObject(kVnic, json); }
  static std::shared_ptr<FilterSpecObject> Filter(const char* key, const char* instance = "") {
    return std::make_shared<FilterSpecObject>(
        ConfigStoreObjectId(key, "interfaces", "net", instance));
  }
  static std::vector<std::string> Ids(
      const std::vector<std::shared_ptr<ConfigStoreObject>>& views) {
    std::vector<std::string> ids;
    for (const auto& view : views) ids.push_back(view->GetConfigStoreObjectId().instanceId);
    return ids;
  }

  cstest::SampleSchemaRoot root_;
};

TEST_F(SubObjectTest, RepeatedSubObjectsNeedDistinctInstanceIds) {
  const auto vnic = Vnic("{}");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Non-Singleton object should contain instanceId",
                  vnic->CreateSubObject(SubObjectId("addresses")));
  const auto first = vnic->CreateSubObject(SubObjectId("addresses", "10.0.0.1"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Object already exists.",
                  vnic->CreateSubObject(SubObjectId("addresses", "10.0.0.1")));
  vnic->CreateSubObject(SubObjectId("addresses", "10.0.0.2"));
  EXPECT_EQ(vnic->GetData(),
            R"({"name":"vmk1","addresses":[{"address":"10.0.0.1"},{"address":"10.0.0.2"}]})");
  EXPECT_EQ(first->GetConfigStoreObjectId(),
            ConfigStoreObjectId("addresses", "interfaces", "net", "10.0.0.1"));

  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Non-Singleton object should contain instanceId: key addresses",
                  vnic->GetSubObject(SubObjectId("addresses")));
  EXPECT_EQ(vnic->GetSubObject(SubObjectId("addresses", "10.9.9.9")), nullptr);
  EXPECT_EQ(vnic->GetSubObject(SubObjectId("routes", "x")), nullptr);
}

TEST_F(SubObjectTest, SingletonSubObjects) {
  const auto vnic = Vnic(R"({"tags": ["a"]})");
  const auto options = vnic->CreateSubObject(SubObjectId("offload"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Object already exists.",
                  vnic->CreateSubObject(SubObjectId("offload")));
  EXPECT_NE(vnic->GetSubObject(SubObjectId("offload")), nullptr);
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Singleton object should not contain instanceId: key offload id 3",
                  vnic->GetSubObject(SubObjectId("offload", "3")));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Not a singleton SubObject: key tags",
                  vnic->GetSubObject(SubObjectId("tags")));
  vnic->DeleteSubObject(SubObjectId("offload", "ignored"));
  EXPECT_EQ(vnic->GetData(), R"({"tags":["a"],"name":"vmk1"})");
}

TEST_F(SubObjectTest, ViewsShareTheParentsDocumentAndFailOnceDeleted) {
  const auto vnic = Vnic(R"({"addresses": [{"address": "a"}, {"address": "b"}]})");
  const auto b = vnic->GetSubObject(SubObjectId("addresses", "b"));
  b->SetValue("gateway", "10.0.0.254");
  EXPECT_EQ(
      vnic->GetData(),
      R"({"addresses":[{"address":"a"},{"address":"b","gateway":"10.0.0.254"}],"name":"vmk1"})");
  vnic->DeleteSubObject(SubObjectId("addresses", "a"));  // b moves, its view follows
  std::string gateway;
  EXPECT_EQ(b->GetValue("gateway", &gateway), 1);

  vnic->DeleteSubObject(SubObjectId("addresses", "zz"));  // unknown: nothing happens
  vnic->DeleteSubObject(SubObjectId("addresses", "b"));   // the last takes the member along
  EXPECT_EQ(vnic->GetData(), R"({"name":"vmk1"})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject does not exists.",
                  b->GetValue("gateway", &gateway));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", b->GetData());

  vnic->CreateSubObject(SubObjectId("addresses", "c"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject instance does not exists.",
                  b->SetValue("gateway", "x"));
  cstest::LogCapture log;
  vnic->DeleteSubObject(SubObjectId("routes"));
  EXPECT_TRUE(log.Contains(1, "DeleteSubObject: Could not find key: routes"));
  EXPECT_TRUE(log.Contains(4, "DeleteSubObject : key routes"));
}

TEST_F(SubObjectTest, InstancesThroughFilters) {
  const auto vnic = Vnic(R"({"addresses": [{"address": "a", "prefixLength": 24},
                                           {"address": "b", "prefixLength": 16},
                                           {"address": "c", "prefixLength": 24}]})");
  EXPECT_EQ(Ids(vnic->GetSubObjectInstances(Filter("addresses"))),
            (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(Ids(vnic->GetSubObjectInstances(Filter("addresses", "b"))),
            (std::vector<std::string>{"b"}));
  EXPECT_TRUE(vnic->GetSubObjectInstances(Filter("addresses", "x")).empty());
  auto wide = Filter("addresses");
  wide->SetValue("prefixLength", 24);
  EXPECT_EQ(Ids(vnic->GetSubObjectInstances(wide)), (std::vector<std::string>{"a", "c"}));

  EXPECT_CS_ERROR(InvalidArgumentException, 1046, "Not a non-singleton object:  key offload",
                  vnic->GetSubObjectInstances(Filter("offload")));
  EXPECT_TRUE(vnic->GetSubObjectInstances(nullptr).empty());
  EXPECT_TRUE(Vnic("{}")->GetSubObjectInstances(Filter("addresses")).empty());

  vnic->DeleteSubObjectInstances(wide);
  EXPECT_EQ(vnic->GetData(), R"({"addresses":[{"address":"b","prefixLength":16}],"name":"vmk1"})");
  vnic->DeleteSubObjectInstances(Filter("addresses"));
  EXPECT_EQ(vnic->GetData(), R"({"name":"vmk1"})");
}

TEST_F(SubObjectTest, MalformedRepeatedSubObjectsAreInvalidJson) {
  const auto vnic = Vnic(R"({"addresses": {"address": "a"}})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  vnic->GetSubObject(SubObjectId("addresses", "a")));
  const auto numbered = Vnic(R"({"addresses": [{"address": 1}]})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  numbered->CreateSubObject(SubObjectId("addresses", "1")));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  numbered->GetSubObjectInstances(Filter("addresses")));
}

}  // namespace
}  // namespace OrinConfigStore
