// The JSON Schema validator: the standard keywords, the tag checks, the
// shape of the report, and the compiled-schema cache.

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
constexpr const char* kNicSchema = R"({"type": "object", "required": ["name"], "properties": {
  "name": {"type": "string", "instanceId": true}, "required": {"type": "boolean"},
  "mtu": {"type": "integer", "minimum": 576, "maximum": 9000},
  "mac": {"type": "string", "vital": true}, "legacy": {"type": "boolean", "deprecated": true},
  "stats": {"type": "object", "cached": true, "properties": {"rx": {"type": "integer"}}},
  "hw": {"properties": {"serial": {"type": "string", "vital": true}, "label": {"type": "string"}}},
  "addresses": {"type": "array", "instanceId": "address", "items": {"required": ["address"],
    "properties": {"address": {"type": "string"}, "prefix": {"type": "integer", "maximum": 128},
                   "gw": {"type": "string", "vital": true}}}}}})";

JDoc Json(const std::string& text) {
  JDoc doc;
  EXPECT_TRUE(ConfigStoreDocument::Parse(doc, text.data(), text.size())) << text;
  return doc;
}

// Validates into a stale result (replaced, not extended), with schema and
// value gone before the report is read, and checks that the report lists the
// deepest fields first. (A wrapper message of the kind "failed to validate
// against the schema of x" would show as an extra field in the tables.)
Entries Check(const std::string& schema, const std::string& value, const Tags& tags) {
  JDoc result = Json(R"({"stale": [1]})");
  JsonValidator::Validate(Json(schema), Json(value), result, tags, "test");
  Entries entries;
  for (const JVal& entry : result.GetArray()) {
    entries.emplace_back(entry["field"].GetString(), entry["error"].GetString());
  }
  const auto depth = [](const std::string& f) {
    return f == "/" ? std::ptrdiff_t{0} : std::count(f.begin(), f.end(), '/');
  };
  for (std::size_t i = 1; i < entries.size(); ++i) {
    EXPECT_GE(depth(entries[i - 1].first), depth(entries[i].first)) << entries[i].first;
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

// `required` wherever it is a keyword, and never a property that is named
// so. Without tag 8 a "oneOf" is read as "anyOf"; "not" and "if" keep it.
constexpr const char* kNested = R"({"definitions": {"d": {"required": ["b"]}},
  "properties": {"p": {"$ref": "#/definitions/d"}, "q": {"additionalProperties": {"required": ["z"]}}},
  "allOf": [{"required": ["a"]}], "not": {"required": ["forbidden"]},
  "if": {"properties": {"kind": {"const": "x"}}, "required": ["kind"]},
  "then": {"required": ["c"], "properties": {"c": {"type": "integer"}}},
  "oneOf": [{"properties": {"t": {"const": 1}}, "required": ["t"]},
            {"properties": {"t": {"const": 2}}, "required": ["t"]}]})";

// Tag 1 leaves open objects alone.
constexpr const char* kOpen = R"({"properties": {"a": {},
  "open": {"properties": {"b": {}}, "additionalProperties": {}},
  "pattern": {"properties": {"b": {}}, "patternProperties": {"^x": {}}}}})";

// A source mark on the root covers every member but the instance id.
constexpr const char* kVitalRoot = R"({"vital": true, "properties": {"id": {"instanceId": true},
  "a": {}, "b": {"type": "object", "properties": {"c": {}}}}})";

// A mark beside a reference.
constexpr const char* kRef = R"({"definitions": {"s": {"type": "object", "properties": {"n": {}}}},
  "properties": {"x": {"$ref": "#/definitions/s", "cached": true},
                 "y": {"$ref": "#/definitions/s"}}})";

constexpr const char* kFull = R"({"name": "n", "mtu": 1500, "mac": "m", "stats": {"rx": 1},
  "hw": {"serial": "s", "label": "l"}, "addresses": [{"address": "a", "gw": "g", "prefix": 24}]})";

TEST(JsonValidator, EachTagJudgesTheMembersItCovers) {
  const char* kFormat = R"({"properties": {"day": {"format": "date"}, "at": {"format": "date"}}})";
  const char* kWrong =
      R"({"name": 5, "hw": {"serial": 1, "label": 2}, "addresses": [{"prefix": ""}]})";
  const char* kUnnamed = R"({"mtu": 1, "addresses": [{"prefix": 1}], "required": "x"})";
  const struct {
    const char* schema;
    Tags tags;
    const char* value;
    std::vector<std::string> fields;  // sorted
  } cases[] = {
      // 0: the standard keywords report every fault at its member.
      {kNicSchema, {0}, R"({"name": "n", "mtu": 1500})", {}},
      {kNicSchema, {0}, kWrong, {"/addresses/0/prefix", "/hw/label", "/hw/serial", "/name"}},
      {R"({"properties": {"a/b~c": {"type": "integer"}}})", {0}, R"({"a/b~c": "x"})", {"/a~1b~0c"}},
      // "format" judges only strings.
      {kFormat, {0}, R"({"day": "2024-13-01", "at": 5})", {"/day"}},
      // 8: `required`, alone or with the rest; without it, "if" and "not"
      // keep theirs and "oneOf" is "anyOf".
      {kNicSchema, {0}, R"({"mtu": 1000, "addresses": [{"prefix": 1}], "required": true})", {}},
      {kNicSchema, {8}, kUnnamed, {"/addresses/0/address", "/name"}},
      {kNicSchema, {0, 8}, kUnnamed, {"/addresses/0/address", "/mtu", "/name", "/required"}},
      {kNested, {0}, R"({"p": {}, "q": {"m": {}}, "kind": "x"})", {}},
      {kNested, {0}, R"({"forbidden": 1})", {"/"}},
      {kNested, {0}, R"({"c": "s"})", {}},
      {kNested,
       {8},
       R"({"p": {}, "q": {"m": {}}, "kind": "x", "t": 0})",
       {"/a", "/c", "/p/b", "/q/m/z"}},
      {kNested, {0, 8}, R"({"a": 1, "p": {"b": 1}})", {"/", "/t"}},  // no "t" for "oneOf"
      // 1: unlisted members, at every depth.
      {kNicSchema,
       {1},
       R"({"x": 1, "hw": {"y": 2}, "addresses": [{"z": 3}]})",
       {"/addresses/0/z", "/hw/y", "/x"}},
      {kOpen, {1}, R"({"a": 1, "open": {"c": 1}, "pattern": {"c": 1}})", {}},
      // 3, 4, 5, 9: the sources and deprecated members; a root mark covers
      // every member but the instance id, a mark beside a reference its member.
      {kNicSchema, {3}, kFull, {"/addresses/0/gw", "/hw/serial", "/mac", "/stats"}},
      {kNicSchema, {5}, kFull, {"/addresses/0/prefix", "/hw/label", "/mtu", "/stats"}},
      {kNicSchema, {4}, R"({"legacy": true, "mtu": 1500})", {"/legacy"}},
      {kVitalRoot, {3}, R"({"id": "i", "a": 1, "b": {"c": 2}})", {"/a", "/b"}},
      {kRef, {9}, R"({"x": {"n": 1}, "y": {"n": 1}})", {"/y"}},
      {kRef, {0, 1}, R"({"x": {"n": 1, "m": 2}})", {"/x/m"}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Fields(Check(c.schema, c.value, c.tags)), c.fields) << c.value;
  }
}

TEST(JsonValidator, MessagesNameTheProblem) {
  EXPECT_EQ(Check(kNicSchema, R"({"addresses": [{}]})", {8}),
            (Entries{{"/addresses/0/address", "required member is missing"},
                     {"/name", "required member is missing"}}));
  EXPECT_EQ(Check(R"({"properties": {"a": {}}, "additionalProperties": false})",
                  R"({"a": 1, "b": 2})", {0}),
            (Entries{{"/b", "member is not allowed by the schema"}}));
  EXPECT_EQ(Check(kNicSchema, R"({"mac": "m", "mtu": 1500, "legacy": false})", {3, 4}),
            (Entries{{"/mac", "member is vital and cannot be written here"},
                     {"/legacy", "member is deprecated"}}));
  EXPECT_EQ(Check(kNicSchema, R"({"addresses": [{"address": "a"}, {}, {"address": "a"}]})", {7}),
            (Entries{{"/addresses/1/address", "instance id member \"address\" is missing or empty"},
                     {"/addresses/2/address", "duplicate instance id \"a\""}}));
}

// Text that is not UTF-8 (a setter can still store it) is one error at its
// member, and valijson's string checks, which misread it, never see it.
TEST(JsonValidator, TextThatIsNotUtf8IsOneErrorAtItsMember) {
  const std::string text = "{\"name\": \"n\xff\", \"mtu\": 1}";
  JDoc value;
  ASSERT_TRUE(ConfigStoreDocument::ParseStored(value, text.data(), text.size()));
  JDoc result;
  JsonValidator::Validate(Json(R"({"properties": {"name": {"minLength": 2, "maxLength": 3}}})"),
                          value, result, {0, 1, 8}, "");
  EXPECT_EQ(SerializeJson(result), R"([{"field":"/name","error":"text is not valid UTF-8"}])");
}

// Whatever the tags: the whole schema compiles first.
TEST(JsonValidator, UnusableSchemaIsOneErrorAtTheRoot) {
  const char* bad[] = {
      R"({"type": 5})",
      R"({"properties": {"a": {"$ref": "#/definitions/missing"}}})",
      R"({"definitions": {"a": {"$ref": "#/definitions/b"}, "b": {"$ref": "#/definitions/a"}},
          "$ref": "#/definitions/a"})",
      R"({"properties": {"a": {"pattern": "("}}})",
      R"({"patternProperties": {"[": {}}})",
  };
  for (const char* schema : bad) {
    for (const Tags& tags : {Tags{0, 8}, Tags{8}, Tags{1, 5}, Tags{}}) {
      EXPECT_EQ(Fields(Check(schema, R"({"a": {"b": 1}})", tags)), std::vector<std::string>{"/"})
          << schema;
    }
    EXPECT_FALSE(JsonValidator::CheckSchema(Json(schema), nullptr)) << schema;
  }
}

// Schemas (and variants) that differ a little are not confused; threads
// share the cache, and schemas evicted from it compile again.
TEST(JsonValidator, CompiledSchemaCache) {
  const char* integer = R"({"properties": {"a": {"type": "integer"}}, "required": ["a"]})";
  const char* string = R"({"properties": {"a": {"type": "string"}}, "required": ["a"]})";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Fields(Check(string, R"({"a": 1})", {0})), std::vector<std::string>{"/a"});
    EXPECT_TRUE(Check(integer, "{}", {0}).empty());
    EXPECT_EQ(Fields(Check(integer, "{}", {0, 8})), std::vector<std::string>{"/a"});
  }
  const auto work = [] {
    for (int i = 0; i < 1100; ++i) {
      const std::string schema = R"({"maximum": )" + std::to_string(i) + "}";
      EXPECT_EQ(Check(schema, std::to_string(i + 1), {0}).size(), 1u) << i;
    }
  };
  std::thread first(work), second(work);
  work();
  first.join();
  second.join();
  EXPECT_EQ(Check(R"({"maximum": 0})", "1", {0}).size(), 1u);
}

}  // namespace
}  // namespace OrinConfigStore
