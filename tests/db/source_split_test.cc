// Splitting an object's data into its user, vital and cached parts by the
// schema's marks.

#include <gtest/gtest.h>

#include "db/source_split.h"
#include "json/document.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

JDoc Parse(const char* text) {
  JDoc doc;
  doc.Parse(text);
  return doc;
}

std::string Part(const char* data, const JDoc& schema, ValueSource source) {
  const auto part = SplitBySource(Parse(data), schema, source);
  if (!part) return "none";
  std::string text;
  ConfigStoreDocument::SerializeValue(*part, text);
  return text;
}

const JDoc kSchema = Parse(R"({"properties": {
    "name": {"type": "string", "instanceId": true},
    "mtu": {"type": "integer"},
    "mac": {"type": "string", "vital": true},
    "stats": {"type": "object", "cached": true},
    "nested": {"type": "object", "properties": {"a": {}, "v": {"vital": true}}},
    "tags": {"type": "array", "items": {"type": "string"}},
    "list": {"type": "array", "instanceId": "id", "items": {"properties": {
        "id": {"instanceId": true}, "u": {}, "c": {"cached": true}}}}}})");

TEST(SourceSplit, EachMemberGoesToItsSource) {
  const char* data = R"({"name": "nic1", "mtu": 9000, "mac": "aa", "stats": {"rx": 1},
                         "nested": {"a": 1, "v": 2}, "tags": ["x"],
                         "list": [{"id": "p", "u": 1, "c": 2}, {"id": "q", "u": 3}]})";
  EXPECT_EQ(Part(data, kSchema, ValueSource::kUser),
            R"({"name":"nic1","mtu":9000,"nested":{"a":1},"tags":["x"],)"
            R"("list":[{"id":"p","u":1},{"id":"q","u":3}]})");
  EXPECT_EQ(Part(data, kSchema, ValueSource::kVital),
            R"({"name":"nic1","mac":"aa","nested":{"v":2}})");
  EXPECT_EQ(Part(data, kSchema, ValueSource::kCached),
            R"({"name":"nic1","stats":{"rx":1},"list":[{"id":"p","c":2}]})");
}

TEST(SourceSplit, IdsAloneAreUserDataAndEmptyContainersUserValues) {
  EXPECT_EQ(Part(R"({"name": "nic1", "mtu": 1})", kSchema, ValueSource::kVital), "none");
  EXPECT_EQ(Part(R"({"name": "nic1", "tags": []})", kSchema, ValueSource::kUser),
            R"({"name":"nic1","tags":[]})");
  EXPECT_EQ(Part(R"({"name": "nic1", "tags": []})", kSchema, ValueSource::kCached), "none");
  EXPECT_EQ(Part(R"({"name": "nic1", "nested": {}})", kSchema, ValueSource::kUser),
            R"({"name":"nic1","nested":{}})");
  EXPECT_EQ(Part(R"({"nested": {}})", kSchema, ValueSource::kVital), "none");
  EXPECT_EQ(Part("{}", kSchema, ValueSource::kUser), "{}");
  EXPECT_EQ(Part("{}", kSchema, ValueSource::kCached), "none");
  // An instance with nothing but its id still exists: it is user data.
  EXPECT_EQ(Part(R"({"name": "nic1", "list": [{"id": "p"}]})", kSchema, ValueSource::kUser),
            R"({"name":"nic1","list":[{"id":"p"}]})");
}

TEST(SourceSplit, AMarkAtTheTopCoversTheWholeType) {
  const JDoc cached = Parse(R"({"cached": true, "properties": {"a": {}, "b": {}}})");
  EXPECT_EQ(Part(R"({"a": 1, "b": 2})", cached, ValueSource::kCached), R"({"a":1,"b":2})");
  EXPECT_EQ(Part(R"({"a": 1, "b": 2})", cached, ValueSource::kUser), "none");
}

TEST(SourceSplit, DataTheSchemaDoesNotDescribe) {
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid field in schema: other",
                  Part(R"({"mtu": 1, "other": 2})", kSchema, ValueSource::kUser));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Schema error:Expected array type",
                  Part(R"({"nested": [1]})", kSchema, ValueSource::kUser));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  Part(R"({"list": [{"id": "p", "zz": 1}], "mtu": "x"})",
                       Parse(R"({"properties": {"list": {"type": "array", "items": 5}}})"),
                       ValueSource::kUser));
}

}  // namespace
}  // namespace OrinConfigStore
