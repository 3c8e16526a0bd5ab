// Explaining a stored object: every source of a read named where it wins,
// the object the same as Get's, and the read's rules for the user value.

#include "configstore/explain.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic1("nics", "interfaces", "net", "nic1");

class ExplainTest : public ::testing::Test {
 protected:
  // A nic1 row with every source filled, and the user value's Success.
  void InsertNic1(const std::string& success, const std::string& desired = "") {
    cstest::DatabaseRoot::ConfigRow row;
    row.component = "net";
    row.group = "interfaces";
    row.name = "nics";
    row.identifier = "nic1";
    row.vitalValue = R"({"name":"nic1","macAddress":"02:00:00:00:00:01","mtu":1400})";
    row.cachedValue = R"({"enabled":false})";
    row.autoValue =
        R"({"network":"backend","mtu":1500,"addresses":[{"address":"10.0.0.1","prefixLength":16},)"
        R"({"address":"10.0.0.2","gateway":"10.0.0.1"}]})";
    row.userValue = R"({"mtu":9000,"addresses":[{"address":"10.0.0.2","gateway":"10.0.0.254"}]})";
    row.desiredValue = desired;
    row.success = success;
    db_.Insert(row);
  }

  // The leaves in one line each, after checking that the object is Get's.
  std::vector<std::string> Explained(const ConfigStoreObjectId& id) {
    const ConfigExplanation explanation = ExplainConfig(id);
    const auto read = store_->Get(id);
    EXPECT_EQ(explanation.object ? explanation.object->GetData() : "null",
              read ? read->GetData() : "null");
    std::vector<std::string> lines;
    for (const MemberSource& member : explanation.members) {
      std::string line =
          member.pointer + " " + member.value + " " + ConfigSourceName(member.source);
      for (const ConfigSource source : member.overrides) {
        line += std::string(" ") + ConfigSourceName(source);
      }
      lines.push_back(line);
    }
    return lines;
  }

  // The line of the member at `pointer`.
  static std::string Member(const std::vector<std::string>& lines, const std::string& pointer) {
    for (const std::string& line : lines) {
      if (line.rfind(pointer + " ", 0) == 0) return line;
    }
    return "none";
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

// One member from each source of a read, the type's defaults included, in
// the order of the object's data.
TEST_F(ExplainTest, NamesTheSourceOfEveryMember) {
  InsertNic1("1");
  EXPECT_EQ(Explained(kNic1), (std::vector<std::string>{
                                  R"(/name "nic1" user automatic cached vital)",
                                  R"(/macAddress "02:00:00:00:00:01" vital)",
                                  R"(/network "backend" automatic)",
                                  "/enabled false cached default",
                                  "/mtu 9000 user automatic vital default",
                                  R"(/addresses/0/address "10.0.0.2" user automatic)",
                                  R"(/addresses/0/gateway "10.0.0.254" user automatic)",
                                  "/addresses/0/prefixLength 24 default",
                              }));
}

// The user value counts once applied, and a staged desired value stands in
// for it during an upgrade, as for Get.
TEST_F(ExplainTest, FollowsTheReadsRulesForTheUserValue) {
  InsertNic1("0", R"({"mtu":1280})");
  const std::vector<std::string> unapplied = Explained(kNic1);
  EXPECT_EQ(Member(unapplied, "/mtu"), "/mtu 1500 automatic vital default");
  EXPECT_EQ(Member(unapplied, "/addresses/0/address"),
            R"(/addresses/0/address "10.0.0.1" automatic)");
  EXPECT_EQ(Member(unapplied, "/addresses/1/gateway"),
            R"(/addresses/1/gateway "10.0.0.1" automatic)");

  db_.Sql("UPDATE Config SET Success = 1;");
  cstest::ScopedEnv upgrade("CONFIGSTORE_UPGRADE_CTX", "1");
  const std::vector<std::string> upgrading = Explained(kNic1);
  EXPECT_EQ(Member(upgrading, "/mtu"), "/mtu 1280 user automatic vital default");
  EXPECT_EQ(Member(upgrading, "/addresses/0/address"),
            R"(/addresses/0/address "10.0.0.1" automatic)");
}

TEST_F(ExplainTest, NothingStoredNestedDefaultsAndTheIdentifierCheck) {
  EXPECT_TRUE(Explained(kNic1).empty());
  EXPECT_EQ(ExplainConfig(kNic1).object, nullptr);
  // A singleton with nested defaults: an empty sub-object shows its defaults.
  store_->SetUserData(
      CreateObject(ConfigStoreObjectId("resolver", "dns", "net"), R"({"options":{"attempts":3}})"),
      EXTERNAL);
  EXPECT_EQ(Explained(ConfigStoreObjectId("resolver", "dns", "net")),
            (std::vector<std::string>{
                "/options/attempts 3 user default",
                "/options/timeout 5 default",
                "/options/rotate false default",
                R"(/domain "localdomain" default)",
            }));
  // The identifier is checked as Get checks it.
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  ExplainConfig(ConfigStoreObjectId("resolver", "dns", "net", "x")));
}

}  // namespace
}  // namespace OrinConfigStore
