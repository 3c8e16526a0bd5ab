// The store's check: each kind of planted problem is found, with its
// object and source; a healthy store passes; a damaged page is reported,
// not a reason to give up.

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/store_check.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

std::shared_ptr<ConfigStoreObject> Nic(const std::string& id, const std::string& json) {
  return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", id), json);
}

// "<kind> <id> <source>" of each problem, in the order found.
std::vector<std::string> Found(const StoreCheck& check) {
  std::vector<std::string> found;
  for (const StoreProblem& problem : check.problems) {
    found.push_back(problem.kind + " " + problem.database + problem.id.toString() + " " +
                    problem.source);
  }
  return found;
}

class StoreCheckTest : public ::testing::Test {
 protected:
  std::string DatabaseFile() const {
    return db_.Path() + "/etc/tessel/configstore/current-store-1";
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(StoreCheckTest, FindsEachPlantedProblemAndPassesAHealthyStore) {
  store_->SetUserData(Nic("nic1", R"({"mtu":1500})"), EXTERNAL);
  store_->SetUserData(Nic("nic2", R"({"mtu":9000})"), EXTERNAL);
  store_->SetVitalData(Nic("nic2", R"({"macAddress":"02:00:00:00:00:02"})"));
  const StoreCheck healthy = CheckStore();
  EXPECT_EQ(healthy.objects, 2);
  EXPECT_TRUE(healthy.problems.empty()) << Found(healthy).front();

  db_.Sql(
      "UPDATE Config SET UserValue='{\"mtu\":' WHERE Identifier='nic1';"
      "UPDATE Config SET VitalValue='{\"macAddress\":7}', DesiredValue='{\"mtu\":1}' "
      "WHERE Identifier='nic2';");
  db_.Insert({"gone", "grp", "key", "", "", "{}"});
  db_.Insert({"net", "interfaces", "nics", "nic3", "", R"({"name":"nic3","mtu":5})"});
  const StoreCheck planted = CheckStore();
  EXPECT_EQ(planted.objects, 4);
  const std::string nic = "comp net grp interfaces key nics id ";
  EXPECT_EQ(Found(planted), (std::vector<std::string>{
                                "unparsable " + nic + "nic1 user",
                                "invalid " + nic + "nic2 vital",
                                "invalid " + nic + "nic2 desired",
                                "unknown type comp gone grp grp key key ",
                                "invalid " + nic + "nic3 user",
                            }));
  EXPECT_NE(planted.problems[4].detail.find("/mtu"), std::string::npos);
}

TEST_F(StoreCheckTest, ADamagedPageIsAFinding) {
  for (int i = 0; i < 200; ++i) {
    store_->SetUserData(Nic("nic" + std::to_string(i), R"({"mtu":1500})"), EXTERNAL);
  }
  const std::string root =
      db_.Rows("SELECT rootpage FROM sqlite_master WHERE name='sqlite_autoindex_Config_1';")[0];
  db_.Sql("PRAGMA wal_checkpoint(TRUNCATE);");
  const long page = std::stol(root.substr(root.find('=') + 1));
  std::fstream file(DatabaseFile(), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp((page - 1) * 4096 + 8);
  const std::string garbage(64, '\x5a');
  file.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
  file.close();

  const StoreCheck check = CheckStore();
  ASSERT_FALSE(check.problems.empty());
  EXPECT_EQ(check.problems.front().kind, "integrity");
  EXPECT_EQ(check.problems.front().database, "configuration");
}

TEST(StoreCheck, WithoutADatabaseThereIsNothingToLookAt) {
  cstest::TempRoot root;
  EXPECT_THROW(CheckStore(), ConfigStoreException);
}

}  // namespace
}  // namespace OrinConfigStore
