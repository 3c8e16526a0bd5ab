// Rollback: every source of the recorded revision comes back in one
// recorded write at a new revision; refusals write nothing.

#include <gtest/gtest.h>

#include "configstore/config_store.h"
#include "configstore/history.h"
#include "configstore/rollback.h"
#include "database_root.h"
#include "db/history_retention.h"
#include "db/history_schema.h"
#include "db/history_writes.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic0("nics", "interfaces", "net", "nic0");

std::shared_ptr<ConfigStoreObject> Nic0(const char* json) { return CreateObject(kNic0, json); }

class RollbackTest : public ::testing::Test {
 protected:
  std::string Row() {
    return db_.Rows(
        "SELECT Revision, AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue FROM "
        "Config WHERE Identifier='nic0';")[0];
  }
  std::size_t Records() { return GetHistory(kNic0).size(); }
  // A change no public write makes (a staged desired value, a value an
  // earlier schema allowed), recorded as the library records its writes.
  void WriteRaw(const std::string& assignment, const char* change) {
    db_.Sql("UPDATE Config SET " + assignment + " WHERE Identifier='nic0';");
    RecordRow(connection_, kNic0, change, "raw write");
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
};

// Three sources and a staged desired value come back together, also after
// the object was deleted; the rollback is itself a record, and rolling back
// to the revision it made gives the same values again.
TEST_F(RollbackTest, PutsBackEverySourceOfTheRevisionAsOneRecordedWrite) {
  store_->SetUserData(Nic0(R"({"mtu":1500})"), EXTERNAL);
  store_->SetUserData(Nic0(R"({"network":"backend"})"), INTERNAL);
  store_->SetVitalData(Nic0(R"({"macAddress":"02:00:00:00:00:01"})"));
  WriteRaw("DesiredValue='{\"mtu\":9000}'", kChangeDesired);
  const std::string atThree = Row().substr(std::string("Revision=3").size());
  store_->Set(Nic0(R"({"mtu":1400,"macAddress":"02:00:00:00:00:02"})"), EXTERNAL);
  store_->Delete(kNic0);
  const std::size_t before = Records();

  EXPECT_EQ(RollbackToRevision(store_, kNic0, 3), 1);
  EXPECT_EQ(Row(), "Revision=1" + atThree);
  EXPECT_EQ(store_->Get(kNic0)->GetData(),
            R"({"macAddress":"02:00:00:00:00:01","name":"nic0","network":"backend","mtu":1500})");
  EXPECT_EQ(Records(), before + 1);
  const HistoryRecord last = GetHistory(kNic0, 1).front();
  EXPECT_EQ(last.change, "insert");
  EXPECT_EQ(last.revision, 1);

  EXPECT_EQ(RollbackToRevision(store_, kNic0, 4), 2);
  EXPECT_EQ(store_->Get(kNic0)->GetData(),
            R"({"macAddress":"02:00:00:00:00:02","name":"nic0","mtu":1400})");
  EXPECT_EQ(RollbackToRevision(store_, kNic0, 1), 3);
  EXPECT_EQ(Row(), "Revision=3" + atThree);
}

// A revision never reached or no longer kept, values the current schema
// refuses, and a store the library did not make: each leaves the row and
// the history as they were.
TEST_F(RollbackTest, RefusedRollbacksWriteNothing) {
  SetKeyValue("HISTORY_MAX_RECORDS", "1");
  store_->SetUserData(Nic0(R"({"mtu":1500})"), EXTERNAL);
  WriteRaw("UserValue='{\"mtu\":\"big\"}'", kChangeUpdate);
  store_->SetUserData(Nic0(R"({"mtu":9000})"), EXTERNAL);
  KeepHistoryBounds(connection_);
  const std::string row = Row();
  const std::size_t records = Records();

  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Revision 1 of " + kNic0.toString() + " is not in the change history",
                  RollbackToRevision(store_, kNic0, 1));
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Revision 7 of " + kNic0.toString() + " is not in the change history",
                  RollbackToRevision(store_, kNic0, 7));
  EXPECT_THROW(RollbackToRevision(store_, kNic0, 2), ValidationException);
  std::shared_ptr<ConfigStore> none;
  EXPECT_THROW(RollbackToRevision(none, kNic0, 3), InvalidArgumentException);
  EXPECT_EQ(Row(), row);
  EXPECT_EQ(Records(), records);
}

}  // namespace
}  // namespace OrinConfigStore
