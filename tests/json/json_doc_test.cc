// Documents, view paths and the JSON helpers.

#include <gtest/gtest.h>

#include "configstore/json_doc.h"
#include "configstore/store_object.h"
#include "json/document.h"
#include "objects/store_object_impl.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

constexpr const char* kHost = R"({
  "name": "host1",
  "dns": {"domain": "lab"},
  "nics": [{"id": "a", "mtu": 1500}, {"id": "b", "mtu": 9000, "vlans": [{"tag": "7"}]}]
})";

std::shared_ptr<JsonDoc> View(const std::shared_ptr<JsonDoc>& doc, std::vector<JsonNode> path) {
  return std::make_shared<JsonDoc>(doc->ShareDocument(), std::move(path));
}

std::string Serialize(const JVal& value) {
  std::string text;
  ConfigStoreDocument::SerializeValue(value, text);
  return text;
}

TEST(JsonDocPath, ResolvesSingletonAndRepeatedSubObjects) {
  auto doc = CreateDocumentFromString(kHost);
  EXPECT_EQ(doc->GetJsonValuePtr(), &doc->GetDocument());
  EXPECT_EQ(Serialize(*View(doc, {{"dns", "", ""}})->GetJsonValuePtr()), R"({"domain":"lab"})");
  EXPECT_EQ(Serialize(*View(doc, {{"nics", "id", "b"}, {"vlans", "tag", "7"}})->GetJsonValuePtr()),
            R"({"tag":"7"})");
}

TEST(JsonDocPath, ViewsSeeEachOthersChanges) {
  auto doc = CreateDocumentFromString(kHost);
  StoreObjectImpl nic(ConfigStoreObjectId("nics", "g", "c", "a"), View(doc, {{"nics", "id", "a"}}));
  StoreObjectImpl root(ConfigStoreObjectId("host", "g", "c"), doc);
  nic.SetValue("mtu", 1400);
  int mtu = 0;
  EXPECT_EQ(nic.GetValue("mtu", &mtu), 1);
  EXPECT_EQ(mtu, 1400);
  EXPECT_NE(root.GetData().find(R"({"id":"a","mtu":1400})"), std::string::npos);

  // Once the instance is gone from the shared document, the view fails.
  root.Remove("nics");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject does not exists.", nic.GetData());
}

TEST(JsonDocPath, ResolutionFailures) {
  auto doc = CreateDocumentFromString(kHost);
  cstest::LogCapture log;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject does not exists.",
                  View(doc, {{"ntp", "", ""}})->GetJsonValuePtr());
  EXPECT_TRUE(log.Contains(0, "Cannot find subobject ntp"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject instance does not exists.",
                  View(doc, {{"nics", "id", "zz"}})->GetJsonValuePtr());
  EXPECT_TRUE(log.Contains(0, "Cannot find subobject instance id=zz"));

  // Malformed steps: a scalar on the way, elements without the id member.
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  View(doc, {{"name", "", ""}, {"x", "", ""}})->GetJsonValuePtr());
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  View(doc, {{"nics", "uuid", "a"}})->GetJsonValuePtr());
  auto numbers = CreateDocumentFromString(R"({"list": [{"id": 1}]})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  View(numbers, {{"list", "id", "1"}})->GetJsonValuePtr());
  auto empty = CreateDocumentFromString(R"({"list": []})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject instance does not exists.",
                  View(empty, {{"list", "id", "1"}})->GetJsonValuePtr());
}

TEST(CreateDocument, ParsesTextOrRefusesIt) {
  EXPECT_TRUE(CreateDocument()->GetDocument().IsNull());
  EXPECT_TRUE(CreateDocumentFromString("[1, 2]")->GetDocument().IsArray());
  for (const char* bad : {"", "   ", "{", "{\"a\":1} x", "{'a':1}"}) {
    EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                    CreateDocumentFromString(bad));
  }
}

TEST(CreateDocument, RefusesNestingDeeperThanTheLimit) {
  const std::size_t limit = ConfigStoreDocument::kMaxNestingDepth;
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  EXPECT_NO_THROW(CreateDocumentFromString(nested(limit)));
  EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                  CreateDocumentFromString(nested(limit + 1)));
  // Far deeper than any stack could take: refused before parsing.
  EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                  CreateDocumentFromString("{\"a\":" + std::string(1000000, '[')));
  // Brackets inside strings, escaped quotes included, do not count.
  const std::string text = "[\"\\\"" + std::string(limit + 1, '[') + "\"]";
  EXPECT_NO_THROW(CreateDocumentFromString(text));
}

TEST(CreateDocument, FromFile) {
  cstest::TempRoot root;
  const std::string good = root.WriteFile("good.json", R"({"a": [1, 2]})");
  EXPECT_EQ(Serialize(CreateDocumentFromFile(good)->GetDocument()), R"({"a":[1,2]})");

  const std::string bad = root.WriteFile("bad.json", R"({"a": )");
  EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file " + bad,
                  CreateDocumentFromFile(bad));
  const std::string missing = root.Path() + "/missing.json";
  EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file " + missing,
                  CreateDocumentFromFile(missing));
  EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file " + root.Path(),
                  CreateDocumentFromFile(root.Path()));
}

TEST(ClearGeneratedInstanceId, RemovesTheMemberAtEveryDepth) {
  auto doc = CreateDocumentFromString(R"([
    {"cs_generated_id": "1", "name": "a", "sub": {"cs_generated_id": "2", "x": 1}},
    {"name": "b", "list": [{"cs_generated_id": "3"}, [{"cs_generated_id": "4", "y": [5]}]]},
    "cs_generated_id", 7
  ])");
  ClearGeneratedInstanceId(&doc->GetDocument());
  // Removal moves the object's last member into the freed place.
  EXPECT_EQ(
      Serialize(doc->GetDocument()),
      R"([{"sub":{"x":1},"name":"a"},{"name":"b","list":[{},[{"y":[5]}]]},"cs_generated_id",7])");
  ClearGeneratedInstanceId(nullptr);
}

TEST(FileExists, AnyKindOfFile) {
  cstest::TempRoot root;
  EXPECT_TRUE(FileExists(root.Path()));
  EXPECT_TRUE(FileExists(root.WriteFile("f", "x")));
  EXPECT_FALSE(FileExists(root.Path() + "/nothing"));
}

TEST(ConfigStoreDocument, SerializeAndMemberTest) {
  auto doc = CreateDocumentFromString(R"({"a": null, "b": "\u00e9\n"})");
  EXPECT_TRUE(ConfigStoreDocument::ValueExists(doc->GetDocument(), "a"));
  EXPECT_FALSE(ConfigStoreDocument::ValueExists(doc->GetDocument(), "c"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  ConfigStoreDocument::ValueExists(doc->GetDocument()["b"], "a"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  ConfigStoreDocument::ValueExists(doc->GetDocument(), nullptr));
  EXPECT_EQ(Serialize(doc->GetDocument()), "{\"a\":null,\"b\":\"\xc3\xa9\\n\"}");
}

}  // namespace
}  // namespace OrinConfigStore
