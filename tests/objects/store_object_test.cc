// StoreObject: typed reads and writes of members, lists, appenders, binary
// values and the whole-object operations.

#include "configstore/store_object.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "test_support.h"

namespace OrinConfigStore {
namespace {

StoreObject ObjectWith(const std::string& json) {
  StoreObject object(ConfigStoreObjectId("options", "kernix", "orin"));
  object.SetData(json.c_str());
  return object;
}

template <typename T>
std::string Show(const T& value) {
  std::ostringstream out;
  if constexpr (std::is_arithmetic_v<T>) {
    out << +value;  // unsigned char as a number
  } else {
    out << value;
  }
  return out.str();
}

template <typename T>
std::string Show(const std::vector<T>& values) {
  std::string text;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const T value = values[i];
    text += (i == 0 ? "" : ",") + Show(value);
  }
  return text;
}

// "<code> <value>" as reading member "v" of {"v": <member>} as T gives it, or
// "<class> <code> <message>" of what the read raised.
template <typename T>
std::string Get(const std::string& member) {
  const StoreObject object = ObjectWith(R"({"v": )" + member + "}");
  T value{};
  try {
    const int code = object.GetValue("v", &value);
    return std::to_string(code) + " " + Show(value);
  } catch (const ConfigStoreException& e) {
    const char* kind = typeid(e) == typeid(InvalidTypeException) ? "InvalidType"
                       : typeid(e) == typeid(ConfigStoreException) ? "ConfigStore"
                                                                   : typeid(e).name();
    return std::string(kind) + " " + std::to_string(e.GetErrorCode()) + " " + e.what();
  }
}

TEST(StoreObjectGetters, EachTypeAcceptsOnlyValuesThatFit) {
  using Getter = std::string (*)(const std::string&);
  const std::string type = "InvalidType 2000 Invalid type specified for: v";
  const std::string json = "ConfigStore 2000 Invalid JSON";
  const std::tuple<const char*, Getter, std::string> cases[] = {
      {"null", Get<int>, "0 0"},
      {R"("text")", Get<std::string>, "1 text"},
      {"1", Get<std::string>, type},
      {"-7", Get<int>, "1 -7"},
      {"4294967295", Get<int>, type},
      {R"("7")", Get<int>, type},
      {"true", Get<int>, type},
      {"4294967295", Get<long>, "1 4294967295"},
      {"9223372036854775807", Get<long long>, "1 9223372036854775807"},
      {"9223372036854775808", Get<long long>, type},
      {"2.5", Get<long long>, type},
      {"4294967295", Get<unsigned int>, "1 4294967295"},
      {"-1", Get<unsigned int>, type},
      // The narrow unsigned forms keep the low bits.
      {"300", Get<unsigned char>, "1 44"},
      {"70000", Get<unsigned short>, "1 4464"},
      {"-1", Get<unsigned char>, type},
      {"-1", Get<unsigned short>, type},
      {"1.0", Get<unsigned short>, type},
      {"true", Get<bool>, "1 1"},
      {"1", Get<bool>, type},
      {"2.5", Get<double>, "1 2.5"},
      {"1e3", Get<double>, "1 1000"},
      {"5", Get<double>, type},  // only numbers held as floating point
      {R"(["a", "b"])", Get<std::vector<std::string>>, "1 a,b"},
      {"[1, -2]", Get<std::vector<int>>, "1 1,-2"},
      {"[8589934592]", Get<std::vector<long long>>, "1 8589934592"},
      {"[5, 2.5]", Get<std::vector<double>>, "1 5,2.5"},  // unlike the scalar form
      {"[true, false]", Get<std::vector<bool>>, "1 1,0"},
      {"[]", Get<std::vector<int>>, "1 "},
      {"3", Get<std::vector<std::string>>, type},
      {"[1, 8589934592]", Get<std::vector<int>>, json},
      {R"([true, "x"])", Get<std::vector<bool>>, json},
  };
  for (const auto& [member, get, expected] : cases) EXPECT_EQ(get(member), expected) << member;
}

TEST(StoreObjectGetters, ArgumentsAndWhatAFailedReadLeaves) {
  const StoreObject object = ObjectWith(R"({"n": null, "mixed": [1, 2, "x"]})");
  int value = 42;
  EXPECT_EQ(object.GetValue("missing", &value), 0);
  EXPECT_EQ(object.GetValue("n", &value), 0);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(object.GetValuePtr("n"), nullptr);
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.GetValue("", &value));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.GetValuePtr(nullptr));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output pointer cannot be null.",
                  object.GetValue("n", static_cast<int*>(nullptr)));

  std::vector<int> list{1};
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output vector must be empty.",
                  object.GetValue("mixed", &list));
  list.clear();
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.GetValue("mixed", &list));
  EXPECT_EQ(list, (std::vector<int>{1, 2}));  // what was read before the fault stays
}

TEST(StoreObjectBinary, RoundTripAndFailures) {
  StoreObject object = ObjectWith(R"({"text": "not base64!", "number": 5})");
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
  EXPECT_CS_ERROR(InvalidTypeException, 2000, "Invalid type specified for: number",
                  object.GetValueBinary("number", &data, &length));
  const char* badInput = "Value pointer cannot be null and length cannot be zero";
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, badInput,
                  object.SetValueBinary("a", bytes.data(), 0));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, badInput, object.SetValueBinary("a", nullptr, 1));
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
  EXPECT_EQ(object.GetData(),
            R"({"i":-1,"b":false,"d":0.5,"s":"text","str":"a\"b","l":8589934592,)"
            R"("ll":-8589934592,"u":4294967295,"us":65535,"uc":200,"f":1.5})");
}

TEST(StoreObjectSetters, NullMemberStaysAndTheNewValueIsAppendedAndReadable) {
  StoreObject object = ObjectWith(R"({"a": null, "z": 0})");
  object.SetValue("a", 5);
  object.SetValue("a", 6);  // the appended member is now the one replaced
  EXPECT_EQ(object.GetData(), R"({"a":null,"z":0,"a":6})");
  int a = 0;
  EXPECT_EQ(object.GetValue("a", &a), 1);
  EXPECT_EQ(a, 6);
  object.SetValueEmptyList("a");  // every member of that name goes
  EXPECT_EQ(object.GetData(), R"({"z":0,"a":[]})");
}

TEST(StoreObjectSetters, RefusedInputLeavesTheObjectUnchanged) {
  StoreObject object = ObjectWith(R"({"a": 1})");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "value cannot be null",
                  object.SetValue("a", static_cast<const char*>(nullptr)));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty", object.SetValue("", 1));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.SetValue(nullptr, 1));
  EXPECT_CS_ERROR(InvalidArgumentException, 1032, "Invalid value for key a",
                  object.SetValue("a", std::nan("")));
  EXPECT_CS_ERROR(InvalidArgumentException, 1032, "Invalid value for key a",
                  object.SetValue("a", std::numeric_limits<float>::infinity()));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.SetValue("", std::nan("")));
  EXPECT_EQ(object.GetData(), R"({"a":1})");
}

TEST(StoreObjectLists, SettersAndEmptyListsGoToTheEnd) {
  StoreObject object = ObjectWith(R"({"list": "old", "after": 1})");
  object.SetValue("list", std::vector<int>{3, 1, 2});
  object.SetValue("names", std::vector<std::string>{"a", "b"});
  object.SetValue("none", std::vector<int>{});
  EXPECT_EQ(object.GetData(), R"({"after":1,"list":[3,1,2],"names":["a","b"],"none":[]})");
  object.SetValueEmptyList("after");
  EXPECT_EQ(object.GetData(), R"({"none":[],"list":[3,1,2],"names":["a","b"],"after":[]})");
  object.SetValueEmptyList("");  // an empty name is a name like any other here
  EXPECT_TRUE(object.CheckKey(""));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.SetValueEmptyList(nullptr));
}

TEST(StoreObjectLists, AppendersNeedAnArrayAndCheckOnlyTheFirstElement) {
  StoreObject object =
      ObjectWith(R"({"strings": ["a"], "mixed": [1, "a"], "scalar": 1, "n": null})");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Key not found: missing",
                  object.AppendValue("missing", std::nan("")));
  const std::string type = "Invalid type specified for: ";
  EXPECT_CS_ERROR(InvalidTypeException, 2000, type + "strings", object.AppendValue("strings", 1));
  EXPECT_CS_ERROR(InvalidTypeException, 2000, type + "scalar", object.AppendValue("scalar", 1));
  EXPECT_CS_ERROR(InvalidTypeException, 2000, type + "n", object.AppendValue("n", 1));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "value cannot be null",
                  object.AppendValue("strings", static_cast<const char*>(nullptr)));
  object.AppendValue("mixed", 2);
  object.AppendValue("strings", "b");
  object.AppendValue("strings", std::string("c"));
  object.SetValueEmptyList("any");
  object.AppendValue("any", 2.5);  // an empty array takes anything first
  EXPECT_CS_ERROR(InvalidTypeException, 2000, type + "any", object.AppendValue("any", true));
  object.AppendValue("any", 1.0);
  object.SetValueEmptyList("flags");
  object.AppendValue("flags", true);
  object.SetValueEmptyList("wide");
  object.AppendValue("wide", 8589934592LL);
  EXPECT_EQ(object.GetData(), R"({"strings":["a","b","c"],"mixed":[1,"a",2],"scalar":1,"n":null,)"
                              R"("any":[2.5,1.0],"flags":[true],"wide":[8589934592]})");
}

TEST(StoreObjectWhole, MembersDataAndCopies) {
  StoreObject object = ObjectWith(R"({"a": 1, "n": null, "b": 2, "c": 3})");
  EXPECT_TRUE(object.CheckKey("n"));
  EXPECT_FALSE(object.Remove("x"));
  EXPECT_TRUE(object.Remove("a"));
  EXPECT_FALSE(object.CheckKey("a"));
  EXPECT_TRUE(object.Remove("n"));
  EXPECT_EQ(object.GetData(), R"({"c":3,"b":2})");

  object.SetData(nullptr);
  EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                  object.SetData("{"));
  EXPECT_CS_ERROR(InvalidArgumentException, 1082, "Invalid JSON", object.SetData("[1]"));
  EXPECT_EQ(object.GetData(), R"({"c":3,"b":2})");
  object.SetData("{}");
  EXPECT_TRUE(object.IsEmpty());

  const StoreObject copy = object;  // copies share the implementation
  object.SetValue("b", 2);
  EXPECT_FALSE(copy.IsEmpty());
}

}  // namespace
}  // namespace OrinConfigStore
