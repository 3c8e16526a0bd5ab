// Documents, view paths and the JSON helpers.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "configstore/json_doc.h"
#include "json/document.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

constexpr const char* kHost = R"({"name": "host1", "dns": {"domain": "lab"},
  "nics": [{"id": "a", "mtu": 1500}, {"id": "b", "mtu": 9000, "vlans": [{"tag": "7"}]}]})";

// The text the view of `doc` at `path` resolves to.
std::string At(const std::shared_ptr<JsonDoc>& doc, std::vector<JsonNode> path) {
  return SerializeJson(*JsonDoc(doc->ShareDocument(), std::move(path)).GetJsonValuePtr());
}

TEST(JsonDocPath, ResolvesSingletonAndRepeatedSubObjectsAfresh) {
  auto doc = CreateDocumentFromString(kHost);
  EXPECT_EQ(doc->GetJsonValuePtr(), &doc->GetDocument());
  EXPECT_EQ(At(doc, {{"dns", "", ""}}), R"({"domain":"lab"})");
  EXPECT_EQ(At(doc, {{"nics", "id", "b"}, {"vlans", "tag", "7"}}), R"({"tag":"7"})");
  // A view follows changes made to the shared document since.
  const JsonDoc b(doc->ShareDocument(), {{"nics", "id", "b"}});
  JVal& nics = doc->GetDocument()["nics"];
  nics.Erase(nics.Begin());
  EXPECT_EQ(SerializeJson(*b.GetJsonValuePtr()), R"({"id":"b","mtu":9000,"vlans":[{"tag":"7"}]})");
  doc->GetDocument().RemoveMember("nics");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject does not exists.", b.GetJsonValuePtr());
}

// A missing member or instance, and malformed steps: a scalar on the way, an
// id member that holds a number.
TEST(JsonDocPath, ResolutionFailures) {
  auto doc = CreateDocumentFromString(kHost);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject does not exists.",
                  At(doc, {{"ntp", "", ""}}));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Subobject instance does not exists.",
                  At(doc, {{"nics", "id", "zz"}}));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  At(doc, {{"name", "", ""}, {"x", "", ""}}));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  At(CreateDocumentFromString(R"({"list": [{"id": 1}]})"), {{"list", "id", "1"}}));
}

// Text and files; nesting deeper than the limit is refused, far deeper
// before parsing, and brackets inside strings do not count.
TEST(CreateDocument, ParsesTextOrFilesOrRefusesThem) {
  EXPECT_TRUE(CreateDocument()->GetDocument().IsNull());
  const std::size_t limit = ConfigStoreDocument::kMaxNestingDepth;
  EXPECT_NO_THROW(CreateDocumentFromString(std::string(limit, '[') + std::string(limit, ']')));
  EXPECT_NO_THROW(CreateDocumentFromString("[\"\\\"" + std::string(limit + 1, '[') + "\"]"));
  for (const std::string& bad : {std::string(), std::string("{\"a\":1} x"),
                                 std::string(limit + 1, '[') + std::string(limit + 1, ']'),
                                 "{\"a\":" + std::string(1000000, '[')}) {
    EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                    CreateDocumentFromString(bad));
  }
  cstest::TempRoot root;
  const std::string good = root.WriteFile("good.json", R"({"a": [1, 2]})");
  EXPECT_EQ(SerializeJson(CreateDocumentFromFile(good)->GetDocument()), R"({"a":[1,2]})");
  const std::string bad = root.WriteFile("bad.json", R"({"a": )");
  for (const std::string& path : {bad, root.Path() + "/missing.json", root.Path()}) {
    EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file " + path,
                    CreateDocumentFromFile(path));
  }
  EXPECT_FALSE(FileExists(root.Path() + "/missing.json"));
}

// Text from outside must be UTF-8, escapes included, with one member of each
// name per object; text the library stored itself is read as written.
TEST(CreateDocument, RefusesTextThatIsNotUtf8OrRepeatsAMember) {
  EXPECT_NO_THROW(CreateDocumentFromString(
      "{\"\xc3\xa9\": \"\xf0\x9f\x98\x80 \\ud83d\\ude00 \\u00e9\", \"a\": {\"a\": 1}}"));
  for (const char* bad : {"[\"\xff\"]", "{\"\xc0\xaf\": 1}", "[\"\xed\xa0\x80\"]",
                          "[\"\xf4\x90\x80\x80\"]", "[\"\\udc00\"]", "[\"\xe2\x82\"]"}) {
    EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                    CreateDocumentFromString(bad));
  }
  const std::string repeated = R"({"x": [{"reals": [1.5], "n": 1, "reals": [true]}]})";
  EXPECT_CS_ERROR(InvalidArgumentException, 1080,
                  "Failed to parse JSON String: duplicate member \"reals\" at /x/0/reals",
                  CreateDocumentFromString(repeated));
  cstest::TempRoot root;
  const std::string file = root.WriteFile("repeated.json", repeated);
  EXPECT_CS_ERROR(
      InvalidArgumentException, 1081,
      "Failed to parse JSON file " + file + ": duplicate member \"reals\" at /x/0/reals",
      CreateDocumentFromFile(file));
  EXPECT_NO_THROW(CreateDocumentFromStoredText(repeated.data(), repeated.size()));
  // What a setter leaves beside a null member reads one way, and comes in
  // again; a null after a value is still a repeat.
  EXPECT_NO_THROW(CreateDocumentFromString(R"({"name": null, "mtu": 1, "name": "nic1"})"));
  EXPECT_CS_ERROR(InvalidArgumentException, 1080,
                  "Failed to parse JSON String: duplicate member \"name\" at /name",
                  CreateDocumentFromString(R"({"name": "nic1", "name": null})"));
  std::string where;
  EXPECT_FALSE(IsValidUtf8Text(
      CreateDocumentFromStoredText("{\"a\": [\"\xff\"]}", 14)->GetDocument(), &where));
  EXPECT_EQ(where, "/a/0");
}

// A number past the range of a double would read as infinity, which has no
// JSON text; any other number reads back as itself after it is written.
TEST(CreateDocument, NumbersAreExactOrRefusedWhenOutOfRange) {
  EXPECT_CS_ERROR(InvalidArgumentException, 1080,
                  "Failed to parse JSON String: number out of range at /a/1/b",
                  CreateDocumentFromString(R"({"a": [1, {"b": -2e308}]})"));
  EXPECT_CS_ERROR(InvalidArgumentException, 1080,
                  "Failed to parse JSON String: number out of range at /",
                  CreateDocumentFromString("1.8e308"));
  EXPECT_CS_ERROR(InvalidArgumentException, 1080,
                  "Failed to parse JSON String: number out of range at offset 9",
                  CreateDocumentFromString(R"({"mtu": [1e400]})"));
  // Each read as the nearest double: checked against the C library.
  for (const char* number : {"22.0000012268286370", "0.184467440737095516159", "-0e-93", "0e100",
                             "2.220446049250313e-16", "1e-400", "-1.5E+3"}) {
    JDoc document;
    ASSERT_FALSE(ParseJsonText(document, number, std::strlen(number)).IsError()) << number;
    EXPECT_EQ(document.GetDouble(), std::strtod(number, nullptr)) << number;
  }
  // Integers keep rapidjson's types, to the edges of 32 and 64 bits.
  JDoc integers;
  const std::string edges =
      "[-2147483648, -2147483649, -9223372036854775808, -9223372036854775809, 4294967295, "
      "4294967296, 18446744073709551615, 18446744073709551616]";
  ASSERT_FALSE(ParseJsonText(integers, edges.data(), edges.size()).IsError());
  JDoc reference;
  reference.Parse(edges.c_str());
  for (rapidjson::SizeType i = 0; i < reference.Size(); ++i) {
    EXPECT_TRUE(integers[i] == reference[i]) << i;
    EXPECT_EQ(integers[i].IsInt(), reference[i].IsInt()) << i;
    EXPECT_EQ(integers[i].IsInt64(), reference[i].IsInt64()) << i;
    EXPECT_EQ(integers[i].IsUint64(), reference[i].IsUint64()) << i;
  }
  for (const char* text : {"[22.0000012268286370]", "[0.1000000000000000055511151231257827]",
                           "[1.7976931348623157e308]", "[4.9406564584124654e-324]",
                           "[123456789012345678901234567890]"}) {
    const std::string once = SerializeJson(CreateDocumentFromString(text)->GetDocument());
    const std::string twice =
        SerializeJson(CreateDocumentFromStoredText(once.data(), once.size())->GetDocument());
    EXPECT_EQ(once, twice) << text;
    EXPECT_EQ(once, SerializeJson(CreateDocumentFromString(once)->GetDocument())) << text;
  }
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
      SerializeJson(doc->GetDocument()),
      R"([{"sub":{"x":1},"name":"a"},{"name":"b","list":[{},[{"y":[5]}]]},"cs_generated_id",7])");
  ClearGeneratedInstanceId(nullptr);
}

// A value that JSON cannot hold is refused, the output left alone.
TEST(ConfigStoreDocument, SerializeRefusesWhatJsonCannotHold) {
  std::string out = "kept";
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  ConfigStoreDocument::SerializeValue(JVal(std::nan("")), out));
  EXPECT_EQ(out, "kept");
}

// The new value is copied before the old member goes: removing a member
// moves another into its place, here the very value being copied.
TEST(SetMemberEx, CopiesBeforeRemovingAndLeavesEqualMembersAlone) {
  auto doc = CreateDocumentFromString(R"({"a": 1, "b": 2, "c": {"x": [1]}})");
  JVal& object = doc->GetDocument();
  SetMemberEx(object, "b", JVal(2), doc->GetAllocator());
  EXPECT_EQ(SerializeJson(object), R"({"a":1,"b":2,"c":{"x":[1]}})");
  SetMemberEx(object, "a", object["c"], doc->GetAllocator());  // a changed member goes last
  EXPECT_EQ(SerializeJson(object), R"({"c":{"x":[1]},"b":2,"a":{"x":[1]}})");
}

// A copy owns all its strings, those the source only referred to included,
// and a key named by a temporary text is copied too.
TEST(SetMemberEx, CopiesEveryStringOfTheValueAndTheKey) {
  auto doc = CreateDocumentFromString(R"({"keep": 1})");
  JVal& object = doc->GetDocument();
  std::string borrowed = "lent";
  JVal source(rapidjson::kObjectType);
  JVal list(rapidjson::kArrayType);
  list.PushBack(JVal(rapidjson::StringRef(borrowed.c_str())), doc->GetAllocator());
  list.PushBack(JVal(1.5), doc->GetAllocator());
  source.AddMember("list", list, doc->GetAllocator());
  std::string key = "copied";
  SetMemberEx(object, key.c_str(), source, doc->GetAllocator());
  SetMemberEx(object, JVal(rapidjson::StringRef(borrowed.c_str())), JVal(true),
              doc->GetAllocator());
  borrowed.assign("xxxx");
  key.assign("xxxxxx");
  EXPECT_EQ(SerializeJson(object), R"({"keep":1,"copied":{"list":["lent",1.5]},"lent":true})");
}

// Stored text reads as the checked parse reads it: a byte order mark
// skipped, a NUL ending the text, numbers exact.
TEST(ConfigStoreDocument, StoredTextReadsAsTheCheckedParseReadsIt) {
  for (const std::string& text :
       {std::string("\xEF\xBB\xBF{\"a\": 1}"), std::string("\xBB[2]"),
        std::string("{\"a\": 0.1}\0 trailing", 17), std::string("{\"a\": \"x\0y\"}", 13),
        std::string("[1, 2"), std::string(""), std::string("18446744073709551616")}) {
    auto stored = ConfigStoreDocument::NewDocument();
    auto checked = ConfigStoreDocument::NewDocument();
    const bool read = ConfigStoreDocument::ParseStored(*stored, text.c_str(), text.size());
    EXPECT_EQ(read, !ParseJsonText(*checked, text.c_str(), text.size()).IsError()) << text;
    if (read) {
      EXPECT_EQ(SerializeJson(*stored), SerializeJson(*checked)) << text;
    }
  }
}

}  // namespace
}  // namespace OrinConfigStore
