// The boot-time entry points: their log lines, identity and argument checks,
// UpdateKernelOptions' transaction, and the desired value staged until the
// boot applies it. Null objects, the boot-time refusal and the announcement
// after a change are tested with the store's other operations.

#include "configstore/boot.h"

#include <gtest/gtest.h>

#include "configstore/config_store.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kOptions("options", "kernix", "orin");
const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

std::shared_ptr<ConfigStoreObject> Options(const char* json) {
  return CreateObject(kOptions, json);
}

class BootOperationsTest : public ::testing::Test {
 protected:
  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(BootOperationsTest, KernelOptionsAreStagedUntilTheBootAppliesThem) {
  store_->SetUserData(Options(R"({"bootDelay":1})"), EXTERNAL);
  cstest::LogCapture log;
  UpdateKernelOptions(Options(R"({"console":"com1"})"));
  EXPECT_EQ(store_->Get(kOptions)->GetData(), R"({"bootDelay":1})");  // still in force
  EXPECT_EQ(GetKernelOptions(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  EXPECT_EQ(GetDesiredUserConfig(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  SetBootStatus(kOptions, true);
  EXPECT_EQ(store_->Get(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  EXPECT_EQ(GetDesiredUserConfig(kOptions), nullptr);
  EXPECT_TRUE(GetDesiredUserConfigInstances(kNics).empty());
  for (const auto& [priority, name] :
       {std::pair{3, "UpdateKernelOptions"}, std::pair{4, "GetKernelOptions"},
        std::pair{4, "GetDesiredUserConfig"}, std::pair{4, "GetDesiredUserConfigInstances"}}) {
    EXPECT_TRUE(log.Contains(priority, std::string(name) + " invoked")) << name;
  }
}

TEST_F(BootOperationsTest, IdentifiersAreCheckedFirst) {
  for (const ConfigStoreObjectId& other : {ConfigStoreObjectId("other", "kernix", "orin"),
                                           ConfigStoreObjectId("options", "dns", "orin"),
                                           ConfigStoreObjectId("options", "kernix", "net")}) {
    EXPECT_CS_ERROR(ValidationException, 2000,
                    "API should only be invoked for Kernel options configuration.",
                    GetKernelOptions(other));
  }
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API should only be invoked for Kernel options configuration.",
                  UpdateKernelOptions(CreateObject(kResolver, "{}")));
  const ConfigStoreObjectId optionsInstance("options", "kernix", "orin", "x");
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  GetKernelOptions(optionsInstance));
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  GetDesiredUserConfig(optionsInstance));
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API called for singleton object, non-singleton expected",
                  GetDesiredUserConfigInstances(kResolver));
}

TEST_F(BootOperationsTest, WritesValidateFirst) {
  db_.Insert(
      {"net", "dns", "resolver", "", "", R"({"domain":"old"})", "", "", R"({"domain":"lab"})"});
  EXPECT_CS_ERROR(ValidationException, 1088, "Failed to validate Partial config",
                  SetPartialBootStatus(CreateObject(kResolver, R"({"domain":7})")));
  SetPartialBootStatus(CreateObject(kResolver, R"({"domain":"lab"})"));
  EXPECT_EQ(store_->Get(kResolver)->GetData(), R"({"domain":"lab"})");
  EXPECT_EQ(GetDesiredUserConfig(kResolver), nullptr);

  EXPECT_CS_ERROR(ValidationException, 1090, "Failed to validate Update",
                  UpdateKernelOptions(Options(R"({"bootDelay":"soon"})")));
  // Inside the transaction the merged object must be valid as a whole; any
  // failure there is reported as the transaction's.
  db_.Insert({"orin", "kernix", "options", "", "", R"({"bootDelay":99})"});
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Transaction failedFailed to validate Set",
                  UpdateKernelOptions(Options(R"({"console":"com1"})")));
  EXPECT_EQ(GetDesiredUserConfig(kOptions), nullptr);
}

}  // namespace
}  // namespace OrinConfigStore
