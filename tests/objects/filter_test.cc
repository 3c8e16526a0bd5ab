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

using cstest::Parse;
const ConfigStoreObjectId kResolver("resolver", "dns", "net");

TEST(FilterMatch, DataMustContainEveryMemberOfTheFilter) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {R"({"a": 1, "b": 2})", R"({"a": 1})", true},
      {R"({"a": 2})", R"({"a": 1})", false},
      {R"({"b": 1})", R"({"a": 1})", false},
      {R"({"s": {"b": true, "c": 2}})", R"({"s": {"b": true}})", true},
      {R"({"s": 1})", R"({"s": {"b": true}})", false},  // scalars and objects never match
      {R"({"l": [{"id": "a"}]})", R"({"l": [{"id": "a"}]})", false},  // nor do repeated ones
  };
  for (const auto& [data, filter, expected] : cases) {
    EXPECT_EQ(csoMatchesFilter(Parse(data), Parse(filter)), expected) << data << " " << filter;
  }
}

TEST(FilterObjects, NarrowTheCallersListAndNestSubObjectFilters) {
  cstest::SampleSchemaRoot root;
  std::vector<std::shared_ptr<ConfigStoreObject>> objects;
  for (const char* text : {R"({"domain": "a", "n": 1})", R"({"domain": "b"})", R"({"n": 1})"}) {
    objects.push_back(CreateObject(kResolver, text));
  }
  EXPECT_EQ(FilterConfigStoreObjects(objects, nullptr).size(), 3u);
  auto filter = std::make_shared<FilterSpecObject>(kResolver);
  filter->SetValue("n", 1);
  EXPECT_EQ(FilterConfigStoreObjects(objects, filter).size(), 2u);
  ASSERT_EQ(objects.size(), 2u);  // narrowed in place, in order
  EXPECT_EQ(objects[0]->GetData() + objects[1]->GetData(), R"({"domain":"a","n":1}{"n":1})");

  const auto options = filter->CreateSubObjectFilter(SubObjectId("options"));
  EXPECT_EQ(options->GetConfigStoreObjectId(), ConfigStoreObjectId("options", "dns", "net"));
  options->SetValue("rotate", true);
  EXPECT_EQ(filter->GetData(), R"({"n":1,"options":{"rotate":true}})");
  EXPECT_EQ(RAISED(filter->CreateSubObjectFilter(SubObjectId("options"))),
            "ConfigStore 2000 SubObject filter already exists.");
  EXPECT_EQ(filter->GetSubObjectFilter(SubObjectId("options"))->GetData(), R"({"rotate":true})");
}

TEST(SchemaSubset, ObjectsArraysAndInstances) {
  const JDoc schema = Parse(R"({"properties": {
      "a": {}, "s": {"properties": {"x": {}, "y": {}}},
      "plain": {"type": "array"},
      "l": {"instanceId": "id", "items": {"properties": {"id": {}, "v": {}}}}}})");
  const JDoc data = Parse(R"({"a": 1, "s": {"x": 1, "y": 2}, "plain": [1, 2],
                              "l": [{"id": "p", "v": 1}, {"id": "q", "v": 2}]})");
  const std::pair<const char*, bool> cases[] = {
      {R"({"a": 1, "s": {"y": 2}})", true},
      {R"({"plain": [1]})", false},  // plain arrays compare whole
      {R"({"l": [{"id": "q", "v": 2}]})", true},
      {R"({"l": [{"id": "q", "v": 3}]})", false},
      {R"({"l": [{"id": "r"}]})", false},
      {R"({"s": {"x": 1}, "zz": 1})", false},
  };
  for (const auto& [part, expected] : cases) {
    EXPECT_EQ(IsSchemaSubset(data, Parse(part), schema), expected) << part;
  }
}

}  // namespace
}  // namespace OrinConfigStore
