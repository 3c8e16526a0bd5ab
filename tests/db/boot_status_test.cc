// The desired configuration staged for the next boot, its application, and
// the kernel options object, as the database layer runs them.

#include "db/boot_status.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "configstore/config_store.h"
#include "database_root.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");
const ConfigStoreObjectId kOptions("options", "kernix", "orin");

class BootStatusTest : public ::testing::Test {
 protected:
  std::string Rows(const char* columns, const char* name = "nics") {
    std::string text;
    for (const auto& row : db_.Rows(std::string("SELECT ") + columns + " FROM Config WHERE Name='" +
                                    name + "' ORDER BY Identifier;")) {
      text += (text.empty() ? "" : " | ") + row;
    }
    return text;
  }
  void Nic(const char* id, const char* user, const char* desired, const char* success) {
    db_.Insert({"net", "interfaces", "nics", id, "", user, "", "", desired, success});
  }
  void Restore(const char* json) {
    SetPartialBootStatusInternal(CreateObject(kResolver, json), LookupSchema(kResolver),
                                 connection_);
  }
  std::string Options() {
    const auto options = GetKernelOptionsInternal(kOptions, connection_, LookupSchema(kOptions));
    return options ? options->GetData() : "null";
  }

  cstest::DatabaseRoot db_;
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
};

TEST_F(BootStatusTest, BootModeIsANumber) {
  EXPECT_FALSE(IsBootModeDesiredUserConfig(connection_));
  const std::pair<const char*, bool> modes[] = {
      {"1", true}, {"0", false}, {"", false}, {"2", false}};
  for (const auto& [mode, expected] : modes) {
    SetKeyValue("BOOT_MODE", mode);
    EXPECT_EQ(IsBootModeDesiredUserConfig(connection_), expected) << mode;
  }
  SetKeyValue("BOOT_MODE", "yes");
  EXPECT_THROW(IsBootModeDesiredUserConfig(connection_), std::invalid_argument);
  SetKeyValue("BOOT_MODE", "99999999999");
  EXPECT_THROW(IsBootModeDesiredUserConfig(connection_), std::out_of_range);
}

// An instance id marks its instance; without one, every instance of the key.
TEST_F(BootStatusTest, MarkingAppliedTakesTheDesiredValue) {
  Nic("nic0", R"({"mtu":1})", R"({"mtu":2})", "0");
  Nic("nic1", R"({"mtu":3})", "", "0");
  Nic("nic2", R"({"mtu":4})", R"({"mtu":5})", "0");
  SetBootStatusInternal(kNics, false, connection_);  // a failed boot marks nothing
  EXPECT_EQ(Rows("Success"), "Success=0 | Success=0 | Success=0");
  SetBootStatusInternal(ConfigStoreObjectId("nics", "interfaces", "net", "nic0"), true,
                        connection_);
  EXPECT_EQ(Rows("UserValue, DesiredValue, Success"),
            R"(UserValue={"mtu":2}, DesiredValue=NULL, Success=1 | )"
            R"(UserValue={"mtu":3}, DesiredValue=NULL, Success=0 | )"
            R"(UserValue={"mtu":4}, DesiredValue={"mtu":5}, Success=0)");
  SetBootStatusInternal(kNics, true, connection_);
  EXPECT_EQ(Rows("UserValue, DesiredValue, Success"),
            R"(UserValue={"mtu":2}, DesiredValue=NULL, Success=1 | )"
            R"(UserValue={"mtu":3}, DesiredValue=NULL, Success=1 | )"
            R"(UserValue={"mtu":5}, DesiredValue=NULL, Success=1)");
}

TEST_F(BootStatusTest, DesiredInstancesTakeTheUserValueWhereTheBootFailed) {
  Nic("nic0", R"({"mtu":1})", R"({"mtu":2})", "1");
  Nic("nic1", R"({"mtu":3})", R"({"mtu":4})", "0");
  Nic("nic2", R"({"mtu":5})", "", "1");  // nothing desired
  std::string instances;
  for (const auto& nic : GetDesiredInstancesInternal(kNics, connection_, LookupSchema(kNics))) {
    instances += nic->GetConfigStoreObjectId().instanceId + nic->GetData() + " ";
  }
  EXPECT_EQ(instances, R"(nic0{"mtu":2,"name":"nic0"} nic1{"mtu":3,"name":"nic1"} )");
}

TEST_F(BootStatusTest, PartialRestoreDropsTheDesiredValueOnlyWhenComplete) {
  db_.Insert({"net", "dns", "resolver", "", "", R"({"domain":"old"})", "", "",
              R"({"domain":"lab","servers":["10.0.0.1"]})"});
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "partial config being restored is not part of desired config",
                  Restore(R"({"domain":"other"})"));
  Restore(R"({"domain":"lab"})");
  EXPECT_EQ(Rows("UserValue, DesiredValue", "resolver"),
            R"(UserValue={"domain":"lab"}, DesiredValue={"domain":"lab","servers":["10.0.0.1"]})");
  Restore(R"({"servers":["10.0.0.1"]})");
  EXPECT_EQ(Rows("UserValue, DesiredValue, Success", "resolver"),
            R"(UserValue={"domain":"lab","servers":["10.0.0.1"]}, DesiredValue=NULL, Success=1)");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "desired config is empty",
                  Restore(R"({"domain":"lab"})"));

  // Without an applied value the user value becomes the desired one first.
  db_.Sql("UPDATE Config SET UserValue='{\"domain\":\"old\"}', Success=0;");
  Restore(R"({"domain":"old"})");
  EXPECT_EQ(Rows("UserValue, DesiredValue, Success", "resolver"),
            R"(UserValue={"domain":"old"}, DesiredValue=NULL, Success=1)");
}

// The write stages the user part and applies the vital part at once; the
// read takes the desired value, or the staged row during a boot applying it.
TEST_F(BootStatusTest, KernelOptionsStageTheUserPart) {
  EXPECT_EQ(Options(), "null");
  db_.Insert({"orin", "kernix", "options", "", "", R"({"bootDelay":1})", R"({"maxVcpus":64})", "",
              "", "1", "1.0", "4"});
  EXPECT_EQ(Options(), R"({"bootDelay":1,"maxVcpus":64})");
  SetKernelOptionsInternal(CreateObject(kOptions, R"({"console":"com2","maxVcpus":32})"),
                           LookupSchema(kOptions), connection_);
  EXPECT_EQ(Rows("UserValue, DesiredValue, VitalValue, Revision, CreationTime", "options"),
            R"(UserValue={"bootDelay":1}, DesiredValue={"console":"com2"}, )"
            R"(VitalValue={"maxVcpus":32}, Revision=5, CreationTime=2026-01-01 00:00:00)");
  EXPECT_EQ(Options(), R"({"console":"com2","maxVcpus":32})");
  db_.Sql(
      "INSERT INTO DesiredUserConfig(Component, ConfigGroup, Name, Value, Version) "
      "VALUES('orin', 'kernix', 'options', '{\"console\":\"com1\"}', '1.0');");
  SetKeyValue("BOOT_MODE", "1");
  EXPECT_EQ(Options(), R"({"console":"com1","maxVcpus":32})");
}

TEST_F(BootStatusTest, FailuresNameTheOperation) {
  db_.Sql("DROP TABLE Config;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "SetBootStatus: Failed to mark success status for given csoId.",
                  SetBootStatusInternal(kResolver, true, connection_));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Get failed: comp net grp dns key resolver",
                  Restore("{}"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Get failed: comp net grp interfaces key nics",
                  GetDesiredInstancesInternal(kNics, connection_, LookupSchema(kNics)));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Get failed: comp orin grp kernix key options",
                  Options());
  EXPECT_CS_ERROR(
      ConfigStoreException, 2000,
      "Database call to update Kernel options configuration failed for: comp orin "
      "grp kernix key options",
      SetKernelOptionsInternal(CreateObject(kOptions, "{}"), LookupSchema(kOptions), connection_));
}

}  // namespace
}  // namespace OrinConfigStore
