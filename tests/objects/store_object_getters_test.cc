// Typed reads through StoreObject: return codes, type and range rules,
// vectors and binary values.

#include <gtest/gtest.h>

#include <cmath>

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

template <typename T>
int Read(const StoreObject& object, const char* key, T* out) {
  return object.GetValue(key, out);
}

#define EXPECT_TYPE_ERROR(key, statement)                                                        \
  EXPECT_CS_ERROR(InvalidTypeException, 2000, std::string("Invalid type specified for: ") + key, \
                  statement)

TEST(Getters, AbsentAndNullMembersReturnZeroAndLeaveTheOutputAlone) {
  const StoreObject object = ObjectWith(R"({"n": null})");
  int value = 42;
  std::string text = "keep";
  EXPECT_EQ(object.GetValue("missing", &value), 0);
  EXPECT_EQ(object.GetValue("n", &value), 0);
  EXPECT_EQ(object.GetValue("n", &text), 0);
  EXPECT_EQ(value, 42);
  EXPECT_EQ(text, "keep");
  EXPECT_EQ(object.GetValuePtr("n"), nullptr);
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.GetValue("", &value));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "key cannot be empty",
                  object.GetValuePtr(nullptr));
}

TEST(Getters, EachTypeReadsItsOwnKindOfValue) {
  const StoreObject object =
      ObjectWith(R"({"s": "text", "i": -7, "b": true, "d": 2.5, "big": 4294967295, "neg": -1})");
  std::string s;
  int i = 0;
  long l = 0;
  long long ll = 0;
  unsigned int u = 0;
  bool b = false;
  double d = 0;
  EXPECT_EQ(Read(object, "s", &s), 1);
  EXPECT_EQ(s, "text");
  EXPECT_EQ(Read(object, "i", &i), 1);
  EXPECT_EQ(i, -7);
  EXPECT_EQ(Read(object, "big", &l), 1);
  EXPECT_EQ(l, 4294967295L);
  EXPECT_EQ(Read(object, "big", &ll), 1);
  EXPECT_EQ(Read(object, "big", &u), 1);
  EXPECT_EQ(u, 4294967295u);
  EXPECT_EQ(Read(object, "b", &b), 1);
  EXPECT_TRUE(b);
  EXPECT_EQ(Read(object, "d", &d), 1);
  EXPECT_EQ(d, 2.5);

  EXPECT_TYPE_ERROR("big", Read(object, "big", &i));
  EXPECT_TYPE_ERROR("neg", Read(object, "neg", &u));
  EXPECT_TYPE_ERROR("s", Read(object, "s", &i));
  EXPECT_TYPE_ERROR("i", Read(object, "i", &s));
  EXPECT_TYPE_ERROR("i", Read(object, "i", &b));
  EXPECT_TYPE_ERROR("b", Read(object, "b", &i));
  EXPECT_TYPE_ERROR("d", Read(object, "d", &ll));
  EXPECT_EQ(i, -7);  // a refused read writes nothing
}

TEST(Getters, LongRangeAndTheFloatingPointOnlyDouble) {
  const StoreObject object = ObjectWith(
      R"({"max": 9223372036854775807, "over": 9223372036854775808, "whole": 5, "e": 1e3})");
  long long ll = 0;
  double d = 0;
  EXPECT_EQ(Read(object, "max", &ll), 1);
  EXPECT_EQ(ll, 9223372036854775807LL);
  EXPECT_TYPE_ERROR("over", Read(object, "over", &ll));
  EXPECT_TYPE_ERROR("whole", Read(object, "whole", &d));
  EXPECT_EQ(Read(object, "e", &d), 1);
  EXPECT_EQ(d, 1000.0);
}

TEST(Getters, NarrowUnsignedFormsKeepTheLowBits) {
  const StoreObject object = ObjectWith(R"({"a": 300, "b": 70000, "c": 256, "neg": -1, "f": 1.0})");
  unsigned char uc = 9;
  unsigned short us = 9;
  EXPECT_EQ(Read(object, "a", &uc), 1);
  EXPECT_EQ(uc, 44);
  EXPECT_EQ(Read(object, "c", &uc), 1);
  EXPECT_EQ(uc, 0);
  EXPECT_EQ(Read(object, "b", &us), 1);
  EXPECT_EQ(us, 4464);
  EXPECT_TYPE_ERROR("neg", Read(object, "neg", &uc));
  EXPECT_TYPE_ERROR("neg", Read(object, "neg", &us));
  EXPECT_TYPE_ERROR("f", Read(object, "f", &us));
}

TEST(VectorGetters, ReadArraysElementByElement) {
  const StoreObject object = ObjectWith(
      R"({"s": ["a", "b"], "i": [1, -2], "l": [8589934592], "d": [5, 2.5], "b": [true, false], "e": []})");
  std::vector<std::string> s;
  std::vector<int> i;
  std::vector<long long> l;
  std::vector<double> d;
  std::vector<bool> b;
  EXPECT_EQ(object.GetValue("s", &s), 1);
  EXPECT_EQ(s, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(object.GetValue("i", &i), 1);
  EXPECT_EQ(i, (std::vector<int>{1, -2}));
  EXPECT_EQ(object.GetValue("l", &l), 1);
  EXPECT_EQ(l, (std::vector<long long>{8589934592LL}));
  EXPECT_EQ(object.GetValue("d", &d), 1);  // integers are accepted here
  EXPECT_EQ(d, (std::vector<double>{5.0, 2.5}));
  EXPECT_EQ(object.GetValue("b", &b), 1);
  EXPECT_EQ(b, (std::vector<bool>{true, false}));
  std::vector<int> empty;
  EXPECT_EQ(object.GetValue("e", &empty), 1);
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(object.GetValue("missing", &empty), 0);
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
  std::vector<std::string> strings;
  EXPECT_TYPE_ERROR("scalar", object.GetValue("scalar", &strings));
  std::vector<bool> bools;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", object.GetValue("mixed", &bools));
}

TEST(BinaryValues, RoundTripAndDecodeFailure) {
  StoreObject object(kId);
  const unsigned char bytes[] = {0x00, 0xff, 0x10, 0x80, 0x7f};
  object.SetValueBinary("blob", bytes, sizeof bytes);
  std::string text;
  object.GetValue("blob", &text);
  EXPECT_EQ(text, "AP8QgH8=");

  unsigned char* data = nullptr;
  unsigned long length = 0;
  ASSERT_EQ(object.GetValueBinary("blob", &data, &length), 1);
  std::unique_ptr<unsigned char[]> owned(data);
  EXPECT_EQ(std::vector<unsigned char>(data, data + length),
            std::vector<unsigned char>(bytes, bytes + sizeof bytes));

  EXPECT_EQ(object.GetValueBinary("missing", &data, &length), 0);
  object.SetValue("text", "not base64!");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to decode binary value",
                  object.GetValueBinary("text", &data, &length));
  object.SetValue("number", 5);
  EXPECT_TYPE_ERROR("number", object.GetValueBinary("number", &data, &length));
}

TEST(BinaryValues, CodecFunctions) {
  std::string text;
  const unsigned char bytes[] = {'f', 'o', 'o', 'b'};
  ASSERT_TRUE(EncodeBinary(bytes, 4, text));
  EXPECT_EQ(text, "Zm9vYg==");
  unsigned char* data = nullptr;
  unsigned long length = 0;
  ASSERT_TRUE(DecodeBinary(text, &data, &length));
  EXPECT_EQ(length, 4u);
  delete[] data;
  std::string bad = "Zm9vY";
  data = nullptr;
  EXPECT_FALSE(DecodeBinary(bad, &data, &length));
  EXPECT_EQ(data, nullptr);
}

// Getters read through the virtual lookup, so a subclass that supplies
// defaults gets return code 2 from every form.
class WithDefaults : public StoreObjectImpl {
 public:
  WithDefaults() : StoreObjectImpl(kId), defaults_(ConfigStoreObjectId("d", "g", "c")) {
    defaults_.SetData(R"({"mtu": 1500, "names": ["x"], "own": "default"})");
  }
  const JVal* GetValuePtrDefault(const char* key, bool& fromDefault) const override {
    if (const JVal* own = GetValuePtr(key)) {
      fromDefault = false;
      return own;
    }
    fromDefault = true;
    return defaults_.GetValuePtr(key);
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
  int mtu = 0;
  std::vector<std::string> names;
  std::string own;
  EXPECT_EQ(object.GetValue("mtu", &mtu), 2);
  EXPECT_EQ(mtu, 1500);
  EXPECT_EQ(object.GetValue("names", &names), 2);
  EXPECT_EQ(object.GetValue("own", &own), 1);
  EXPECT_EQ(own, "mine");
}

}  // namespace
}  // namespace OrinConfigStore
