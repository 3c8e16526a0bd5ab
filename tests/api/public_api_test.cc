// A caller's view: only <configstore/configstore.h>, linked against the
// shared library alone.

#include <configstore/configstore.h>
#include <gtest/gtest.h>

#include <unordered_set>

namespace {

using namespace OrinConfigStore;

TEST(PublicApi, IdentifiersPrintCompareAndHash) {
  const ConfigStoreObjectId id("options", "kernix", "orin");
  EXPECT_EQ(id.toString(), "comp orin grp kernix key options");
  EXPECT_EQ(hashCsoId(id), 0x873b68b592bd3e45u);
  std::unordered_set<ConfigStoreObjectId> set{id, ConfigStoreObjectId("options", "kernix", "orin")};
  EXPECT_EQ(set.size(), 1u);
  EXPECT_EQ(GenerateInstanceId().size(), 36u);
}

TEST(PublicApi, EveryExceptionCrossesTheLibraryBoundary) {
  try {
    ThrowException<ConfigStoreException>(CS_ERR_OBJECT_NOT_FOUND, "comp a grp b key c");
  } catch (const ConfigStoreException& e) {
    EXPECT_EQ(e.toString(),
              "Error Code: 1036\nMessage: Configuration object not found: comp a grp b key c\n");
  }
  try {
    ThrowValidation(CS_ERR_VALIDATE_SET, {{"/mtu", "too big"}});
  } catch (const ValidationException& e) {
    EXPECT_EQ(e.toString(),
              "Error Code: 1089\nMessage: Failed to validate Set\nDetails: \n/mtu: too big\n");
  }
  EXPECT_THROW(ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING),
               InvalidArgumentException);
  StoreObject object(ConfigStoreObjectId("k", "g", "c"));
  object.SetValue("s", "x");
  int i = 0;
  EXPECT_THROW(object.GetValue("s", &i), InvalidTypeException);
  // rapidjson code compiled into the caller throws through the library's hook.
  EXPECT_THROW(object.GetValuePtr("s")->GetInt(), ConfigStoreException);
  EXPECT_THROW(throw Helm::Lib::HelmException("h"), std::exception);
}

TEST(PublicApi, ReadAndWriteEveryKindOfValue) {
  CSLogger::SetSink([](int, const std::string&) {});
  StoreObject object(ConfigStoreObjectId("k", "g", "c"));
  object.SetValue("s", std::string("text"));
  object.SetValue("i", -3);
  object.SetValue("l", 1L << 40);
  object.SetValue("ll", 5LL);
  object.SetValue("u", 7u);
  object.SetValue("us", static_cast<unsigned short>(8));
  object.SetValue("uc", static_cast<unsigned char>(9));
  object.SetValue("b", true);
  object.SetValue("d", 0.25);
  object.SetValue("ints", std::vector<int>{1, 2});
  object.SetValue("strings", std::vector<std::string>{"a"});
  object.AppendValue("strings", "b");
  object.SetValueEmptyList("doubles");
  object.AppendValue("doubles", 1.5);
  const unsigned char bytes[] = {1, 2, 3};
  object.SetValueBinary("bin", bytes, 3);

  std::string s;
  long l = 0;
  unsigned char uc = 0;
  std::vector<std::string> strings;
  std::vector<double> doubles;
  unsigned char* data = nullptr;
  unsigned long length = 0;
  EXPECT_EQ(object.GetValue("s", &s), 1);
  EXPECT_EQ(object.GetValue("l", &l), 1);
  EXPECT_EQ(l, 1L << 40);
  EXPECT_EQ(object.GetValue("uc", &uc), 1);
  EXPECT_EQ(object.GetValue("strings", &strings), 1);
  EXPECT_EQ(strings, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(object.GetValue("doubles", &doubles), 1);
  ASSERT_EQ(object.GetValueBinary("bin", &data, &length), 1);
  EXPECT_EQ(length, 3u);
  delete[] data;
  EXPECT_TRUE(object.Remove("bin"));
  EXPECT_EQ(object.GetData(),
            R"({"s":"text","i":-3,"l":1099511627776,"ll":5,"u":7,"us":8,"uc":9,"b":true,"d":0.25,)"
            R"("ints":[1,2],"strings":["a","b"],"doubles":[1.5]})");
  CSLogger::SetSink(nullptr);
}

TEST(PublicApi, HostSettings) {
  SetUpgradeCtx(true);
  EXPECT_TRUE(GetUpgradeCtx());
  SetUpgradeCtx(false);
}

}  // namespace
