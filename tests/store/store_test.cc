// The store as callers use it: obtaining it, the operation log line, the
// identity checks, empty arguments, the read operations passing their
// arguments on, and its transactions and their guard.

#include <gtest/gtest.h>

#include "configstore/boot.h"
#include "configstore/config_store.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");
const ConfigStoreObjectId kNic1("nics", "interfaces", "net", "nic1");

class StoreTest : public ::testing::Test {
 protected:
  std::shared_ptr<FilterSpecObject> Filter(const ConfigStoreObjectId& id) {
    return std::make_shared<FilterSpecObject>(id);
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST(GetStore, OnlyTheGlobalNamespace) {
  cstest::DatabaseRoot db;
  const auto first = ConfigStore::GetStore("");
  EXPECT_NE(first, nullptr);
  EXPECT_NE(ConfigStore::GetStore(""), first);
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Invalid value for namespace.",
                  ConfigStore::GetStore(" "));
  cstest::TempRoot empty;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to connect to database",
                  ConfigStore::GetStore(""));
}

// Each read logs its line and hands its arguments to the read it stands for.
TEST_F(StoreTest, ReadsLogAndPassTheirArgumentsOn) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"a"})", "", "", "", "", "1", "1.2", "3"});
  db_.Insert({"net", "interfaces", "nics", "nic0", "", R"({"mtu":1500})"});
  db_.Insert(
      {"net", "interfaces", "nics", "nic1", "", R"({"mtu":9000})", "", "", "", "1", "", "2"});
  cstest::LogCapture log;
  EXPECT_EQ(store_->Get(kResolver)->GetData(), R"({"domain":"a"})");
  EXPECT_EQ(store_->GetRevision(kResolver), 3);
  EXPECT_EQ(store_->GetInstanceIds(kNics), (std::vector<std::string>{"nic0", "nic1"}));
  EXPECT_EQ(store_->GetInstancesRevision(kNic1),
            (std::vector<std::pair<std::string, int>>{{"nic1", 2}}));
  auto jumbo = Filter(kNics);
  jumbo->SetValue("mtu", 9000);
  const auto instances = store_->GetInstances(jumbo);
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(instances[0]->GetConfigStoreObjectId(), kNic1);
  EXPECT_EQ(store_->GetDefaultConfig(kResolver)->GetData(),
            R"({"domain":"localdomain","servers":[],"options":{"timeout":5}})");
  EXPECT_EQ(store_->GetDefaultConfigInstances(Filter(kNics)).size(), 1u);
  EXPECT_TRUE(log.Contains(4, "Get : comp net grp dns key resolver, context: 1"));
  EXPECT_TRUE(log.Contains(
      4, "GetInstancesRevision : comp net grp interfaces key nics id nic1, context: 1"));
  EXPECT_EQ(log.Lines().size(), 7u);  // one line each
}

TEST_F(StoreTest, IdentifierChecksComeFirst) {
  EXPECT_CS_ERROR(ConfigStoreException, 1037, "Schema object not found: comp net grp dns key none",
                  store_->Get(ConfigStoreObjectId("none", "dns", "net")));
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  store_->Get(ConfigStoreObjectId("resolver", "dns", "net", "x")));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  store_->GetRevision(kNics));
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API called for singleton object, non-singleton expected",
                  store_->GetInstanceIds(kResolver));
}

// A null object or filter is logged at priority 1 under the operation's name,
// and nothing else happens.
TEST_F(StoreTest, EmptyArgumentsAreLoggedNotThrown) {
  cstest::LogCapture log;
  store_->Set(nullptr, EXTERNAL);
  store_->SetUserData(nullptr, EXTERNAL);
  store_->SetVitalData(nullptr);
  store_->SetCachedData(nullptr);
  store_->Update(nullptr, INTERNAL);
  EXPECT_TRUE(store_->Validate(nullptr).empty());
  SetPartialBootStatus(nullptr);
  UpdateKernelOptions(nullptr);
  EXPECT_TRUE(store_->GetInstances(nullptr).empty());
  EXPECT_TRUE(store_->GetDefaultConfigInstances(nullptr).empty());
  store_->DeleteInstances(nullptr);
  EXPECT_EQ(log.Lines().size(), 11u);
  EXPECT_TRUE(log.Contains(1, "UpdateKernelOptions: Configuration object is empty"));
  EXPECT_TRUE(log.Contains(1, "DeleteInstances: FilterSpec object is empty"));
}

TEST_F(StoreTest, ValidateReportsWhatItFinds) {
  EXPECT_EQ(
      store_->Validate(CreateObject(kResolver, R"({"options":{"timeout":99},"extra":1})")).size(),
      2u);
  EXPECT_TRUE(store_->Validate(CreateObject(kResolver, R"({"domain":"lab"})")).empty());
}

// Store operations run on the store's connection, so they take part in its
// transactions.
TEST_F(StoreTest, TheGuardCommitsOrCancels) {
  const auto write = [&](const char* nic) {
    store_->SetUserData(CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", nic), "{}"),
                        EXTERNAL);
  };
  {
    ConfigStoreTransaction transaction(store_);
    write("nic1");
    EXPECT_EQ(transaction.Commit(), 0);
  }
  {
    ConfigStoreTransaction dropped(store_);
    write("nic2");
  }
  cstest::LogCapture log;
  {
    ConfigStoreTransaction outer(store_);
    write("nic3");
    {
      ConfigStoreTransaction inner(store_);
      write("nic4");
    }  // a nested cancel is reported by the store and logged by the guard
    EXPECT_EQ(outer.Commit(), 0);
  }
  EXPECT_TRUE(log.Contains(
      0, "ConfigStoreTransaction: cancel on destruction: Failed to cancel nested transaction"));
  EXPECT_EQ(store_->GetInstanceIds(kNics), (std::vector<std::string>{"nic1", "nic3"}));

  // A write SQLite answers by rolling the whole transaction back: begin and
  // commit are refused until the level is cancelled.
  db_.Sql(
      "CREATE TRIGGER lose BEFORE INSERT ON Config WHEN NEW.Identifier='nic9' "
      "BEGIN SELECT RAISE(ROLLBACK, 'lost'); END;");
  {
    ConfigStoreTransaction refused(store_);
    EXPECT_THROW(write("nic9"), ConfigStoreException);
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to start a transaction.",
                    ConfigStoreTransaction{store_});
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Commit transaction failed.", refused.Commit());
  }
  EXPECT_NE(store_->CancelTransaction(), 0);  // none open: a failure code, not an exception
  std::shared_ptr<ConfigStore> none;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to use NULL as the store",
                  ConfigStoreTransaction{none});
}

}  // namespace
}  // namespace OrinConfigStore
