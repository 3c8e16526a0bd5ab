// Writes through StoreObject: setters, lists, appenders, removal and the
// whole-object operations.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "configstore/store_object.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

StoreObject ObjectWith(const char* json) {
  StoreObject object(ConfigStoreObjectId("options", "kernix", "orin"));
  object.SetData(json);
  return object;
}

#define EXPECT_TYPE_ERROR(key, statement)                                                        \
  EXPECT_CS_ERROR(InvalidTypeException, 2000, std::string("Invalid type specified for: ") + key, \
                  statement)

TEST(Setters, StoreEachTypeAsItsJsonForm) {
  StoreObject object = ObjectWith("{}");
  EXPECT_TRUE(object.IsEmpty());
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
  object.SetValue("f", 1.5f);  // stored as floating point, so the double getter takes it
  EXPECT_FALSE(object.IsEmpty());
  EXPECT_EQ(object.GetData(),
            R"({"s":"text","str":"a\"b","i":-1,"l":8589934592,"ll":-8589934592,"u":4294967295,)"
            R"("us":65535,"uc":200,"b":false,"d":0.5,"f":1.5})");
}

TEST(Setters, ReplaceInPlaceWhateverTheOldType) {
  StoreObject object = ObjectWith(R"({"a": "text", "b": [1], "c": {"x": 1}})");
  object.SetValue("a", 3);
  object.SetValue("b", true);
  object.SetValue("c", "flat");
  EXPECT_EQ(object.GetData(), R"({"a":3,"b":true,"c":"flat"})");
}

TEST(Setters, NullMemberStaysAndTheNewValueIsAppendedAndReadable) {
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

TEST(Setters, RefusedInputLeavesTheObjectUnchanged) {
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
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Key not found: b",
                  object.AppendValue("b", std::nan("")));
  const unsigned char byte = 1;
  const char* binaryError = "Value pointer cannot be null and length cannot be zero";
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, binaryError,
                  object.SetValueBinary("a", &byte, 0));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, binaryError,
                  object.SetValueBinary("a", nullptr, 1));
  EXPECT_EQ(object.GetData(), R"({"a":1})");
}

TEST(Lists, VectorSettersAndEmptyLists) {
  StoreObject object = ObjectWith(R"({"list": "old", "after": 1})");
  object.SetValue("list", std::vector<int>{3, 1, 2});
  object.SetValue("names", std::vector<std::string>{"a", "b"});
  object.SetValue("none", std::vector<int>{});
  EXPECT_EQ(object.GetData(), R"({"after":1,"list":[3,1,2],"names":["a","b"],"none":[]})");
  object.SetValueEmptyList("after");  // moves to the end
  EXPECT_EQ(object.GetData(), R"({"none":[],"list":[3,1,2],"names":["a","b"],"after":[]})");
  object.SetValueEmptyList("");  // an empty name is a name like any other here
  EXPECT_TRUE(object.CheckKey(""));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.SetValueEmptyList(nullptr));
}

TEST(Appenders, NeedAnExistingArrayAndCheckOnlyTheFirstElement) {
  StoreObject object =
      ObjectWith(R"({"strings": ["a"], "mixed": [1, "a"], "scalar": 1, "n": null})");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Key not found: missing",
                  object.AppendValue("missing", 1));
  EXPECT_TYPE_ERROR("strings", object.AppendValue("strings", 1));
  EXPECT_TYPE_ERROR("scalar", object.AppendValue("scalar", 1));
  EXPECT_TYPE_ERROR("n", object.AppendValue("n", 1));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "value cannot be null",
                  object.AppendValue("strings", static_cast<const char*>(nullptr)));
  object.AppendValue("mixed", 2);
  object.AppendValue("strings", "b");
  object.AppendValue("strings", std::string("c"));

  object.SetValueEmptyList("any");
  object.AppendValue("any", 2.5);  // an empty array takes anything first
  EXPECT_TYPE_ERROR("any", object.AppendValue("any", true));
  object.AppendValue("any", 1.0);
  object.SetValueEmptyList("flags");
  object.AppendValue("flags", true);
  object.SetValueEmptyList("wide");
  object.AppendValue("wide", 8589934592LL);
  EXPECT_EQ(object.GetData(), R"({"strings":["a","b","c"],"mixed":[1,"a",2],"scalar":1,"n":null,)"
                              R"("any":[2.5,1.0],"flags":[true],"wide":[8589934592]})");
}

TEST(Members, CheckKeyAndRemove) {
  StoreObject object = ObjectWith(R"({"a": 1, "n": null, "b": 2, "c": 3})");
  EXPECT_TRUE(object.CheckKey("n"));
  EXPECT_FALSE(object.Remove("x"));
  EXPECT_TRUE(object.Remove("a"));
  EXPECT_FALSE(object.CheckKey("a"));
  EXPECT_TRUE(object.Remove("n"));
  // Removal moves the last member into the freed place.
  EXPECT_EQ(object.GetData(), R"({"c":3,"b":2})");
}

TEST(WholeObject, SetDataReplacesTheDocumentOrNothing) {
  StoreObject object = ObjectWith(R"({"a": 1})");
  object.SetData(nullptr);
  EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                  object.SetData("{"));
  EXPECT_CS_ERROR(InvalidArgumentException, 1082, "Invalid JSON", object.SetData("[1]"));
  EXPECT_EQ(object.GetData(), R"({"a":1})");

  const StoreObject copy = object;  // copies share the implementation
  object.SetValue("b", 2);
  EXPECT_EQ(copy.GetData(), R"({"a":1,"b":2})");
}

}  // namespace
}  // namespace OrinConfigStore
