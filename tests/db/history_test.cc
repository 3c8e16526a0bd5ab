// The change history: every kind of change of a Config row leaves one record
// with the row's revision after it, in the same transaction; retention by
// count and by size; patches between recorded values.

#include <gtest/gtest.h>

#include "configstore/history.h"
#include "database_root.h"
#include "db/history_reads.h"
#include "db/history_retention.h"
#include "db/history_schema.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic0("nics", "interfaces", "net", "nic0");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

constexpr const char* kWhereNic0 =
    " WHERE Component='net' AND ConfigGroup='interfaces' AND Name='nics' AND Identifier='nic0';";

class HistoryTest : public ::testing::Test {
 protected:
  // "<change> r<revision> <source>:<old>-><new>,..." of each record, oldest
  // first.
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
  std::string Revision() {
    return db_.Rows("SELECT Revision FROM Config" + std::string(kWhereNic0))[0];
  }

  cstest::DatabaseRoot db_;
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
};

// Each statement the library writes with, and a raw one: the record's
// revision is the row's, and only changed columns carry old and new.
TEST_F(HistoryTest, EveryKindOfChangeIsRecordedWithTheRowsRevision) {
  db_.Insert({"net", "interfaces", "nics", "nic0", "", "{\"mtu\":1}"});
  db_.Sql(
      "INSERT OR REPLACE INTO Config(Component, ConfigGroup, Name, Identifier, UserValue, "
      "Revision) VALUES ('net', 'interfaces', 'nics', 'nic0', '{\"mtu\":2}', 2);");
  db_.Sql("UPDATE Config SET UserValue='{\"mtu\":3}'" + std::string(kWhereNic0));
  EXPECT_EQ(Revision(), "Revision=3");
  db_.Sql("UPDATE Config SET UserValue='{\"mtu\":3}'" + std::string(kWhereNic0));
  db_.Sql("UPDATE Config SET DesiredValue='{\"mtu\":4}', Success=1" + std::string(kWhereNic0));
  db_.Sql(
      "UPDATE Config SET UserValue = CASE WHEN DesiredValue IS NULL THEN UserValue ELSE "
      "DesiredValue END, DesiredValue=NULL, Success=1" +
      std::string(kWhereNic0));
  db_.Sql("UPDATE Config SET Version='2.0'" + std::string(kWhereNic0));
  db_.Sql("DELETE FROM Config" + std::string(kWhereNic0));
  EXPECT_EQ(Feed(), (std::vector<std::string>{
                        "nic0 insert r1 user:-->{\"mtu\":1}",
                        "nic0 replace r2 user:{\"mtu\":1}->{\"mtu\":2}",
                        "nic0 update r3 user:{\"mtu\":2}->{\"mtu\":3}",
                        "nic0 update r4",
                        "nic0 desired r4 desired:-->{\"mtu\":4}",
                        "nic0 boot r5 user:{\"mtu\":3}->{\"mtu\":4} desired:{\"mtu\":4}->-",
                        "nic0 delete r-1 user:{\"mtu\":4}->-",
                    }));
  // The record of a revision holds the whole row as it then was.
  const auto records = ReadObjectHistory(connection_, kNic0, 3);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[2].revision, 4);
  EXPECT_EQ(records[2].state[1].after.value_or("-"), "{\"mtu\":3}");
  EXPECT_EQ(records[2].state[4].after.value_or("-"), "{\"mtu\":4}");
  EXPECT_EQ(ReadObjectHistory(connection_, kNics, 0).size(), 7u);
}

// A change rolled back leaves no record; sequence numbers only rise.
TEST_F(HistoryTest, RecordsCommitAndRollBackWithTheirChange) {
  db_.Insert({"net", "interfaces", "nics", "nic0", "", "{\"mtu\":1}"});
  db_.Sql("BEGIN; UPDATE Config SET UserValue='{}'" + std::string(kWhereNic0) + " ROLLBACK;");
  EXPECT_EQ(Feed().size(), 1u);
  db_.Sql("DELETE FROM Config" + std::string(kWhereNic0));
  db_.Sql("DELETE FROM ConfigChanges;");
  db_.Insert({"net", "interfaces", "nics", "nic1", "", "{\"mtu\":1}"});
  const auto records = ReadHistorySince(connection_, 0, 0);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].sequence, 3);
}

// Count per object and total size are bounded, the newest kept; the
// oldest record left of an object is its base, not reported itself but the
// old values of the record after it.
TEST_F(HistoryTest, RetentionKeepsTheNewestWithinBothBounds) {
  db_.Sql("INSERT INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_RECORDS', '3');");
  db_.Insert({"net", "interfaces", "nics", "nic0", "", "{\"mtu\":0}"});
  for (int i = 1; i <= 6; ++i) {
    db_.Sql("UPDATE Config SET UserValue='{\"mtu\":" + std::to_string(i) + "}'" + kWhereNic0);
  }
  KeepHistoryBounds(connection_);
  EXPECT_EQ(Feed(), (std::vector<std::string>{"nic0 update r5 user:{\"mtu\":3}->{\"mtu\":4}",
                                              "nic0 update r6 user:{\"mtu\":4}->{\"mtu\":5}",
                                              "nic0 update r7 user:{\"mtu\":5}->{\"mtu\":6}"}));
  ASSERT_TRUE(ReadRevisionRecord(connection_, kNic0, 4));
  EXPECT_FALSE(ReadRevisionRecord(connection_, kNic0, 3));

  const std::string big = "'\"" + std::string(998, 'x') + "\"'";
  db_.Sql("INSERT OR REPLACE INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_BYTES', '2500');");
  db_.Insert({"net", "interfaces", "nics", "nic1", "", "\"" + std::string(998, 'y') + "\""});
  for (int i = 0; i < 3; ++i) db_.Sql("UPDATE Config SET UserValue=" + big + kWhereNic0);
  db_.Sql("DELETE FROM Config" + std::string(kWhereNic0));
  KeepHistoryBounds(connection_);
  // The oldest go, but nic1 keeps its one record; nic0 keeps its delete
  // (the newest of all) and the base before it. The size counted is exact.
  EXPECT_EQ(db_.Rows("SELECT Identifier, count(*) FROM ConfigChanges GROUP BY Identifier;"),
            (std::vector<std::string>{"Identifier=nic0, count(*)=2",
                                      "Identifier=nic1, count(*)=1"}));
  EXPECT_EQ(Feed().back(), "nic0 delete r-1 user:\"" + std::string(998, 'x') + "\"->-");
  EXPECT_EQ(db_.Rows("SELECT Bytes = (SELECT sum(length(UserValue)) FROM ConfigChanges) AS Exact "
                     "FROM ConfigChangesMark;"),
            (std::vector<std::string>{"Exact=1"}));
  db_.Sql("UPDATE Config SET UserValue='{}' WHERE Identifier='nic1';");
  EXPECT_EQ(Feed().back(), "nic1 update r2 user:\"" + std::string(998, 'y') + "\"->{}");
}

// Retention runs once enough records have come since it last ran.
TEST_F(HistoryTest, RetentionRunsWhenDue) {
  db_.Sql("INSERT INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_RECORDS', '1');");
  db_.Insert({"net", "interfaces", "nics", "nic0", "", "{\"mtu\":0}"});
  const auto records = [&] { return db_.Rows("SELECT count(*) AS n FROM ConfigChanges;")[0]; };
  for (int i = 1; i < kRetentionInterval; ++i) {
    db_.Sql("UPDATE Config SET UserValue='{\"mtu\":" + std::to_string(i) + "}'" + kWhereNic0);
    KeepHistoryBoundsWhenDue(connection_);
  }
  EXPECT_EQ(records(), "n=2");
  for (int i = 0; i < kRetentionInterval - 1; ++i) {
    db_.Sql("UPDATE Config SET UserValue='{}'" + std::string(kWhereNic0));
  }
  KeepHistoryBoundsWhenDue(connection_);
  EXPECT_EQ(records(), "n=" + std::to_string(kRetentionInterval + 1));
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
