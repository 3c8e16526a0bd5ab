// Identifiers: constructor order, text forms, equality and the hash.

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <stdexcept>

#include "configstore/object_id.h"

namespace OrinConfigStore {
namespace {

TEST(ObjectId, ConstructorsTakeKeyGroupComponent) {
  const ConfigStoreObjectId id("options", "kernix", "orin");
  EXPECT_EQ(id.key, "options");
  EXPECT_EQ(id.group, "kernix");
  EXPECT_EQ(id.component, "orin");
  EXPECT_EQ(id.instanceId, "");

  const ConfigStoreObjectId fromStrings(std::string("servers"), std::string("dns"),
                                        std::string("net"), std::string("a1"));
  EXPECT_EQ(fromStrings.component, "net");
  EXPECT_EQ(fromStrings.group, "dns");
  EXPECT_EQ(fromStrings.instanceId, "a1");

  EXPECT_THROW(ConfigStoreObjectId(nullptr, "g", "c"), std::logic_error);
  EXPECT_THROW(ConfigStoreObjectId("k", "g", "c", nullptr), std::logic_error);
}

TEST(ObjectId, TextFormsLeaveOutAnEmptyInstance) {
  EXPECT_EQ(ConfigStoreObjectId("options", "kernix", "orin").toString(),
            "comp orin grp kernix key options");
  EXPECT_EQ(ConfigStoreObjectId("options", "kernix", "orin", "a1").toString(),
            "comp orin grp kernix key options id a1");
  EXPECT_EQ(SubObjectId("vlan").toString(), "key vlan");
  EXPECT_EQ(SubObjectId("vlan", "7").toString(), "key vlan id 7");
}

TEST(ObjectId, EqualityComparesAllFourMembers) {
  const ConfigStoreObjectId base("k", "g", "c");
  EXPECT_EQ(base, ConfigStoreObjectId("k", "g", "c", ""));
  EXPECT_NE(base, ConfigStoreObjectId("k", "c", "g"));
  EXPECT_NE(base, ConfigStoreObjectId("k", "g", "c", "i"));
  EXPECT_NE(base, ConfigStoreObjectId("k2", "g", "c"));
  // Same concatenation, different split.
  EXPECT_NE(ConfigStoreObjectId("ab", "c", "d"), ConfigStoreObjectId("a", "bc", "d"));
}

TEST(ObjectIdHash, ReferenceValues) {
  EXPECT_EQ(hashCsoId(ConfigStoreObjectId("", "", "")), 0x012e45bc31e44e70u);
  EXPECT_EQ(hashCsoId(ConfigStoreObjectId("options", "kernix", "orin")), 0x873b68b592bd3e45u);
  EXPECT_EQ(hashCsoId(ConfigStoreObjectId("a", "", "")), 0x60e08c811198a0eeu);
  EXPECT_EQ(hashCsoId(ConfigStoreObjectId("", "", "a")), 0x7100897d37440e2eu);
  EXPECT_EQ(hashCsoId(ConfigStoreObjectId("", "a", "")), 0x6ba00b305ea6398eu);
  EXPECT_EQ(std::hash<ConfigStoreObjectId>()(ConfigStoreObjectId("options", "kernix", "orin")),
            0x873b68b592bd3e45u);
}

TEST(ObjectIdHash, HighBytesHashAsUnsignedValues) {
  // With the one-byte key 0xff the key's string hash is combine(0, 255);
  // a sign-extended byte would feed 2^64-1 instead.
  const std::string high(1, '\xff');
  const std::string low(1, '\x7f');
  const ConfigStoreObjectId highId(high, "", "");
  EXPECT_NE(hashCsoId(highId), hashCsoId(ConfigStoreObjectId(low, "", "")));
  EXPECT_EQ(hashCsoId(highId), 0x4b73bbe49728324cu);
}

TEST(GenerateInstanceId, GivesDistinctLowerCaseVersion4Uuids) {
  const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string id = GenerateInstanceId();
    EXPECT_TRUE(std::regex_match(id, uuid)) << id;
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 100u);
}

}  // namespace
}  // namespace OrinConfigStore
