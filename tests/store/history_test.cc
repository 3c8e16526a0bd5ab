// The change history: every kind of write of a Config row leaves one record
// with the row's revision after it, in the same transaction; retention by
// count and by size; patches between recorded values.

#include <gtest/gtest.h>

#include "configstore/boot.h"
#include "configstore/config_store.h"
#include "configstore/history.h"
#include "configstore/provisioning.h"
#include "database_root.h"
#include "db/history_reads.h"
#include "db/history_retention.h"
#include "db/history_schema.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic0("nics", "interfaces", "net", "nic0");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

std::shared_ptr<ConfigStoreObject> Nic(const std::string& id, const std::string& json) {
  return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", id), json);
}
// nic0 with the MTU 1000 + n.
std::shared_ptr<ConfigStoreObject> Nic0(int n) {
  return Nic("nic0", R"({"mtu":)" + std::to_string(1000 + n) + "}");
}
// The user value the store keeps of Nic0(n).
std::string Stored(int n) { return R"({"mtu":)" + std::to_string(1000 + n) + R"(,"name":"nic0"})"; }

class HistoryTest : public ::testing::Test {
 protected:
  // "<instance> <change> r<revision> <source>:<old>-><new>,..." of each
  // record, oldest first.
  std::vector<std::string> Feed(long long since = 0) {
    std::vector<std::string> lines;
    for (const HistoryRecord& record : ReadHistorySince(connection_, since, 0)) {
      std::string line =
          record.id.instanceId + " " + record.change + " r" + std::to_string(record.revision);
      for (const HistoryValue& value : record.changes) {
        line += " " + value.source + ":" + value.before.value_or("-") + "->" +
                value.after.value_or("-");
      }
      lines.push_back(line);
    }
    return lines;
  }
  std::string Count() { return db_.Rows("SELECT count(*) AS n FROM ConfigChanges;")[0]; }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
};

// Each kind of write leaves one record per row it changed, with the row's
// revision; only changed columns carry old and new. A list rewritten in
// place records replaces, not deletes and inserts.
TEST_F(HistoryTest, EveryWriteIsRecordedWithTheRowsRevision) {
  store_->SetUserData(Nic0(1), EXTERNAL);
  store_->SetUserData(Nic0(2), EXTERNAL);
  store_->Update(Nic0(3), EXTERNAL);
  SetBootStatus(kNic0, true);
  store_->SetInstances({Nic0(5), Nic("nic1", "{}")}, EXTERNAL);
  store_->SetInstances({Nic("nic1", "{}")}, EXTERNAL);
  store_->Delete(ConfigStoreObjectId("nics", "interfaces", "net", "nic1"));
  const std::string updated = R"({"name":"nic0","mtu":1003})";
  EXPECT_EQ(Feed(), (std::vector<std::string>{
                        "nic0 insert r1 user:-->" + Stored(1),
                        "nic0 replace r2 user:" + Stored(1) + "->" + Stored(2),
                        "nic0 update r3 user:" + Stored(2) + "->" + updated,
                        "nic0 boot r4",
                        "nic0 replace r1 user:" + updated + "->" + Stored(5),
                        "nic1 insert r1 user:-->{\"name\":\"nic1\"}",
                        "nic0 delete r-1 user:" + Stored(5) + "->-",
                        "nic1 replace r1",
                        "nic1 delete r-1 user:{\"name\":\"nic1\"}->-",
                    }));
  // The record of a revision holds the whole row as it then was.
  const auto records = ReadObjectHistory(connection_, kNic0, 3);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[2].revision, 4);
  EXPECT_EQ(records[2].state[1].after.value_or("-"), updated);
  EXPECT_EQ(ReadObjectHistory(connection_, kNics, 0).size(), 9u);
}

// A change rolled back leaves no record; sequence numbers only rise.
TEST_F(HistoryTest, RecordsCommitAndRollBackWithTheirChange) {
  store_->SetUserData(Nic0(1), EXTERNAL);
  store_->BeginTransaction();
  store_->SetUserData(Nic0(2), EXTERNAL);
  store_->CancelTransaction();
  EXPECT_EQ(Feed().size(), 1u);
  store_->Delete(kNic0);
  db_.Sql("DELETE FROM ConfigChanges;");
  store_->SetUserData(Nic0(1), EXTERNAL);
  const auto records = ReadHistorySince(connection_, 0, 0);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].sequence, 3);
}

// Count per object and total size are bounded, the newest kept; the
// oldest record left of an object is its base, not reported itself but the
// old values of the record after it.
TEST_F(HistoryTest, RetentionKeepsTheNewestWithinBothBounds) {
  db_.Sql("INSERT INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_RECORDS', '3');");
  for (int mtu = 0; mtu <= 6; ++mtu) store_->SetUserData(Nic0(mtu), EXTERNAL);
  KeepHistoryBounds(connection_);
  EXPECT_EQ(Feed(), (std::vector<std::string>{
                        "nic0 replace r5 user:" + Stored(3) + "->" + Stored(4),
                        "nic0 replace r6 user:" + Stored(4) + "->" + Stored(5),
                        "nic0 replace r7 user:" + Stored(5) + "->" + Stored(6),
                    }));
  ASSERT_TRUE(ReadRevisionRecord(connection_, kNic0, 4));
  EXPECT_FALSE(ReadRevisionRecord(connection_, kNic0, 3));

  const std::string big = R"({"network":")" + std::string(1000, 'x') + "\"}";
  db_.Sql("INSERT OR REPLACE INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_BYTES', '2500');");
  store_->SetUserData(Nic("nic1", big), EXTERNAL);
  for (int i = 0; i < 3; ++i) store_->SetUserData(Nic("nic0", big), EXTERNAL);
  store_->Delete(kNic0);
  KeepHistoryBounds(connection_);
  // The oldest go, but nic1 keeps its one record; nic0 keeps its delete
  // (the newest of all) and the base before it. The size counted is exact.
  EXPECT_EQ(
      db_.Rows("SELECT Identifier, count(*) FROM ConfigChanges GROUP BY Identifier;"),
      (std::vector<std::string>{"Identifier=nic0, count(*)=2", "Identifier=nic1, count(*)=1"}));
  EXPECT_EQ(Feed().back().substr(0, 24), "nic0 delete r-1 user:{\"n");
  EXPECT_EQ(db_.Rows("SELECT Bytes = (SELECT sum(length(UserValue)) FROM ConfigChanges) AS Exact "
                     "FROM ConfigChangesMark;"),
            (std::vector<std::string>{"Exact=1"}));
  store_->SetUserData(Nic("nic1", "{}"), EXTERNAL);
  EXPECT_EQ(Feed().back().substr(0, 28), "nic1 replace r2 user:{\"netwo");
}

// The writes run retention themselves once enough records have come since
// it last ran; a bound of 0 turns the history off.
TEST_F(HistoryTest, RetentionRunsWhenDue) {
  db_.Sql("INSERT INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_RECORDS', '1');");
  for (int mtu = 1; mtu < kRetentionInterval; ++mtu) store_->SetUserData(Nic0(mtu), EXTERNAL);
  EXPECT_EQ(Count(), "n=" + std::to_string(kRetentionInterval - 1));
  store_->SetUserData(Nic0(0), EXTERNAL);
  EXPECT_EQ(Count(), "n=2");
  // A bound of 0 records nothing.
  db_.Sql("UPDATE KVTable SET Value='0' WHERE Key='HISTORY_MAX_RECORDS';");
  store_->SetUserData(Nic0(1), EXTERNAL);
  store_->Delete(kNic0);
  EXPECT_EQ(Count(), "n=2");
}

// A history of the earlier layout (old and new values per record) is
// carried over with its numbers and times; the state before its oldest
// record becomes a base, and new records follow its numbers.
TEST_F(HistoryTest, AnEarlierHistoryIsCarriedOver) {
  db_.Sql(
      "CREATE TABLE ConfigHistory(Seq INTEGER PRIMARY KEY AUTOINCREMENT, Time TEXT, Component, "
      "ConfigGroup, Name, Identifier, Change, Revision, Changed INTEGER, OldAutoConfValue, "
      "OldUserValue, OldVitalValue, OldCachedValue, OldDesiredValue, AutoConfValue, UserValue, "
      "VitalValue, CachedValue, DesiredValue, Size INTEGER);"
      "INSERT INTO ConfigHistory VALUES (5, '2026-01-02T03:04:05.678Z', 'net', 'interfaces', "
      "'nics', 'nic0', 'update', 3, 2, NULL, '{\"mtu\":1}', NULL, NULL, NULL, NULL, "
      "'{\"mtu\":2}', '{\"v\":1}', NULL, NULL, 20);"
      "INSERT INTO ConfigHistory VALUES (6, '2026-01-02T03:04:06.000Z', 'net', 'interfaces', "
      "'nics', 'nic0', 'replace', 4, 2, NULL, '{\"mtu\":2}', NULL, NULL, NULL, NULL, "
      "'{\"mtu\":3}', '{\"v\":1}', NULL, NULL, 20);"
      "DELETE FROM ConfigChangesMark;");
  InitializeDatabase();
  EXPECT_EQ(Feed(), (std::vector<std::string>{"nic0 update r3 user:{\"mtu\":1}->{\"mtu\":2}",
                                              "nic0 replace r4 user:{\"mtu\":2}->{\"mtu\":3}"}));
  EXPECT_EQ(ReadHistorySince(connection_, 0, 1)[0].time, "2026-01-02T03:04:05.678Z");
  EXPECT_EQ(db_.Rows("SELECT count(*) AS n FROM sqlite_master WHERE name LIKE 'ConfigHistory%';"),
            (std::vector<std::string>{"n=0"}));
  store_->SetUserData(Nic0(1), EXTERNAL);
  EXPECT_EQ(ReadHistorySince(connection_, 6, 0)[0].sequence, 7);
}

TEST(JsonPatch, TurnsOneValueIntoTheOther) {
  const auto from = CreateDocumentFromString(
      R"({"mtu": 1500, "gone": 1, "a/b": {"x": [1, 2]}, "list": [1], "same": {"k": true}})");
  const auto to = CreateDocumentFromString(
      R"({"mtu": 9000, "a/b": {"x": [1, 3]}, "list": [1, 2], "same": {"k": true}, "new": null})");
  EXPECT_EQ(
      SerializeJson(JsonPatch(from->GetDocument(), to->GetDocument())->GetDocument()),
      R"([{"op":"remove","path":"/gone"},{"op":"replace","path":"/mtu","value":9000},)"
      R"({"op":"replace","path":"/a~1b/x/1","value":3},)"
      R"({"op":"replace","path":"/list","value":[1,2]},{"op":"add","path":"/new","value":null}])");
  EXPECT_EQ(SerializeJson(JsonPatch(JVal(), to->GetDocument())->GetDocument()).substr(0, 30),
            R"([{"op":"replace","path":"","va)");
  EXPECT_EQ(SerializeJson(JsonPatch(to->GetDocument(), to->GetDocument())->GetDocument()), "[]");
}

}  // namespace
}  // namespace OrinConfigStore
