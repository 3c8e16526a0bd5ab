// Filters: the subset rule, sub-object filters, narrowing lists in place,
// and the schema-guided subset test.

#include <gtest/gtest.h>

#include "configstore/filter_object.h"
#include "objects/filter_object_impl.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");

JDoc Parse(const char* text) {
  JDoc doc;
  doc.Parse(text);
  return doc;
}

bool Matches(const char* data, const char* filter) {
  return csoMatchesFilter(Parse(data), Parse(filter));
}

TEST(FilterMatch, SubsetRule) {
  EXPECT_TRUE(Matches(R"({"a": 1, "b": 2})", R"({"a": 1})"));
  EXPECT_FALSE(Matches(R"({"a": 2})", R"({"a": 1})"));
  EXPECT_FALSE(Matches(R"({"b": 1})", R"({"a": 1})"));
  EXPECT_TRUE(Matches(R"({"a": 1.0})", R"({"a": 1})"));  // numbers compare by value
  EXPECT_FALSE(Matches(R"({"a": "1"})", R"({"a": 1})"));
  EXPECT_TRUE(Matches(R"({"s": {"b": true, "c": 2}})", R"({"s": {"b": true}})"));
  EXPECT_FALSE(Matches(R"({"s": {"c": 2}})", R"({"s": {"b": true}})"));
  // Scalars and objects never match each other.
  EXPECT_FALSE(Matches(R"({"s": 1})", R"({"s": {"b": true}})"));
  EXPECT_FALSE(Matches(R"({"s": {"b": true}})", R"({"s": {"b": true}, "t": {}})"));
  EXPECT_FALSE(Matches(R"({"s": {}})", R"({"s": "x"})"));
  EXPECT_TRUE(Matches(R"({"s": {}})", R"({"s": {}})"));
  EXPECT_TRUE(Matches(R"({"a": 1})", "{}"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", Matches("{}", "[1]"));
}

TEST(FilterMatch, RepeatedSubObjectsAreRefusedAndLogged) {
  cstest::LogCapture log;
  EXPECT_FALSE(Matches(R"({"l": [{"id": "a"}]})", R"({"l": [{"id": "a"}]})"));
  EXPECT_FALSE(Matches(R"({"l": [1]})", R"({"l": {"id": "a"}})"));
  EXPECT_TRUE(log.Contains(0, "csoMatchesFilter: Non-Singleton SubObject filtering not supported"));
}

class FilterObjectsTest : public ::testing::Test {
 protected:
  std::vector<std::shared_ptr<ConfigStoreObject>> Objects(std::vector<const char*> texts) {
    std::vector<std::shared_ptr<ConfigStoreObject>> objects;
    for (const char* text : texts) objects.push_back(CreateObject(kResolver, text));
    return objects;
  }
  static std::vector<std::string> Data(
      const std::vector<std::shared_ptr<ConfigStoreObject>>& list) {
    std::vector<std::string> data;
    for (const auto& object : list) data.push_back(object->GetData());
    return data;
  }

  cstest::SampleSchemaRoot root_;
};

TEST_F(FilterObjectsTest, NarrowsTheCallersListInOrder) {
  auto objects = Objects({R"({"domain": "a", "n": 1})", R"({"domain": "b"})", R"({"n": 1})"});
  auto filter = std::make_shared<FilterSpecObject>(kResolver);
  filter->SetValue("n", 1);
  const auto kept = FilterConfigStoreObjects(objects, filter);
  EXPECT_EQ(Data(kept), (std::vector<std::string>{R"({"domain":"a","n":1})", R"({"n":1})"}));
  EXPECT_EQ(Data(objects), Data(kept));

  auto all = Objects({R"({"x": 1})", "{}", R"({"y": 2})"});
  const auto everything =
      FilterConfigStoreObjects(all, std::make_shared<FilterSpecObject>(kResolver));
  EXPECT_EQ(Data(everything), (std::vector<std::string>{R"({"x":1})", "{}", R"({"y":2})"}));
  std::vector<std::shared_ptr<ConfigStoreObject>> none;
  EXPECT_TRUE(FilterConfigStoreObjects(none, filter).empty());
}

TEST_F(FilterObjectsTest, SubObjectFiltersAreNestedMembers) {
  FilterSpecObject filter(kResolver);
  const auto options = filter.CreateSubObjectFilter(SubObjectId("options"));
  EXPECT_EQ(options->GetConfigStoreObjectId(), ConfigStoreObjectId("options", "dns", "net"));
  options->SetValue("rotate", true);
  EXPECT_EQ(filter.GetData(), R"({"options":{"rotate":true}})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "SubObject filter already exists.",
                  filter.CreateSubObjectFilter(SubObjectId("options")));
  EXPECT_NE(filter.GetSubObjectFilter(SubObjectId("options")), nullptr);
  EXPECT_EQ(filter.GetSubObjectFilter(SubObjectId("other")), nullptr);

  auto objects = Objects(
      {R"({"options": {"rotate": true, "timeout": 3}})", R"({"options": {"rotate": false}})"});
  auto shared = std::make_shared<FilterSpecObject>(filter);
  EXPECT_EQ(FilterConfigStoreObjects(objects, shared).size(), 1u);

  filter.DeleteSubObjectFilter(SubObjectId("options"));
  filter.DeleteSubObjectFilter(SubObjectId("options"));
  EXPECT_TRUE(filter.IsEmpty());
}

TEST(SchemaSubset, ObjectsArraysAndInstances) {
  const JDoc schema = Parse(R"({"properties": {
      "a": {}, "s": {"properties": {"x": {}, "y": {}}},
      "plain": {"type": "array"},
      "l": {"instanceId": "id", "items": {"properties": {"id": {}, "v": {}}}}}})");
  const JDoc data = Parse(R"({"a": 1, "s": {"x": 1, "y": 2}, "plain": [1, 2],
                              "l": [{"id": "p", "v": 1}, {"id": "q", "v": 2}]})");
  const auto subset = [&](const char* part) { return IsSchemaSubset(data, Parse(part), schema); };
  EXPECT_TRUE(subset("{}"));
  EXPECT_TRUE(subset(R"({"a": 1, "s": {"y": 2}})"));
  EXPECT_FALSE(subset(R"({"a": 2})"));
  EXPECT_TRUE(subset(R"({"plain": [1, 2]})"));
  EXPECT_FALSE(subset(R"({"plain": [1]})"));  // plain arrays compare whole
  EXPECT_TRUE(subset(R"({"l": [{"id": "q", "v": 2}]})"));
  EXPECT_FALSE(subset(R"({"l": [{"id": "q", "v": 3}]})"));

  cstest::LogCapture log;
  EXPECT_FALSE(subset(R"({"l": [{"id": "r"}]})"));
  EXPECT_TRUE(log.Contains(0, "obj is not subset, instanceId r did not match"));
  EXPECT_FALSE(subset(R"({"s": {"x": 1}, "zz": 1})"));
  EXPECT_TRUE(log.Contains(0, "obj is not susbset, key zz did not match"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  IsSchemaSubset(data, Parse(R"({"a": 1})"), Parse("{}")));
  // "items" is needed only when there is an instance to compare.
  EXPECT_TRUE(IsSchemaSubset(Parse(R"({"l": []})"), Parse(R"({"l": []})"),
                             Parse(R"({"properties": {"l": {"instanceId": "id"}}})")));
}

}  // namespace
}  // namespace OrinConfigStore
