// Typed reads through StoreObject: return codes, type and range rules,
// vectors and binary values.

#include <gtest/gtest.h>

#include "configstore/store_object.h"
#include "objects/store_object_impl.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kId("options", "kernix", "orin");

StoreObject ObjectWith(const char* json) {
  StoreObject object(kId);
  object.SetData(json);
  return object;
}

// The value of `key` read as T, expecting the getter to return `code`.
template <typename T>
T Got(const StoreObject& object, const char* key, int code = 1) {
  T value{};
  EXPECT_EQ(object.GetValue(key, &value), code) << key;
  return value;
}

#define EXPECT_TYPE_ERROR(key, statement)                                                        \
  EXPECT_CS_ERROR(InvalidTypeException, 2000, std::string("Invalid type specified for: ") + key, \
                  statement)

TEST(Getters, AbsentAndNullMembersReturnZeroAndLeaveTheOutputAlone) {
  const StoreObject object = ObjectWith(R"({"n": null})");
  int value = 42;
  EXPECT_EQ(object.GetValue("missing", &value), 0);
  EXPECT_EQ(object.GetValue("n", &value), 0);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(object.GetValuePtr("n"), nullptr);
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.GetValue("", &value));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.GetValuePtr(nullptr));
}

TEST(Getters, EachTypeAcceptsOnlyValuesThatFit) {
  const StoreObject object = ObjectWith(
      R"({"s": "text", "i": -7, "b": true, "d": 2.5, "e": 1e3, "whole": 5, "u32": 4294967295,)"
      R"( "i64": 9223372036854775807, "u64": 9223372036854775808, "neg": -1})");
  EXPECT_EQ(Got<std::string>(object, "s"), "text");
  EXPECT_EQ(Got<int>(object, "i"), -7);
  EXPECT_EQ(Got<long>(object, "u32"), 4294967295L);
  EXPECT_EQ(Got<long long>(object, "i64"), 9223372036854775807LL);
  EXPECT_EQ(Got<unsigned int>(object, "u32"), 4294967295u);
  EXPECT_TRUE(Got<bool>(object, "b"));
  EXPECT_EQ(Got<double>(object, "d"), 2.5);
  EXPECT_EQ(Got<double>(object, "e"), 1000.0);

  int i = 3;
  EXPECT_TYPE_ERROR("u32", object.GetValue("u32", &i));
  EXPECT_TYPE_ERROR("s", object.GetValue("s", &i));
  EXPECT_TYPE_ERROR("b", object.GetValue("b", &i));
  EXPECT_EQ(i, 3);  // a refused read writes nothing
  long long ll = 0;
  EXPECT_TYPE_ERROR("u64", object.GetValue("u64", &ll));
  EXPECT_TYPE_ERROR("d", object.GetValue("d", &ll));
  unsigned int u = 0;
  EXPECT_TYPE_ERROR("neg", object.GetValue("neg", &u));
  std::string s;
  EXPECT_TYPE_ERROR("i", object.GetValue("i", &s));
  bool b = false;
  EXPECT_TYPE_ERROR("i", object.GetValue("i", &b));
  double d = 0;  // only numbers held as floating point
  EXPECT_TYPE_ERROR("whole", object.GetValue("whole", &d));
}

TEST(Getters, NarrowUnsignedFormsKeepTheLowBits) {
  const StoreObject object = ObjectWith(R"({"a": 300, "b": 70000, "c": 256, "neg": -1, "f": 1.0})");
  EXPECT_EQ(Got<unsigned char>(object, "a"), 44);
  EXPECT_EQ(Got<unsigned char>(object, "c"), 0);
  EXPECT_EQ(Got<unsigned short>(object, "b"), 4464);
  unsigned char uc = 0;
  unsigned short us = 0;
  EXPECT_TYPE_ERROR("neg", object.GetValue("neg", &uc));
  EXPECT_TYPE_ERROR("neg", object.GetValue("neg", &us));
  EXPECT_TYPE_ERROR("f", object.GetValue("f", &us));
}

TEST(VectorGetters, ReadArraysElementByElement) {
  const StoreObject object = ObjectWith(
      R"({"s": ["a", "b"], "i": [1, -2], "l": [8589934592], "d": [5, 2.5], "b": [true, false],)"
      R"( "e": []})");
  EXPECT_EQ(Got<std::vector<std::string>>(object, "s"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(Got<std::vector<int>>(object, "i"), (std::vector<int>{1, -2}));
  EXPECT_EQ(Got<std::vector<long long>>(object, "l"), (std::vector<long long>{8589934592LL}));
  // Unlike the scalar getter, the list form takes integers as doubles.
  EXPECT_EQ(Got<std::vector<double>>(object, "d"), (std::vector<double>{5.0, 2.5}));
  EXPECT_EQ(Got<std::vector<bool>>(object, "b"), (std::vector<bool>{true, false}));
  EXPECT_TRUE(Got<std::vector<int>>(object, "e").empty());
  EXPECT_TRUE(Got<std::vector<int>>(object, "missing", 0).empty());
}

TEST(VectorGetters, Failures) {
  const StoreObject object =
      ObjectWith(R"({"mixed": [1, 2, "x", 4], "scalar": 3, "big": [1, 8589934592]})");
  std::vector<int> out{1};
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Output vector must be empty.",
                  object.GetValue("mixed", &out));
  out.clear();
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.GetValue("mixed", &out));
  EXPECT_EQ(out, (std::vector<int>{1, 2}));  // what was read before the fault stays
  out.clear();
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.GetValue("big", &out));
  std::vector<bool> bools;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.GetValue("mixed", &bools));
  std::vector<std::string> strings;
  EXPECT_TYPE_ERROR("scalar", object.GetValue("scalar", &strings));
}

TEST(BinaryValues, RoundTripAndFailures) {
  StoreObject object(kId);
  const std::vector<unsigned char> bytes{0x00, 0xff, 0x10, 0x80, 0x7f};
  object.SetValueBinary("blob", bytes.data(), bytes.size());
  EXPECT_EQ(Got<std::string>(object, "blob"), "AP8QgH8=");
  unsigned char* data = nullptr;
  unsigned long length = 0;
  ASSERT_EQ(object.GetValueBinary("blob", &data, &length), 1);
  const std::unique_ptr<unsigned char[]> owned(data);
  EXPECT_EQ(std::vector<unsigned char>(data, data + length), bytes);

  EXPECT_EQ(object.GetValueBinary("missing", &data, &length), 0);
  object.SetValue("text", "not base64!");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to decode binary value",
                  object.GetValueBinary("text", &data, &length));
  object.SetValue("number", 5);
  EXPECT_TYPE_ERROR("number", object.GetValueBinary("number", &data, &length));
  std::string bad = "Zm9vY";
  EXPECT_FALSE(DecodeBinary(bad, &data, &length));
}

// Getters read through the virtual lookup, so a subclass that supplies
// defaults gets return code 2 from every form.
class WithDefaults : public StoreObjectImpl {
 public:
  WithDefaults() : StoreObjectImpl(kId), defaults_(kId) {
    defaults_.SetData(R"({"mtu": 1500, "names": ["x"], "own": "default"})");
  }
  const JVal* GetValuePtrDefault(const char* key, bool& fromDefault) const override {
    const JVal* own = GetValuePtr(key);
    fromDefault = own == nullptr;
    return own != nullptr ? own : defaults_.GetValuePtr(key);
  }

 private:
  StoreObjectImpl defaults_;
};

class WithDefaultsHandle : public StoreObject {
 public:
  WithDefaultsHandle() : StoreObject(std::make_shared<WithDefaults>()) {}
};

TEST(Getters, ValuesFromDefaultsReturnTwo) {
  WithDefaultsHandle object;
  object.SetValue("own", "mine");
  EXPECT_EQ(Got<int>(object, "mtu", 2), 1500);
  EXPECT_EQ(Got<std::vector<std::string>>(object, "names", 2).size(), 1u);
  EXPECT_EQ(Got<std::string>(object, "own", 1), "mine");
}

}  // namespace
}  // namespace OrinConfigStore
