// Identifiers: constructor order, text forms, equality, the hash and
// generated instance ids.

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "configstore/object_id.h"

namespace OrinConfigStore {
namespace {

TEST(ObjectId, ConstructorsTakeKeyGroupComponentAndTextLeavesOutAnEmptyInstance) {
  const ConfigStoreObjectId id("options", "kernix", "orin");
  EXPECT_EQ(id.toString(), "comp orin grp kernix key options");
  const ConfigStoreObjectId fromStrings(std::string("servers"), std::string("dns"),
                                        std::string("net"), std::string("a1"));
  EXPECT_EQ(fromStrings.toString(), "comp net grp dns key servers id a1");
  EXPECT_EQ(ConfigStoreObjectId("k", "g", "c", "i").toString(), "comp c grp g key k id i");
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
  const std::pair<ConfigStoreObjectId, std::size_t> cases[] = {
      {ConfigStoreObjectId("", "", ""), 0x012e45bc31e44e70u},
      {ConfigStoreObjectId("options", "kernix", "orin"), 0x873b68b592bd3e45u},
      // Bytes hash as 0-255: a sign-extended 0xff would feed 2^64-1.
      {ConfigStoreObjectId(std::string(1, '\xff'), "", ""), 0x4b73bbe49728324cu},
  };
  for (const auto& [id, hash] : cases) {
    EXPECT_EQ(hashCsoId(id), hash) << id.toString();
    EXPECT_EQ(std::hash<ConfigStoreObjectId>()(id), hash);
  }
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
