// Sub-objects: the singleton and repeated rules, views that share the
// parent's document, and listing and deleting instances through filters.

#include <gtest/gtest.h>

#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic1");

class SubObjectTest : public ::testing::Test {
 protected:
  std::shared_ptr<ConfigStoreObject> Nic(const char* json) { return CreateObject(kNic, json); }
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
  const auto nic = Nic("{}");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Non-Singleton object should contain instanceId",
                  nic->CreateSubObject(SubObjectId("addresses")));
  const auto first = nic->CreateSubObject(SubObjectId("addresses", "10.0.0.1"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Object already exists.",
                  nic->CreateSubObject(SubObjectId("addresses", "10.0.0.1")));
  nic->CreateSubObject(SubObjectId("addresses", "10.0.0.2"));
  EXPECT_EQ(nic->GetData(),
            R"({"name":"nic1","addresses":[{"address":"10.0.0.1"},{"address":"10.0.0.2"}]})");
  EXPECT_EQ(first->GetConfigStoreObjectId(),
            ConfigStoreObjectId("addresses", "interfaces", "net", "10.0.0.1"));

  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Non-Singleton object should contain instanceId: key addresses",
                  nic->GetSubObject(SubObjectId("addresses")));
  EXPECT_EQ(nic->GetSubObject(SubObjectId("addresses", "10.9.9.9")), nullptr);
  EXPECT_EQ(nic->GetSubObject(SubObjectId("routes", "x")), nullptr);
}

TEST_F(SubObjectTest, SingletonSubObjects) {
  const auto nic = Nic(R"({"tags": ["a"]})");
  const auto options = nic->CreateSubObject(SubObjectId("offload"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Object already exists.",
                  nic->CreateSubObject(SubObjectId("offload")));
  EXPECT_NE(nic->GetSubObject(SubObjectId("offload")), nullptr);
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Singleton object should not contain instanceId: key offload id 3",
                  nic->GetSubObject(SubObjectId("offload", "3")));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Not a singleton SubObject: key tags",
                  nic->GetSubObject(SubObjectId("tags")));
  nic->DeleteSubObject(SubObjectId("offload", "ignored"));
  EXPECT_EQ(nic->GetData(), R"({"tags":["a"],"name":"nic1"})");
}

TEST_F(SubObjectTest, ViewsShareTheParentsDocumentAndFailOnceDeleted) {
  const auto nic = Nic(R"({"addresses": [{"address": "a"}, {"address": "b"}]})");
  const auto b = nic->GetSubObject(SubObjectId("addresses", "b"));
  b->SetValue("gateway", "10.0.0.254");
  EXPECT_EQ(
      nic->GetData(),
      R"({"addresses":[{"address":"a"},{"address":"b","gateway":"10.0.0.254"}],"name":"nic1"})");
  nic->DeleteSubObject(SubObjectId("addresses", "a"));  // b moves, its view follows
  std::string gateway;
  EXPECT_EQ(b->GetValue("gateway", &gateway), 1);

  nic->DeleteSubObject(SubObjectId("addresses", "zz"));  // unknown: nothing happens
  nic->DeleteSubObject(SubObjectId("addresses", "b"));   // the last takes the member along
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1"})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject does not exists.",
                  b->GetValue("gateway", &gateway));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", b->GetData());

  nic->CreateSubObject(SubObjectId("addresses", "c"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject instance does not exists.",
                  b->SetValue("gateway", "x"));
  cstest::LogCapture log;
  nic->DeleteSubObject(SubObjectId("routes"));
  EXPECT_TRUE(log.Contains(1, "DeleteSubObject: Could not find key: routes"));
  EXPECT_TRUE(log.Contains(4, "DeleteSubObject : key routes"));
}

TEST_F(SubObjectTest, InstancesThroughFilters) {
  const auto nic = Nic(R"({"addresses": [{"address": "a", "prefixLength": 24},
                                           {"address": "b", "prefixLength": 16},
                                           {"address": "c", "prefixLength": 24}]})");
  EXPECT_EQ(Ids(nic->GetSubObjectInstances(Filter("addresses"))),
            (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(Ids(nic->GetSubObjectInstances(Filter("addresses", "b"))),
            (std::vector<std::string>{"b"}));
  EXPECT_TRUE(nic->GetSubObjectInstances(Filter("addresses", "x")).empty());
  auto wide = Filter("addresses");
  wide->SetValue("prefixLength", 24);
  EXPECT_EQ(Ids(nic->GetSubObjectInstances(wide)), (std::vector<std::string>{"a", "c"}));

  EXPECT_CS_ERROR(InvalidArgumentException, 1046, "Not a non-singleton object:  key offload",
                  nic->GetSubObjectInstances(Filter("offload")));
  EXPECT_TRUE(nic->GetSubObjectInstances(nullptr).empty());
  EXPECT_TRUE(Nic("{}")->GetSubObjectInstances(Filter("addresses")).empty());

  nic->DeleteSubObjectInstances(wide);
  EXPECT_EQ(nic->GetData(), R"({"addresses":[{"address":"b","prefixLength":16}],"name":"nic1"})");
  nic->DeleteSubObjectInstances(Filter("addresses"));
  EXPECT_EQ(nic->GetData(), R"({"name":"nic1"})");
}

TEST_F(SubObjectTest, MalformedRepeatedSubObjectsAreInvalidJson) {
  const auto nic = Nic(R"({"addresses": {"address": "a"}})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  nic->GetSubObject(SubObjectId("addresses", "a")));
  const auto numbered = Nic(R"({"addresses": [{"address": 1}]})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  numbered->CreateSubObject(SubObjectId("addresses", "1")));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  numbered->GetSubObjectInstances(Filter("addresses")));
}

}  // namespace
}  // namespace OrinConfigStore
