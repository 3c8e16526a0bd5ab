// Boot status, the desired configuration and the kernel options object.

#include <gtest/gtest.h>

#include <stdexcept>

#include "configstore/boot.h"
#include "configstore/config_store.h"
#include "database_root.h"
#include "db/boot_status.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kOptions("options", "kernix", "orin");

class BootStatusTest : public ::testing::Test {
 protected:
  std::string Row(const char* columns, const char* name = "resolver") {
    const auto rows = db_.Rows(std::string("SELECT ") + columns + " FROM Config WHERE Name='" +
                               name + "' ORDER BY Identifier;");
    std::string text;
    for (const auto& row : rows) text += (text.empty() ? "" : " | ") + row;
    return text.empty() ? "none" : text;
  }
  void Resolver(const char* user, const char* desired, const char* success) {
    db_.Insert({"net", "dns", "resolver", "", "", user, "", "", desired, success});
  }
  std::shared_ptr<ConfigStoreObject> Partial(const char* json) {
    return CreateObject(kResolver, json);
  }

  cstest::DatabaseRoot db_;
};

TEST_F(BootStatusTest, BootModeIsANumber) {
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  EXPECT_FALSE(IsBootModeDesiredUserConfig(connection));
  const std::pair<const char*, bool> modes[] = {
      {"1", true}, {"0", false}, {"", false}, {"2", false}};
  for (const auto& [mode, expected] : modes) {
    SetKeyValue("BOOT_MODE", mode);
    EXPECT_EQ(IsBootModeDesiredUserConfig(connection), expected) << mode;
  }
  SetKeyValue("BOOT_MODE", "yes");
  EXPECT_THROW(IsBootModeDesiredUserConfig(connection), std::invalid_argument);
  SetKeyValue("BOOT_MODE", "99999999999");
  EXPECT_THROW(IsBootModeDesiredUserConfig(connection), std::out_of_range);
}

TEST_F(BootStatusTest, MarkingAppliedTakesTheDesiredValue) {
  Resolver(R"({"domain":"old"})", R"({"domain":"new"})", "0");
  db_.Insert({"net", "dns", "resolver", "x", "", R"({"domain":"kept"})", "", "", "", "0"});
  SetBootStatus(kResolver, false);
  EXPECT_EQ(Row("UserValue, DesiredValue, Success"),
            R"(UserValue={"domain":"old"}, DesiredValue={"domain":"new"}, Success=0 | )"
            R"(UserValue={"domain":"kept"}, DesiredValue=NULL, Success=0)");
  SetBootStatus(kResolver, true);  // without an instance id: every row of the key
  EXPECT_EQ(Row("UserValue, DesiredValue, Success"),
            R"(UserValue={"domain":"new"}, DesiredValue=NULL, Success=1 | )"
            R"(UserValue={"domain":"kept"}, DesiredValue=NULL, Success=1)");
}

TEST_F(BootStatusTest, DesiredValueOrTheUserValueWhenItFailed) {
  Resolver(R"({"domain":"user"})", R"({"domain":"desired"})", "1");
  EXPECT_EQ(GetDesiredUserConfig(kResolver)->GetData(), R"({"domain":"desired"})");
  db_.Sql("UPDATE Config SET Success=0;");
  EXPECT_EQ(GetDesiredUserConfig(kResolver)->GetData(), R"({"domain":"user"})");
  db_.Insert({"net", "interfaces", "nics", "nic0", "", "", "", "", R"({"mtu":9000})", "1"});
  const auto instances =
      GetDesiredUserConfigInstances(ConfigStoreObjectId("nics", "interfaces", "net"));
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(instances[0]->GetData(), R"({"mtu":9000,"name":"nic0"})");
}

TEST_F(BootStatusTest, PartialRestoreDropsTheDesiredValueOnlyWhenComplete) {
  Resolver(R"({"domain":"old"})", R"({"domain":"lab","servers":["10.0.0.1"]})", "1");
  SetPartialBootStatus(Partial(R"({"domain":"lab"})"));
  EXPECT_EQ(Row("UserValue, DesiredValue"),
            R"(UserValue={"domain":"lab"}, DesiredValue={"domain":"lab","servers":["10.0.0.1"]})");
  SetPartialBootStatus(Partial(R"({"servers":["10.0.0.1"]})"));
  EXPECT_EQ(Row("UserValue, DesiredValue, Success"),
            R"(UserValue={"domain":"lab","servers":["10.0.0.1"]}, DesiredValue=NULL, Success=1)");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "desired config is empty",
                  SetPartialBootStatus(Partial(R"({"domain":"lab"})")));
  SetPartialBootStatus(nullptr);  // logged, nothing else
}

TEST_F(BootStatusTest, PartialRestoreRefusesWhatIsNotDesired) {
  Resolver(R"({"domain":"old"})", R"({"domain":"lab"})", "1");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "partial config being restored is not part of desired config",
                  SetPartialBootStatus(Partial(R"({"domain":"other"})")));
  EXPECT_EQ(Row("UserValue"), R"(UserValue={"domain":"old"})");
  // Without an applied value the user value becomes the desired one first.
  db_.Sql("UPDATE Config SET Success=0;");
  SetPartialBootStatus(Partial(R"({"domain":"old"})"));
  EXPECT_EQ(Row("UserValue, DesiredValue, Success"),
            R"(UserValue={"domain":"old"}, DesiredValue=NULL, Success=1)");
}

TEST_F(BootStatusTest, KernelOptionsReadTheDesiredValue) {
  const ConfigStoreObjectId other("resolver", "dns", "net");
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API should only be invoked for Kernel options configuration.",
                  GetKernelOptions(other));
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API should only be invoked for Kernel options configuration.",
                  UpdateKernelOptions(CreateObject(other, "{}")));
  EXPECT_EQ(GetKernelOptions(kOptions), nullptr);
  db_.Insert({"orin", "kernix", "options", "", "", R"({"bootDelay":1})", R"({"maxVcpus":64})", "",
              R"({"bootDelay":5})"});
  EXPECT_EQ(GetKernelOptions(kOptions)->GetData(), R"({"bootDelay":5,"maxVcpus":64})");

  // During a boot that applies the desired user configuration, the staged
  // row is read.
  db_.Sql(
      "INSERT INTO DesiredUserConfig(Component, ConfigGroup, Name, Value, Version, BootAction) "
      "VALUES('orin', 'kernix', 'options', '{\"console\":\"com1\"}', '1.0', 'SET');");
  SetKeyValue("BOOT_MODE", "1");
  EXPECT_EQ(GetKernelOptions(kOptions)->GetData(), R"({"console":"com1","maxVcpus":64})");
}

TEST_F(BootStatusTest, KernelOptionsUpdateWritesTheDesiredValue) {
  db_.Insert({"orin", "kernix", "options", "", "", R"({"bootDelay":1})", R"({"maxVcpus":64})"});
  UpdateKernelOptions(CreateObject(kOptions, R"({"console":"com2","maxVcpus":32})"));
  EXPECT_EQ(Row("UserValue, DesiredValue, VitalValue, Revision", "options"),
            R"(UserValue={"bootDelay":1}, DesiredValue={"bootDelay":1,"console":"com2"}, )"
            R"(VitalValue={"maxVcpus":32}, Revision=2)");
  EXPECT_EQ(GetKernelOptions(kOptions)->GetData(),
            R"({"bootDelay":1,"console":"com2","maxVcpus":32})");
  EXPECT_CS_ERROR(ValidationException, 1090, "Failed to validate Update",
                  UpdateKernelOptions(CreateObject(kOptions, R"({"bootDelay":"soon"})")));
  db_.Sql("DROP TABLE DesiredUserConfig;");  // the boot-mode read cannot run now
  SetKeyValue("BOOT_MODE", "1");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Transaction failedGet failed: comp orin grp kernix key options",
                  UpdateKernelOptions(CreateObject(kOptions, R"({"bootDelay":2})")));
  EXPECT_EQ(Row("DesiredValue", "options"), R"(DesiredValue={"bootDelay":1,"console":"com2"})");
}

}  // namespace
}  // namespace OrinConfigStore
