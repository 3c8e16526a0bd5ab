// Identifiers: constructor order, text forms, equality, the hash and
// generated instance ids.

#include <gtest/gtest.h>

#include <regex>

#include "configstore/object_id.h"

namespace OrinConfigStore {
namespace {

TEST(ObjectId, OrderTextEqualityAndHash) {
  EXPECT_EQ(ConfigStoreObjectId("options", "kernix", "orin").toString(),
            "comp orin grp kernix key options");
  EXPECT_EQ(ConfigStoreObjectId(std::string("k"), "g", "c", std::string("i")).toString(),
            "comp c grp g key k id i");
  EXPECT_EQ(SubObjectId("vlan").toString() + "|" + SubObjectId("vlan", "7").toString(),
            "key vlan|key vlan id 7");

  const ConfigStoreObjectId base("k", "g", "c");
  EXPECT_EQ(base, ConfigStoreObjectId("k", "g", "c", ""));
  EXPECT_NE(base, ConfigStoreObjectId("k", "c", "g"));
  EXPECT_NE(base, ConfigStoreObjectId("k", "g", "c", "i"));
  EXPECT_NE(ConfigStoreObjectId("ab", "c", "d"), ConfigStoreObjectId("a", "bc", "d"));

  // The hash is stable across runs and platforms: bytes count as 0-255.
  EXPECT_EQ(hashCsoId(ConfigStoreObjectId("options", "kernix", "orin")), 0x873b68b592bd3e45u);
  EXPECT_EQ(std::hash<ConfigStoreObjectId>()(ConfigStoreObjectId(std::string(1, '\xff'), "", "")),
            0x4b73bbe49728324cu);

  EXPECT_TRUE(std::regex_match(GenerateInstanceId(), std::regex("[0-9a-f-]{14}4[0-9a-f-]{21}")));
}

}  // namespace
}  // namespace OrinConfigStore
