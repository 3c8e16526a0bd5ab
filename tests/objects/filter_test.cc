// Filters: the subset rule, sub-object filters, narrowing lists in place,
// and the schema-guided subset test.

#include <gtest/gtest.h>

#include <tuple>

#include "configstore/filter_object.h"
#include "objects/filter_object_impl.h"
#include "outcome.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const std::string kInvalidJson = "ConfigStore 2000 Invalid JSON";

JDoc Parse(const char* text) {
  JDoc doc;
  doc.Parse(text);
  return doc;
}

TEST(FilterMatch, DataMustContainEveryMemberOfTheFilter) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {R"({"a": 1, "b": 2})", R"({"a": 1})", true},
      {R"({"a": 2})", R"({"a": 1})", false},
      {R"({"b": 1})", R"({"a": 1})", false},
      {R"({"a": "1"})", R"({"a": 1})", false},
      {R"({"s": {"b": true, "c": 2}})", R"({"s": {"b": true}})", true},
      {R"({"s": {"c": 2}})", R"({"s": {"b": true}})", false},
      {R"({"s": 1})", R"({"s": {"b": true}})", false},  // scalars and objects never match
      {R"({"s": {}})", R"({"s": {}})", true},
      {R"({"l": [{"id": "a"}]})", R"({"l": [{"id": "a"}]})", false},  // nor do repeated ones
  };
  for (const auto& [data, filter, expected] : cases) {
    EXPECT_EQ(csoMatchesFilter(Parse(data), Parse(filter)), expected) << data << " " << filter;
  }
  EXPECT_EQ(RAISED(csoMatchesFilter(Parse("{}"), Parse("[1]"))), kInvalidJson);
}

class FilterObjectsTest : public ::testing::Test {
 protected:
  cstest::SampleSchemaRoot root_;
};

TEST_F(FilterObjectsTest, NarrowTheCallersListInOrder) {
  std::vector<std::shared_ptr<ConfigStoreObject>> objects;
  for (const char* text : {R"({"domain": "a", "n": 1})", R"({"domain": "b"})", R"({"n": 1})"}) {
    objects.push_back(CreateObject(kResolver, text));
  }
  const auto data = [](const std::vector<std::shared_ptr<ConfigStoreObject>>& list) {
    std::vector<std::string> texts;
    for (const auto& object : list) texts.push_back(object->GetData());
    return texts;
  };
  const auto all = data(objects);
  EXPECT_EQ(data(FilterConfigStoreObjects(objects, nullptr)), all);
  auto filter = std::make_shared<FilterSpecObject>(kResolver);
  filter->SetValue("n", 1);
  const auto kept = FilterConfigStoreObjects(objects, filter);
  EXPECT_EQ(data(kept), (std::vector<std::string>{R"({"domain":"a","n":1})", R"({"n":1})"}));
  EXPECT_EQ(data(objects), data(kept));
}

TEST_F(FilterObjectsTest, SubObjectFiltersAreNestedMembers) {
  FilterSpecObject filter(kResolver);
  const auto options = filter.CreateSubObjectFilter(SubObjectId("options"));
  EXPECT_EQ(options->GetConfigStoreObjectId(), ConfigStoreObjectId("options", "dns", "net"));
  options->SetValue("rotate", true);
  EXPECT_EQ(filter.GetData(), R"({"options":{"rotate":true}})");
  EXPECT_EQ(RAISED(filter.CreateSubObjectFilter(SubObjectId("options"))),
            "ConfigStore 2000 SubObject filter already exists.");
  EXPECT_EQ(filter.GetSubObjectFilter(SubObjectId("options"))->GetData(), R"({"rotate":true})");
  EXPECT_EQ(filter.GetSubObjectFilter(SubObjectId("other")), nullptr);
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

  EXPECT_FALSE(subset(R"({"l": [{"id": "r"}]})"));
  EXPECT_FALSE(subset(R"({"s": {"x": 1}, "zz": 1})"));
  EXPECT_EQ(RAISED(IsSchemaSubset(data, Parse(R"({"a": 1})"), Parse("{}"))), kInvalidJson);
  // "items" is needed only when there is an instance to compare.
  EXPECT_TRUE(IsSchemaSubset(Parse(R"({"l": []})"), Parse(R"({"l": []})"),
                             Parse(R"({"properties": {"l": {"instanceId": "id"}}})")));
}

}  // namespace
}  // namespace OrinConfigStore
