// StoreObject: typed reads and writes of members, lists, appenders, binary
// values and the whole-object operations.

#include "configstore/store_object.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "outcome.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const std::string kType = "InvalidType 2000 Invalid type specified for: ";
const std::string kTypeV = kType + "v";
const std::string kEmptyKey = "InvalidArgument 2000 key cannot be empty";
const std::string kNullValue = "InvalidArgument 2000 value cannot be null";
const std::string kInvalidJson = "ConfigStore 2000 Invalid JSON";

StoreObject ObjectWith(const std::string& json) {
  StoreObject object(ConfigStoreObjectId("options", "kernix", "orin"));
  object.SetData(json.c_str());
  return object;
}

StoreObject Member(const std::string& json) { return ObjectWith(R"({"v": )" + json + "}"); }

// Reading member "v" holding `json` as T gives `expected` with return code 1.
template <typename T>
void ExpectRead(const std::string& json, const T& expected) {
  T value{};
  EXPECT_EQ(Member(json).GetValue("v", &value), 1) << json << " as " << typeid(T).name();
  EXPECT_EQ(value, expected) << json << " as " << typeid(T).name();
}

// Reading it raises `outcome` (by default: the wrong type).
template <typename T>
void ExpectRefused(const std::string& json, const std::string& outcome = kTypeV) {
  T value{};
  EXPECT_EQ(RAISED(Member(json).GetValue("v", &value)), outcome)
      << json << " as " << typeid(T).name();
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
  ExpectRead<std::string>(R"("text")", "text");
  ExpectRefused<std::string>("1");
  ExpectRead<int>("-7", -7);
  ExpectRefused<int>("4294967295");
  ExpectRead<long>("4294967295", 4294967295L);
  ExpectRead<long long>("9223372036854775807", 9223372036854775807LL);
  ExpectRefused<long long>("9223372036854775808");
  ExpectRead<unsigned int>("4294967295", 4294967295u);
  ExpectRefused<unsigned int>("-1");
  // The narrow unsigned forms keep the low bits.
  ExpectRead<unsigned char>("300", static_cast<unsigned char>(44));
  ExpectRefused<unsigned char>("-1");
  ExpectRead<unsigned short>("70000", static_cast<unsigned short>(4464));
  ExpectRefused<unsigned short>("-1");
  ExpectRead<bool>("true", true);
  ExpectRefused<bool>("1");
  ExpectRead<double>("2.5", 2.5);
  ExpectRefused<double>("5");  // only numbers held as floating point

  ExpectRead<std::vector<std::string>>(R"(["a", "b"])", {"a", "b"});
  ExpectRead<std::vector<int>>("[1, -2]", {1, -2});
  ExpectRead<std::vector<long long>>("[8589934592]", {8589934592LL});
  ExpectRead<std::vector<double>>("[5, 2.5]", {5.0, 2.5});  // unlike the scalar form
  ExpectRead<std::vector<bool>>("[true, false]", {true, false});
  ExpectRead<std::vector<int>>("[]", {});
  ExpectRefused<std::vector<std::string>>("3");
  ExpectRefused<std::vector<int>>("[1, 8589934592]", kInvalidJson);
  ExpectRefused<std::vector<bool>>(R"([true, "x"])", kInvalidJson);
}

TEST(StoreObjectGetters, ArgumentsAndWhatAFailedReadLeaves) {
  const StoreObject object = ObjectWith(R"({"n": null, "big": 4294967295, "mixed": [1, 2, "x"]})");
  int value = 42;
  EXPECT_EQ(object.GetValue("missing", &value), 0);
  EXPECT_EQ(object.GetValue("n", &value), 0);
  EXPECT_EQ(RAISED(object.GetValue("big", &value)), kType + "big");
  EXPECT_EQ(value, 42);  // nor does a refused read
  EXPECT_EQ(object.GetValuePtr("n"), nullptr);
  EXPECT_EQ(RAISED(object.GetValue("", &value)), kEmptyKey);
  EXPECT_EQ(RAISED(object.GetValuePtr(nullptr)), kEmptyKey);
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output pointer cannot be null.",
                  object.GetValue("n", static_cast<int*>(nullptr)));
  std::vector<int> list{1};
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output vector must be empty.",
                  object.GetValue("mixed", &list));
  list.clear();
  EXPECT_EQ(object.GetValue("missing", &list), 0);
  EXPECT_EQ(RAISED(object.GetValue("mixed", &list)), kInvalidJson);
  EXPECT_EQ(list, (std::vector<int>{1, 2}));  // what was read before the fault stays
}

TEST(StoreObjectSetters, ReplaceInPlaceWhateverTheOldTypeOrAppend) {
  StoreObject object = ObjectWith(R"({"i": "old", "b": [1], "d": {"x": 1}})");
  object.SetValue("s", "text");
  object.SetValue("str", std::string("a\"b"));
  object.SetValue("i", -1);
  object.SetValue("l", 8589934592L);
  object.SetValue("ll", -8589934592LL);
  object.SetValue("u", 4294967295u);
  object.SetValue("us", static_cast<unsigned short>(65535));
  object.SetValue("uc", static_cast<unsigned char>(200));
  object.SetValue("b", false);
  object.SetValue("d", 0.5);
  object.SetValue("f", 1.5f);
  EXPECT_EQ(object.GetData(), R"({"i":-1,"b":false,"d":0.5,"s":"text","str":"a\"b","l":8589934592,)"
                              R"("ll":-8589934592,"u":4294967295,"us":65535,"uc":200,"f":1.5})");

  // A null member stays; the new value is appended, read and replaced.
  int a = 0;
  EXPECT_EQ(AFTER(R"({"a": null, "z": 0})", o.SetValue("a", 5); o.SetValue("a", 6);
                  EXPECT_EQ(o.GetValue("a", &a), 1)),
            R"({"a":null,"z":0,"a":6})");
  EXPECT_EQ(a, 6);

  const char* one = R"({"a": 1})";
  const std::string badValue = "InvalidArgument 1032 Invalid value for key a";
  EXPECT_EQ(AFTER(one, o.SetValue("a", static_cast<const char*>(nullptr))), kNullValue);
  EXPECT_EQ(AFTER(one, o.SetValue("", 1)), kEmptyKey);
  EXPECT_EQ(AFTER(one, o.SetValue(nullptr, 1)), kEmptyKey);
  EXPECT_EQ(AFTER(one, o.SetValue("a", std::nan(""))), badValue);
  EXPECT_EQ(AFTER(one, o.SetValue("a", std::numeric_limits<float>::infinity())), badValue);
  EXPECT_EQ(AFTER(one, o.SetValue("", std::nan(""))), kEmptyKey);
}

TEST(StoreObjectLists, SettersEmptyListsAndAppenders) {
  EXPECT_EQ(AFTER(R"({"list": "old", "after": 1})", o.SetValue("list", std::vector<int>{3, 1, 2});
                  o.SetValue("names", std::vector<std::string>{"a", "b"});
                  o.SetValue("none", std::vector<int>{})),
            R"({"after":1,"list":[3,1,2],"names":["a","b"],"none":[]})");
  // An empty list replaces every member of its name, at the end.
  EXPECT_EQ(AFTER(R"({"a": null, "b": 2})", o.SetValue("a", 1); o.SetValueEmptyList("a");
                  o.SetValueEmptyList("")),
            R"({"b":2,"a":[],"":[]})");
  EXPECT_EQ(AFTER("{}", o.SetValueEmptyList(nullptr)), kInvalidJson);

  // Appenders need an existing array and check only its first element.
  const char* lists = R"({"s": ["a"], "mixed": [1, "a"], "scalar": 1, "n": null, "e": []})";
  EXPECT_EQ(
      AFTER(lists, o.AppendValue("mixed", 2); o.AppendValue("s", "b");
            o.AppendValue("s", std::string("c")); o.AppendValue("e", 2.5); o.AppendValue("e", 1.0)),
      R"({"s":["a","b","c"],"mixed":[1,"a",2],"scalar":1,"n":null,"e":[2.5,1.0]})");
  EXPECT_EQ(
      AFTER(R"({"f": [], "w": [1]})", o.AppendValue("f", true); o.AppendValue("w", 8589934592LL)),
      R"({"f":[true],"w":[1,8589934592]})");
  EXPECT_EQ(AFTER(lists, o.AppendValue("missing", std::nan(""))),
            "InvalidArgument 2000 Key not found: missing");
  EXPECT_EQ(AFTER(lists, o.AppendValue("s", 1)), kType + "s");
  EXPECT_EQ(AFTER(lists, o.AppendValue("scalar", 1)), kType + "scalar");
  EXPECT_EQ(AFTER(lists, o.AppendValue("n", 1)), kType + "n");
  EXPECT_EQ(AFTER(lists, o.AppendValue("s", static_cast<const char*>(nullptr))), kNullValue);
  EXPECT_EQ(AFTER(R"({"d": [2.5]})", o.AppendValue("d", true)), kType + "d");
  EXPECT_EQ(AFTER(R"({"d": [2.5]})", o.AppendValue("d", std::nan(""))),
            "InvalidArgument 1032 Invalid value for key d");
}

TEST(StoreObjectBinary, RoundTripAndFailures) {
  StoreObject object = ObjectWith(R"({"text": "not base64!"})");
  const std::vector<unsigned char> bytes{0x00, 0xff, 0x10, 0x80, 0x7f};
  object.SetValueBinary("blob", bytes.data(), bytes.size());
  EXPECT_NE(object.GetData().find(R"("blob":"AP8QgH8=")"), std::string::npos);
  unsigned char* data = nullptr;
  unsigned long length = 0;
  ASSERT_EQ(object.GetValueBinary("blob", &data, &length), 1);
  const std::unique_ptr<unsigned char[]> owned(data);
  EXPECT_EQ(std::vector<unsigned char>(data, data + length), bytes);

  EXPECT_EQ(object.GetValueBinary("missing", &data, &length), 0);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to decode binary value",
                  object.GetValueBinary("text", &data, &length));
  const std::string badInput =
      "InvalidArgument 2000 Value pointer cannot be null and length cannot be zero";
  EXPECT_EQ(AFTER("{}", o.SetValueBinary("a", bytes.data(), 0)), badInput);
  EXPECT_EQ(AFTER("{}", o.SetValueBinary("a", nullptr, 1)), badInput);
}

TEST(StoreObjectWhole, MembersDataAndCopies) {
  // A null member counts as present; removal may reorder the others.
  EXPECT_EQ(AFTER(R"({"a": 1, "n": null, "b": 2, "c": 3})", EXPECT_TRUE(o.CheckKey("n"));
                  EXPECT_TRUE(o.Remove("a")); EXPECT_FALSE(o.CheckKey("a"));
                  EXPECT_TRUE(o.Remove("n")); EXPECT_FALSE(o.Remove("x"))),
            R"({"c":3,"b":2})");
  const char* one = R"({"a": 1})";
  EXPECT_EQ(AFTER(one, o.SetData(nullptr)), R"({"a":1})");
  EXPECT_EQ(AFTER(one, o.SetData("{")), "InvalidArgument 1080 Failed to parse JSON String");
  EXPECT_EQ(AFTER(one, o.SetData("[1]")), "InvalidArgument 1082 Invalid JSON");

  StoreObject object = ObjectWith(one);
  object.SetData("{}");
  EXPECT_TRUE(object.IsEmpty());
  const StoreObject copy = object;  // copies share the implementation
  object.SetValue("b", 2);
  EXPECT_FALSE(copy.IsEmpty());
}

}  // namespace
}  // namespace OrinConfigStore
