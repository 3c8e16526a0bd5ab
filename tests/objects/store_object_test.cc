// StoreObject: typed reads and writes of members, lists, appenders, binary
// values and the whole-object operations.

#include "configstore/store_object.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "outcome.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

using cstest::kInvalidJson;
const std::string kType = "InvalidType 2000 Invalid type specified for: ";
const std::string kEmptyKey = "InvalidArgument 2000 key cannot be empty";
const std::string kNullValue = "InvalidArgument 2000 value cannot be null";

StoreObject ObjectWith(const std::string& json) {
  StoreObject object(ConfigStoreObjectId("options", "kernix", "orin"));
  object.SetData(json.c_str());
  return object;
}

// Member "v" holding `good` reads as `expected` with return code 1; holding
// `bad` (unless empty) the read raises `outcome`.
template <typename T>
void ExpectRead(const std::string& good, const T& expected, const std::string& bad,
                const std::string& outcome = kType + "v") {
  T value{};
  EXPECT_EQ(ObjectWith(R"({"v": )" + good + "}").GetValue("v", &value), 1) << good;
  EXPECT_EQ(value, expected) << good << " as " << typeid(T).name();
  T other{};
  if (!bad.empty()) {
    EXPECT_EQ(RAISED(ObjectWith(R"({"v": )" + bad + "}").GetValue("v", &other)), outcome) << bad;
  }
}

// The data after `statements` ran on an object whose data is `json`, or
// what they raised; a refused call must leave the data as it was.
template <typename F>
std::string After(const std::string& json, F statements) {
  StoreObject object = ObjectWith(json);
  const std::string outcome = RAISED(statements(object));
  if (outcome == "ok") return object.GetData();
  EXPECT_EQ(object.GetData(), ObjectWith(json).GetData()) << outcome;
  return outcome;
}
#define AFTER(json, ...) After(json, [&](StoreObject& o) { __VA_ARGS__; })

TEST(StoreObjectGetters, EachTypeAcceptsOnlyValuesThatFit) {
  ExpectRead<std::string>(R"("text")", "text", "1");
  ExpectRead<int>("-7", -7, "4294967295");
  ExpectRead<long long>("9223372036854775807", 9223372036854775807LL, "9223372036854775808");
  ExpectRead<unsigned int>("4294967295", 4294967295u, "-1");
  ExpectRead<unsigned char>("300", static_cast<unsigned char>(44), "-1");  // keeps the low bits
  ExpectRead<bool>("true", true, "1");
  ExpectRead<double>("2.5", 2.5, "5");  // only numbers held as floating point
  ExpectRead<std::vector<std::string>>(R"(["a", "b"])", {"a", "b"}, "3");
  ExpectRead<std::vector<int>>("[1, -2]", {1, -2}, "[1, 8589934592]", kInvalidJson);
  ExpectRead<std::vector<double>>("[5, 2.5]", {5.0, 2.5}, "");  // unlike the scalar form
  ExpectRead<std::vector<bool>>("[true, false]", {true, false}, R"([true, "x"])", kInvalidJson);

  const StoreObject object = ObjectWith(R"({"n": null, "big": 4294967295})");
  int value = 42;
  EXPECT_EQ(object.GetValue("missing", &value) + object.GetValue("n", &value), 0);
  EXPECT_EQ(RAISED(object.GetValue("big", &value)), kType + "big");
  EXPECT_EQ(value, 42);  // a missing, null or refused member leaves the output alone
  EXPECT_EQ(RAISED(object.GetValue("", &value)), kEmptyKey);
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output pointer cannot be null.",
                  object.GetValue("n", static_cast<int*>(nullptr)));
  std::vector<int> list{1};
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output vector must be empty.",
                  object.GetValue("n", &list));
}

TEST(StoreObjectSetters, ReplaceInPlaceWhateverTheOldTypeOrAppend) {
  EXPECT_EQ(
      AFTER(R"({"i": "old", "b": [1], "d": {"x": 1}})", o.SetValue("i", -1); o.SetValue("b", false);
            o.SetValue("d", 0.5); o.SetValue("s", std::string("a\"b"));
            o.SetValue("l", 8589934592L); o.SetValue("u", 4294967295u); o.SetValue("f", 1.5f)),
      R"({"i":-1,"b":false,"d":0.5,"s":"a\"b","l":8589934592,"u":4294967295,"f":1.5})");

  // A null member stays; the new value is appended, and replaced.
  EXPECT_EQ(AFTER(R"({"a": null, "z": 0})", o.SetValue("a", 5); o.SetValue("a", 6)),
            R"({"a":null,"z":0,"a":6})");

  const char* one = R"({"a": 1})";
  EXPECT_EQ(AFTER(one, o.SetValue("a", static_cast<const char*>(nullptr))), kNullValue);
  EXPECT_EQ(AFTER(one, o.SetValue("", 1)), kEmptyKey);
  EXPECT_EQ(AFTER(one, o.SetValue("a", std::nan(""))),
            "InvalidArgument 1032 Invalid value for key a");
}

TEST(StoreObjectLists, SettersEmptyListsAndAppenders) {
  // A list replaces every member of its name, at the end.
  EXPECT_EQ(AFTER(R"({"l": "old", "a": null, "b": 2})", o.SetValue("l", std::vector<int>{3, 1});
                  o.SetValue("a", 1); o.SetValueEmptyList("a");
                  o.SetValue("names", std::vector<std::string>{"x"})),
            R"({"b":2,"l":[3,1],"a":[],"names":["x"]})");

  // Appenders need an existing array and check only its first element.
  const char* lists = R"({"s": ["a"], "mixed": [1, "a"], "scalar": 1, "e": [], "w": [1]})";
  EXPECT_EQ(
      AFTER(lists, o.AppendValue("mixed", 2); o.AppendValue("s", "b"); o.AppendValue("e", 2.5);
            o.AppendValue("e", 1.0); o.AppendValue("w", 8589934592LL)),
      R"({"s":["a","b"],"mixed":[1,"a",2],"scalar":1,"e":[2.5,1.0],"w":[1,8589934592]})");
  EXPECT_EQ(AFTER(lists, o.AppendValue("missing", 1)),
            "InvalidArgument 2000 Key not found: missing");
  EXPECT_EQ(AFTER(lists, o.AppendValue("s", 1)), kType + "s");
  EXPECT_EQ(AFTER(lists, o.AppendValue("scalar", true)), kType + "scalar");
  EXPECT_EQ(AFTER(R"({"d": [2.5]})", o.AppendValue("d", std::nan(""))),
            "InvalidArgument 1032 Invalid value for key d");
}

TEST(StoreObjectBinary, RoundTripAndFailures) {
  StoreObject object = ObjectWith(R"({"text": "not base64!"})");
  const std::vector<unsigned char> bytes{0x00, 0xff, 0x10, 0x80, 0x7f};
  object.SetValueBinary("blob", bytes.data(), bytes.size());
  EXPECT_EQ(object.GetData(), R"({"text":"not base64!","blob":"AP8QgH8="})");
  unsigned char* data = nullptr;
  unsigned long length = 0;
  ASSERT_EQ(object.GetValueBinary("blob", &data, &length), 1);
  const std::unique_ptr<unsigned char[]> owned(data);
  EXPECT_EQ(std::vector<unsigned char>(data, data + length), bytes);

  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to decode binary value",
                  object.GetValueBinary("text", &data, &length));
  EXPECT_EQ(AFTER("{}", o.SetValueBinary("a", bytes.data(), 0)),
            "InvalidArgument 2000 Value pointer cannot be null and length cannot be zero");
}

TEST(StoreObjectWhole, MembersAndData) {
  // A null member counts as present; removal may reorder the others.
  EXPECT_EQ(
      AFTER(R"({"a": 1, "n": null, "b": 2, "c": 3})", EXPECT_TRUE(o.CheckKey("n"));
            EXPECT_TRUE(o.Remove("a")); EXPECT_TRUE(o.Remove("n")); EXPECT_FALSE(o.Remove("x"))),
      R"({"c":3,"b":2})");
  const char* one = R"({"a": 1})";
  EXPECT_EQ(AFTER(one, o.SetData("{")), "InvalidArgument 1080 Failed to parse JSON String");
  EXPECT_EQ(AFTER(one, o.SetData("[1]")), "InvalidArgument 1082 Invalid JSON");
}

}  // namespace
}  // namespace OrinConfigStore
