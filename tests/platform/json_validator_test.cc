// The JSON Schema validator: standard keywords through valijson, the tag
// checks, the shape of the report, and the compiled-schema cache.

#include "platform/json_validator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "json/document.h"

namespace OrinConfigStore {
namespace {

using Tags = std::unordered_set<int>;
using Entries = std::vector<std::pair<std::string, std::string>>;  // field, error

// A network interface type: an instance id, user, vital, cached and
// deprecated members, a nested object with a vital leaf, a repeated
// sub-object, and a property that happens to be named "required".
constexpr const char* kNicSchema = R"({
  "type": "object",
  "required": ["name"],
  "properties": {
    "name": {"type": "string", "instanceId": true},
    "mtu": {"type": "integer", "minimum": 576, "maximum": 9000},
    "mac": {"type": "string", "vital": true},
    "stats": {"type": "object", "cached": true, "properties": {"rx": {"type": "integer"}}},
    "legacy": {"type": "boolean", "deprecated": true},
    "hw": {"type": "object",
           "properties": {"serial": {"type": "string", "vital": true}, "label": {"type": "string"}}},
    "addresses": {"type": "array", "instanceId": "address",
                  "items": {"type": "object", "required": ["address"],
                            "properties": {"address": {"type": "string"},
                                           "prefix": {"type": "integer", "maximum": 128},
                                           "gw": {"type": "string", "vital": true}}}},
    "required": {"type": "boolean"}
  }
})";

JDoc Json(const std::string& text) {
  JDoc doc;
  EXPECT_TRUE(ConfigStoreDocument::Parse(doc, text.data(), text.size())) << text;
  return doc;
}

std::size_t Depth(const std::string& field) {
  return field == "/" ? 0 : static_cast<std::size_t>(std::count(field.begin(), field.end(), '/'));
}

// Validates and checks what every report must satisfy: deepest first, and
// none of valijson's wrapper messages.
Entries Check(const std::string& schema, const std::string& value, const Tags& tags) {
  JDoc result;
  JsonValidator::Validate(Json(schema), Json(value), result, tags, "test");
  Entries entries;
  EXPECT_TRUE(result.IsArray());
  for (const JVal& entry : result.GetArray()) {
    entries.emplace_back(entry["field"].GetString(), entry["error"].GetString());
    EXPECT_EQ(entries.back().second.find("Failed to validate against schema associated"),
              std::string::npos);
    EXPECT_EQ(entries.back().second.find("Failed to validate item"), std::string::npos);
    EXPECT_FALSE(entries.back().second.empty());
  }
  for (std::size_t i = 1; i < entries.size(); ++i) {
    EXPECT_GE(Depth(entries[i - 1].first), Depth(entries[i].first)) << entries[i].first;
  }
  return entries;
}

// The fields of the report, sorted: order within a depth is not promised.
std::vector<std::string> Fields(const Entries& entries) {
  std::vector<std::string> fields;
  for (const auto& entry : entries) fields.push_back(entry.first);
  std::sort(fields.begin(), fields.end());
  return fields;
}

struct Case {
  Tags tags;
  const char* value;
  std::vector<std::string> fields;  // sorted
};

void RunCase(const std::string& schema, const Case& c) {
  EXPECT_EQ(Fields(Check(schema, c.value, c.tags)), c.fields) << c.value;
}

TEST(JsonValidator, ResultIsAFreshArrayOwningItsStrings) {
  JDoc result = Json(R"({"stale": [1, 2]})");
  {
    const JDoc schema = Json(R"({"properties": {"a": {"type": "integer"}}})");
    JsonValidator::Validate(schema, Json(R"({"a": "x"})"), result, {0}, "");
  }
  ASSERT_TRUE(result.IsArray());
  ASSERT_EQ(result.Size(), 1u);
  EXPECT_STREQ(result[0]["field"].GetString(), "/a");
  JsonValidator::Validate(Json("{}"), Json(R"({"a": 1})"), result, {0, 1, 8}, "");
  EXPECT_TRUE(result.IsArray());
  EXPECT_EQ(result.Size(), 0u);
}

TEST(JsonValidator, StandardKeywordsReportEveryFaultAtItsMember) {
  const Case cases[] = {
      {{0}, R"({"name": "n", "mtu": 1500})", {}},
      {{0}, R"({"mtu": 1})", {"/mtu"}},
      {{0},
       R"({"addresses": [{"address": "a"}, {"address": "b", "prefix": 200}]})",
       {"/addresses/1/prefix"}},
      {{0},
       R"({"name": 5, "hw": {"serial": 1, "label": 2}, "addresses": [{"prefix": "x"}]})",
       {"/addresses/0/prefix", "/hw/label", "/hw/serial", "/name"}},
      {{0}, R"([1])", {"/"}},
      {{0}, R"("text")", {"/"}},
  };
  for (const Case& c : cases) RunCase(kNicSchema, c);
  const char* escaped = R"({"properties": {"a/b~c": {"type": "integer"}}})";
  EXPECT_EQ(Fields(Check(escaped, R"({"a/b~c": "x"})", {0})), std::vector<std::string>{"/a~1b~0c"});
}

TEST(JsonValidator, MessagesNameTheMissingOrRefusedMember) {
  EXPECT_EQ(Check(kNicSchema, R"({"addresses": [{}]})", {8}),
            (Entries{{"/addresses/0/address", "required member is missing"},
                     {"/name", "required member is missing"}}));
  EXPECT_EQ(Check(R"({"properties": {"a": {}}, "additionalProperties": false})",
                  R"({"a": 1, "b": 2})", {0}),
            (Entries{{"/b", "member is not allowed by the schema"}}));
}

TEST(JsonValidator, FormatJudgesOnlyStrings) {
  const char* schema =
      R"({"properties": {"day": {"format": "date"}, "at": {"format": "date-time"}}})";
  const Case cases[] = {
      {{0, 8}, R"({"day": "2024-02-29", "at": "2024-02-29T10:00:00Z"})", {}},
      {{0, 8}, R"({"day": 5, "at": null})", {}},
      {{0, 8}, R"({"day": "2024-13-01", "at": "yesterday"})", {"/at", "/day"}},
  };
  for (const Case& c : cases) RunCase(schema, c);
}

// `required` wherever it is a keyword, and never a property that is named
// so. Without it a "oneOf" is read as "anyOf"; "not" and "if" keep it.
TEST(JsonValidator, Tag8AloneSwitchesRequired) {
  const Case cases[] = {
      {{0}, R"({"mtu": 1000, "addresses": [{"prefix": 1}], "required": true})", {}},
      {{8},
       R"({"mtu": 1, "addresses": [{"prefix": 1}], "required": "x"})",
       {"/addresses/0/address", "/name"}},
      {{0, 8},
       R"({"mtu": 1, "addresses": [{"prefix": 1}], "required": "x"})",
       {"/addresses/0/address", "/mtu", "/name", "/required"}},
      {{}, R"({"mtu": 1})", {}},
  };
  for (const Case& c : cases) RunCase(kNicSchema, c);
  const char* nested = R"({
    "definitions": {"d": {"required": ["b"]}},
    "properties": {"p": {"$ref": "#/definitions/d"}, "q": {"additionalProperties": {"required": ["z"]}}},
    "allOf": [{"required": ["a"]}],
    "if": {"properties": {"kind": {"const": "x"}}, "required": ["kind"]},
    "then": {"required": ["c"], "properties": {"c": {"type": "integer"}}},
    "not": {"required": ["forbidden"]},
    "oneOf": [{"properties": {"t": {"const": 1}}, "required": ["t"]},
              {"properties": {"t": {"const": 2}}, "required": ["t"]}]
  })";
  const Case more[] = {
      {{0}, R"({"p": {}, "q": {"m": {}}, "kind": "x"})", {}},
      {{0}, R"({"forbidden": 1})", {"/"}},
      {{0}, R"({"c": "s"})", {}},
      {{0}, R"({"kind": "x", "c": "s"})", {"/c"}},
      {{8}, R"({"p": {}, "q": {"m": {}}, "kind": "x", "t": 1})", {"/a", "/c", "/p/b", "/q/m/z"}},
      {{8}, R"({"p": {}, "q": {"m": {}}, "kind": "x", "t": "no"})", {"/a", "/c", "/p/b", "/q/m/z"}},
      {{0, 8}, R"({"a": 1, "c": 1, "p": {"b": 1}, "kind": "x", "t": 1})", {}},
  };
  for (const Case& c : more) RunCase(nested, c);
  EXPECT_FALSE(Check(nested, R"({"a": 1, "p": {"b": 1}})", {0, 8}).empty());
}

TEST(JsonValidator, Tag1RefusesUnlistedMembersAtEveryDepth) {
  const Case cases[] = {
      {{1},
       R"({"name": "n", "x": 1, "hw": {"y": 2}, "addresses": [{"address": "a", "z": 3}]})",
       {"/addresses/0/z", "/hw/y", "/x"}},
      {{0}, R"({"x": 1})", {}},
  };
  for (const Case& c : cases) RunCase(kNicSchema, c);
  const char* open = R"({"properties": {
    "a": {},
    "open": {"properties": {"b": {}}, "additionalProperties": {}},
    "pattern": {"properties": {"b": {}}, "patternProperties": {"^x": {}}}}})";
  EXPECT_TRUE(Check(open, R"({"a": 1, "open": {"c": 1}, "pattern": {"c": 1}})", {1}).empty());
}

TEST(JsonValidator, SourceTagsJudgeEveryMember) {
  const char* value = R"({"name": "n", "mtu": 1500, "mac": "m", "stats": {"rx": 1},
                          "hw": {"serial": "s", "label": "l"},
                          "addresses": [{"address": "a", "gw": "g", "prefix": 24}]})";
  const Case cases[] = {
      {{3}, value, {"/addresses/0/gw", "/hw/serial", "/mac", "/stats"}},
      {{5}, value, {"/addresses/0/prefix", "/hw/label", "/mtu", "/stats"}},
      {{9}, value, {"/addresses", "/hw", "/mac", "/mtu"}},
      {{4}, R"({"legacy": true, "mtu": 1500})", {"/legacy"}},
  };
  for (const Case& c : cases) RunCase(kNicSchema, c);
  const auto errors = Check(kNicSchema, R"({"mac": "m", "mtu": 1500, "legacy": false})", {3, 4});
  EXPECT_EQ(errors, (Entries{{"/mac", "member is vital and cannot be written here"},
                             {"/legacy", "member is deprecated"}}));
}

TEST(JsonValidator, MarksOnTheRootAndBesideReferencesApplyBelow) {
  const char* vital = R"({"vital": true, "properties": {"id": {"instanceId": true}, "a": {},
                          "b": {"type": "object", "properties": {"c": {}}}}})";
  const Case cases[] = {
      {{5}, R"({"id": "i", "a": 1, "b": {"c": 2}})", {}},
      {{3}, R"({"id": "i", "a": 1, "b": {"c": 2}})", {"/a", "/b"}},
      {{9}, R"({"id": "i", "a": 1, "b": {"c": 2}})", {"/a", "/b"}},
  };
  for (const Case& c : cases) RunCase(vital, c);
  const char* ref = R"({"definitions": {"s": {"type": "object", "properties": {"n": {}}}},
                        "properties": {"x": {"$ref": "#/definitions/s", "cached": true},
                                       "y": {"$ref": "#/definitions/s"}}})";
  const Case more[] = {
      {{9}, R"({"x": {"n": 1}, "y": {"n": 1}})", {"/y"}},
      {{3}, R"({"x": {"n": 1}, "y": {"n": 1}})", {"/x"}},
      {{0, 1}, R"({"x": {"n": 1, "m": 2}})", {"/x/m"}},
  };
  for (const Case& c : more) RunCase(ref, c);
}

TEST(JsonValidator, Tag7WantsUniqueNonEmptyInstanceKeys) {
  const auto errors = Check(
      kNicSchema,
      R"({"addresses": [{"address": "a"}, {"address": ""}, {"prefix": 1}, {"address": "a"}, 5]})",
      {7});
  EXPECT_EQ(
      errors,
      (Entries{{"/addresses/1/address", "instance id member \"address\" is missing or empty"},
               {"/addresses/2/address", "instance id member \"address\" is missing or empty"},
               {"/addresses/3/address", "duplicate instance id \"a\""},
               {"/addresses/4/address", "instance id member \"address\" is missing or empty"}}));
  EXPECT_TRUE(
      Check(kNicSchema, R"({"addresses": [{"address": "a"}, {"address": "b"}]})", {7}).empty());
}

TEST(JsonValidator, TagSetsTheLibraryUses) {
  const Case cases[] = {
      // full set
      {{0, 1, 7, 8},
       R"({"mtu": 1, "x": 1, "addresses": [{"prefix": 1}]})",
       {"/addresses/0/address", "/addresses/0/address", "/mtu", "/name", "/x"}},
      // user write
      {{0, 1, 3, 7, 8}, R"({"name": "n", "mac": "m", "x": 1})", {"/mac", "/x"}},
      // vital
      {{0, 1, 5},
       R"({"mac": "m", "mtu": 1500, "addresses": [{"address": "a", "gw": "g"}]})",
       {"/mtu"}},
      // cached
      {{0, 1, 9}, R"({"stats": {"rx": "x"}, "mtu": 1500})", {"/mtu", "/stats/rx"}},
      // partial
      {{0, 1, 3, 7}, R"({"mtu": 1500, "addresses": [{"prefix": 1}]})", {"/addresses/0/address"}},
      // update
      {{0, 1}, R"({"mtu": "x", "x": 1})", {"/mtu", "/x"}},
      // apply file
      {{0, 1, 4, 8}, R"({"name": "n", "legacy": true})", {"/legacy"}},
  };
  for (const Case& c : cases) RunCase(kNicSchema, c);
}

TEST(JsonValidator, UnusableSchemaIsOneErrorAtTheRoot) {
  const char* bad[] = {
      R"({"type": 5})",
      R"({"properties": 5})",
      R"({"properties": {"a": {"$ref": "#/definitions/missing"}}})",
      R"({"$ref": "other.json#/a"})",
      R"({"definitions": {"a": {"$ref": "#/definitions/b"}, "b": {"$ref": "#/definitions/a"}},
          "$ref": "#/definitions/a"})",
      R"({"properties": {"child": {"$ref": "#"}}})",
      R"({"$ref": "#"})",
      R"({"properties": {"a": {"pattern": "("}}})",
      R"({"patternProperties": {"[": {}}})",
  };
  for (const char* schema : bad) {
    for (const Tags& tags : {Tags{0, 8}, Tags{8}, Tags{1, 5}, Tags{}}) {
      const auto errors = Check(schema, R"({"a": {"b": 1}, "child": {}})", tags);
      ASSERT_EQ(errors.size(), 1u) << schema;
      EXPECT_EQ(errors[0].first, "/");
    }
    std::string reason;
    EXPECT_FALSE(JsonValidator::CheckSchema(Json(schema), &reason)) << schema;
    EXPECT_FALSE(reason.empty());
  }
  EXPECT_TRUE(JsonValidator::CheckSchema(Json(kNicSchema), nullptr));
}

TEST(JsonValidator, CachedSchemasAreNotConfused) {
  const char* integer = R"({"properties": {"a": {"type": "integer"}}, "required": ["a"]})";
  const char* string = R"({"properties": {"a": {"type": "string"}}, "required": ["a"]})";
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(Check(integer, R"({"a": 1})", {0, 8}).empty());
    EXPECT_EQ(Fields(Check(string, R"({"a": 1})", {0, 8})), std::vector<std::string>{"/a"});
    EXPECT_TRUE(Check(integer, "{}", {0}).empty());
    EXPECT_EQ(Fields(Check(integer, "{}", {0, 8})), std::vector<std::string>{"/a"});
  }
}

TEST(JsonValidator, EvictedSchemasCompileAgain) {
  for (int i = 0; i < 1100; ++i) {
    const std::string schema = R"({"maximum": )" + std::to_string(i) + "}";
    ASSERT_EQ(Check(schema, std::to_string(i + 1), {0}).size(), 1u) << i;
  }
  EXPECT_TRUE(Check(R"({"maximum": 0})", "0", {0}).empty());
  EXPECT_EQ(Check(R"({"maximum": 0})", "1", {0}).size(), 1u);
}

TEST(JsonValidator, ThreadsShareTheCache) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) {
        const std::string schema =
            R"({"pattern": "^a", "maxLength": )" + std::to_string(i % 7) + "}";
        const std::string value = (t % 2 == 0) ? R"("aaaaaaaaaa")" : R"("b")";
        EXPECT_EQ(Check(schema, value, {0}).size(), (t % 2 == 0) ? 1u : (i % 7 == 0 ? 2u : 1u));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace OrinConfigStore
