// The desired configuration staged for the next boot, its application, and
// the kernel options object, as the database layer runs them; and the
// key-value functions over the database that hold the boot flag.

#include "db/boot_status.h"

#include <gtest/gtest.h>

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
  // The rows of the type `name` as "user desired success", "-" for NULL.
  std::string Rows(const char* name = "nics") {
    std::string text;
    for (const auto& row : db_.Rows(
             "SELECT ifnull(UserValue,'-')||' '||ifnull(DesiredValue,'-')||' '||Success AS r FROM "
             "Config WHERE Name='" +
             std::string(name) + "' ORDER BY Identifier;")) {
      text += (text.empty() ? "" : " | ") + row.substr(2);
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

// An instance id marks its instance; without one, every instance of the key.
// The desired instances are the user value where the boot failed.
TEST_F(BootStatusTest, MarkingAppliedTakesTheDesiredValue) {
  Nic("nic0", R"({"mtu":1})", R"({"mtu":2})", "0");
  Nic("nic1", R"({"mtu":3})", "", "1");
  Nic("nic2", R"({"mtu":4})", R"({"mtu":5})", "0");
  Nic("nic3", R"({"mtu":6})", R"({"mtu":7})", "1");
  std::string desired;
  for (const auto& nic : GetDesiredInstancesInternal(kNics, connection_, LookupSchema(kNics))) {
    desired += nic->GetConfigStoreObjectId().instanceId + nic->GetData();
  }
  EXPECT_EQ(desired,
            R"(nic0{"mtu":1,"name":"nic0"}nic2{"mtu":4,"name":"nic2"}nic3{"mtu":7,"name":"nic3"})");
  SetBootStatusInternal(kNics, false, connection_);  // a failed boot marks nothing
  SetBootStatusInternal(ConfigStoreObjectId("nics", "interfaces", "net", "nic0"), true,
                        connection_);
  EXPECT_EQ(Rows(),
            R"({"mtu":2} - 1 | {"mtu":3} - 1 | {"mtu":4} {"mtu":5} 0 | {"mtu":6} {"mtu":7} 1)");
  SetBootStatusInternal(kNics, true, connection_);
  EXPECT_EQ(Rows(), R"({"mtu":2} - 1 | {"mtu":3} - 1 | {"mtu":5} - 1 | {"mtu":7} - 1)");
  db_.Sql("DROP TABLE Config;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "SetBootStatus: Failed to mark success status for given csoId.",
                  SetBootStatusInternal(kNics, true, connection_));
}

// A restored part is merged into the applied value; the desired value goes
// once the two are equal.
TEST_F(BootStatusTest, PartialRestoreDropsTheDesiredValueOnlyWhenComplete) {
  db_.Insert({"net", "dns", "resolver", "", "", R"({"domain":"old"})", "", "",
              R"({"domain":"lab","servers":["x"]})"});
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "partial config being restored is not part of desired config",
                  Restore(R"({"domain":"other"})"));
  Restore(R"({"domain":"lab"})");
  EXPECT_EQ(Rows("resolver"), R"({"domain":"lab"} {"domain":"lab","servers":["x"]} 1)");
  Restore(R"({"servers":["x"]})");
  EXPECT_EQ(Rows("resolver"), R"({"domain":"lab","servers":["x"]} - 1)");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "desired config is empty",
                  Restore(R"({"domain":"lab"})"));
  // Without an applied value the user value becomes the desired one first.
  db_.Sql("UPDATE Config SET UserValue='{\"domain\":\"old\"}', Success=0;");
  Restore(R"({"domain":"old"})");
  EXPECT_EQ(Rows("resolver"), R"({"domain":"old"} - 1)");
}

// The write stages the user part and applies the vital part at once; the
// read takes the desired value, or the staged row during a boot applying it.
TEST_F(BootStatusTest, KernelOptionsStageTheUserPart) {
  db_.Insert({"orin", "kernix", "options", "", "", R"({"bootDelay":1})", R"({"maxVcpus":64})", "",
              "", "1", "1.0", "4"});
  EXPECT_EQ(Options(), R"({"bootDelay":1,"maxVcpus":64})");
  SetKernelOptionsInternal(CreateObject(kOptions, R"({"console":"com2","maxVcpus":32})"),
                           LookupSchema(kOptions), connection_);
  EXPECT_EQ(db_.Rows("SELECT UserValue, DesiredValue, VitalValue, Revision, CreationTime FROM "
                     "Config;")[0],
            R"(UserValue={"bootDelay":1}, DesiredValue={"console":"com2"}, )"
            R"(VitalValue={"maxVcpus":32}, Revision=5, CreationTime=2026-01-01 00:00:00)");
  EXPECT_EQ(Options(), R"({"console":"com2","maxVcpus":32})");
  db_.Sql(
      "INSERT INTO DesiredUserConfig(Component, ConfigGroup, Name, Value) "
      "VALUES('orin', 'kernix', 'options', '{\"console\":\"com1\"}');");
  SetKeyValue("BOOT_MODE", "1");
  EXPECT_EQ(Options(), R"({"console":"com1","maxVcpus":32})");
}

// A boot flag that cannot be read holds user writes back rather than
// letting them through. (Without a database there is no boot: the
// validation suite.)
TEST(KeyValue, RoundTripAndBootFlag) {
  cstest::DatabaseRoot db;
  EXPECT_EQ(GetKeyValue("it's"), "");
  SetKeyValue("it's", "v'1");
  EXPECT_EQ(GetKeyValue("it's"), "v'1");
  SetKeyValue("IS_BOOT", "true");
  EXPECT_TRUE(IsBoot());
  SetKeyValue("IS_BOOT", "TRUE");
  EXPECT_FALSE(IsBoot());
  db.Sql("DROP TABLE KVTable;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to write KV table for key: k",
                  SetKeyValue("k", "v"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to read value from database.", IsBoot());
}

}  // namespace
}  // namespace OrinConfigStore
