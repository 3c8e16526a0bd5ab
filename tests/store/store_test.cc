// The store as callers use it: obtaining it, its transactions and guard,
// the operation log line, and the read operations over rows written with
// plain SQL.

#include <gtest/gtest.h>

#include "configstore/config_store.h"
#include "database_root.h"
#include "platform/db_store.h"
#include "store/config_store_impl.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

class StoreTest : public ::testing::Test {
 protected:
  std::shared_ptr<FilterSpecObject> Filter(const ConfigStoreObjectId& id) {
    return std::make_shared<FilterSpecObject>(id);
  }
  void InsertNics() {
    db_.Insert(
        {"net", "interfaces", "nics", "nic0", "", R"({"mtu":1500})", "", "", "", "1", "2.0", "4"});
    db_.Insert(
        {"net", "interfaces", "nics", "nic1", "", R"({"mtu":9000})", "", "", "", "1", "2.0", "2"});
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

TEST_F(StoreTest, ReadsThroughTheStore) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"a"})", R"({"servers":["10.0.0.1"]})"});
  InsertNics();
  cstest::LogCapture log;
  const auto resolver = store_->Get(kResolver);
  ASSERT_NE(resolver, nullptr);
  EXPECT_EQ(resolver->GetData(), R"({"domain":"a","servers":["10.0.0.1"]})");
  EXPECT_TRUE(log.Contains(4, "Get : comp net grp dns key resolver, context: 1"));
  EXPECT_EQ(store_->Get(ConfigStoreObjectId("options", "kernix", "orin")), nullptr);

  EXPECT_EQ(store_->GetRevision(kResolver), 1);
  EXPECT_EQ(store_->GetRevision(ConfigStoreObjectId("options", "kernix", "orin")), -1);
  EXPECT_EQ(store_->GetInstanceIds(kNics), (std::vector<std::string>{"nic0", "nic1"}));
  EXPECT_EQ(store_->GetInstancesRevision(kNics),
            (std::vector<std::pair<std::string, int>>{{"nic0", 4}, {"nic1", 2}}));
  EXPECT_EQ(store_->GetInstancesRevision(ConfigStoreObjectId("nics", "interfaces", "net", "nic1")),
            (std::vector<std::pair<std::string, int>>{{"nic1", 2}}));

  auto jumbo = Filter(kNics);
  jumbo->SetValue("mtu", 9000);
  const auto instances = store_->GetInstances(jumbo);
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(instances[0]->GetConfigStoreObjectId().instanceId, "nic1");
  EXPECT_EQ(store_->GetInstances(Filter(kNics)).size(), 2u);

  const auto defaults = store_->GetDefaultConfig(ConfigStoreObjectId("syslog", "logging", "orin"));
  ASSERT_NE(defaults, nullptr);
  EXPECT_EQ(defaults->GetData(), R"({"level":"info","rotateSizeKb":1024})");
  EXPECT_EQ(store_->GetDefaultConfigInstances(Filter(kNics)).size(), 1u);
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

TEST_F(StoreTest, EmptyArgumentsAreLoggedNotThrown) {
  cstest::LogCapture log;
  EXPECT_TRUE(store_->GetInstances(nullptr).empty());
  EXPECT_TRUE(store_->GetDefaultConfigInstances(nullptr).empty());
  EXPECT_TRUE(store_->Validate(nullptr).empty());
  EXPECT_TRUE(log.Contains(1, "GetInstances: FilterSpec object is empty"));
  EXPECT_TRUE(log.Contains(1, "Validate: Configuration object is empty"));
  EXPECT_EQ(log.Lines().size(), 3u);  // and no operation lines
}

TEST_F(StoreTest, ValidateReportsWithoutWriting) {
  const auto bad = CreateObject(kResolver, R"({"options": {"timeout": 99}, "extra": 1})");
  const auto errors = store_->Validate(bad);
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0].field, "/options/timeout");
  EXPECT_EQ(errors[1].field, "/extra");
  EXPECT_TRUE(store_->Validate(CreateObject(kResolver, R"({"domain": "lab"})")).empty());
  EXPECT_TRUE(db_.Rows("SELECT * FROM Config;").empty());
}

TEST_F(StoreTest, TransactionsNest) {
  EXPECT_EQ(store_->BeginTransaction(), 0);
  EXPECT_EQ(store_->BeginTransaction(), 0);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to cancel nested transaction",
                  store_->CancelTransaction());
  EXPECT_EQ(store_->CommitTransaction(), 0);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Commit transaction failed.",
                  store_->CommitTransaction());
  EXPECT_NE(store_->CancelTransaction(), 0);  // none open: a failure code, not an exception
}

// A store on a connection the test also holds, so that rows written on it
// take part in the store's transactions; it can refuse commits on demand.
class GuardedStore : public ConfigStoreImpl {
 public:
  explicit GuardedStore(std::shared_ptr<DBStore::StoreConnection> connection)
      : ConfigStoreImpl(connection), connection_(std::move(connection)) {}
  int CommitTransaction() override {
    if (refuseCommit) throw ConfigStoreException("Commit transaction failed.");
    return ConfigStoreImpl::CommitTransaction();
  }
  int CancelTransaction() override {
    ++cancels;
    return ConfigStoreImpl::CancelTransaction();
  }
  void Write(const char* name) {
    ASSERT_EQ(DBStore::ExecuteV2(connection_,
                                 std::string("INSERT INTO Config(Component, ConfigGroup, Name) "
                                             "VALUES('c', 'g', '") +
                                     name + "');",
                                 nullptr, nullptr, 3000),
              0);
  }
  bool refuseCommit = false;
  int cancels = 0;

 private:
  std::shared_ptr<DBStore::StoreConnection> connection_;
};

TEST_F(StoreTest, TheGuardCommitsOrCancels) {
  auto guarded = std::make_shared<GuardedStore>(DBStore::GetConnection(DBStore::CONFIG));
  std::shared_ptr<ConfigStore> store = guarded;
  const std::string names = "SELECT Name FROM Config ORDER BY Name;";
  {
    ConfigStoreTransaction transaction(store);
    guarded->Write("kept");
    EXPECT_EQ(transaction.Commit(), 0);
  }
  {
    ConfigStoreTransaction transaction(store);
    guarded->Write("dropped");
  }
  EXPECT_EQ(guarded->cancels, 1);
  {
    ConfigStoreTransaction outer(store);
    guarded->Write("outer");
    {
      ConfigStoreTransaction inner(store);  // cancelled on destruction, nested: logged, not thrown
      guarded->Write("inner");
    }
    outer.Commit();
  }
  EXPECT_EQ(db_.Rows(names), (std::vector<std::string>{"Name=kept", "Name=outer"}));

  guarded->refuseCommit = true;
  {
    ConfigStoreTransaction transaction(store);
    guarded->Write("refused");
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Commit transaction failed.", transaction.Commit());
  }  // still active: the destructor cancels
  EXPECT_EQ(guarded->cancels, 3);
  EXPECT_EQ(db_.Rows(names).size(), 2u);

  std::shared_ptr<ConfigStore> none;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to use NULL as the store",
                  ConfigStoreTransaction{none});
}

}  // namespace
}  // namespace OrinConfigStore
