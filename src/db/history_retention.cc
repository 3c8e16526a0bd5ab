#include "history_retention.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "configstore/logger.h"
#include "history_schema.h"
#include "transaction.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRetentionFailed = "Failed to apply the change history's retention.";
constexpr const char* kLogRetentionFailed = "The change history's retention failed: %s";
constexpr const char* kRetentionOperation = "KeepHistoryBounds";

// How many records came since retention last ran.
const std::string kRecordsDue = "SELECT (SELECT ifnull(max(Seq), 0) FROM " +
                                std::string(kHistoryTable) +
                                ") - Seq AS Due FROM ConfigChangesMark;";

// A KVTable setting as an integer, `fallback` when unset or not a number.
std::string Setting(const char* key, const char* fallback) {
  return std::string("ifnull((SELECT CAST(Value AS INTEGER) FROM KVTable WHERE Key='") + key +
         "' AND Value GLOB '[0-9]*'), " + fallback + ")";
}
const std::string kMaxRecords = Setting(kHistoryMaxRecordsKey, kHistoryMaxRecordsDefault);
const std::string kMaxBytes = Setting(kHistoryMaxBytesKey, kHistoryMaxBytesDefault);

const std::string kRecordBytes =
    "ifnull(sum(ifnull(length(c.AutoConfValue),0) + ifnull(length(c.UserValue),0) + "
    "ifnull(length(c.VitalValue),0) + ifnull(length(c.CachedValue),0) + "
    "ifnull(length(c.DesiredValue),0)), 0)";

// Record `a` is of object `b`.
std::string SameObject(const std::string& a, const std::string& b) {
  return a + ".Component=" + b + ".Component AND " + a + ".ConfigGroup=" + b +
         ".ConfigGroup AND " + a + ".Name=" + b + ".Name AND " + a + ".Identifier=" + b +
         ".Identifier";
}
const std::string kObjects = kHistoryObjectsTable;
const std::string kRecordsAsC = std::string(kHistoryTable) + " c";

// The records since the mark: their bytes onto the total and their number
// onto their objects', then the mark past them. (Counted one by one: that
// costs less than sorting them by object first. Without NOT INDEXED the
// planner would read the whole history in the object index's order.)
const std::string kAddBytes = "UPDATE ConfigChangesMark SET Bytes = Bytes + (SELECT " +
                              kRecordBytes + " FROM " + kRecordsAsC +
                              " WHERE c.Seq > ConfigChangesMark.Seq);";
const std::string kAddRecords =
    "INSERT INTO " + kObjects +
    "(Component, ConfigGroup, Name, Identifier, Records) SELECT Component, ConfigGroup, Name, "
    "Identifier, 1 FROM " +
    kHistoryTable +
    " NOT INDEXED WHERE Seq > (SELECT Seq FROM ConfigChangesMark) ON CONFLICT(Component, "
    "ConfigGroup, Name, Identifier) DO UPDATE SET Records = Records + 1;";
const std::string kMoveMark = "UPDATE ConfigChangesMark SET Seq = ifnull((SELECT max(Seq) FROM " +
                              std::string(kHistoryTable) + "), Seq);";

// Each object beyond the count bound is cut below its newest records and
// the base before them. Mostly one record came since the last run, and the
// cut is the object's oldest record, found at once; otherwise the records
// to keep are counted off from the newest. (Objects are few beside
// records: reading them all costs less than finding those with records
// since the mark.)
const std::string kCutByCount =
    "UPDATE " + kObjects + " SET Cut = CASE WHEN Records = " + kMaxRecords +
    " + 2 THEN (SELECT min(c.Seq) FROM " + kRecordsAsC + " WHERE " + SameObject("c", kObjects) +
    ") ELSE (SELECT c.Seq FROM " + kRecordsAsC + " WHERE " + SameObject("c", kObjects) +
    " ORDER BY c.Seq DESC LIMIT 1 OFFSET " + kMaxRecords + " + 1) END, Records = " + kMaxRecords +
    " + 1 WHERE Records > " + kMaxRecords + " + 1;";
// Whether the records are above the size bound.
const std::string kOverSize =
    "SELECT Bytes > " + kMaxBytes + " AS Over FROM ConfigChangesMark;";

// For the size bound: the newest of the oldest records (at most
// kPruneBatch) whose removal brings the total down to the bound. Each
// object keeps its newest record unless it is a delete, so that every
// later record still finds what came before it: the history holds at
// least the last state of each stored object.
const std::string kCutBySize =
    "UPDATE ConfigChangesMark SET Cut = (SELECT max(Seq) FROM (SELECT Seq, Bytes, sum(Bytes) OVER "
    "(ORDER BY Seq) AS Running FROM (SELECT c.Seq, " +
    kRecordBytes + " AS Bytes FROM " + kRecordsAsC + " WHERE c.Change='delete' OR EXISTS (SELECT 1 FROM " +
    kHistoryTable + " n WHERE " + SameObject("n", "c") +
    " AND n.Seq > c.Seq) GROUP BY c.Seq ORDER BY c.Seq LIMIT " +
    std::to_string(kPruneBatch) + ")) WHERE Running - Bytes < (SELECT Bytes FROM ConfigChangesMark) - " +
    kMaxBytes + " AND Seq < (SELECT max(Seq) FROM " + kHistoryTable + ")) WHERE Bytes > " +
    kMaxBytes + ";";
// That cut, per object, short of the newest record it keeps.
const std::string kObjectNewest = "(SELECT CASE WHEN n.Change='delete' THEN n.Seq ELSE n.Seq - 1 "
                                  "END FROM " +
                                  std::string(kHistoryTable) + " n WHERE " +
                                  SameObject("n", kObjects) + " ORDER BY n.Seq DESC LIMIT 1)";
const std::string kSizeCut = "(SELECT Cut FROM ConfigChangesMark)";
const std::string kObjectSizeCut = "min(" + kSizeCut + ", " + kObjectNewest + ")";
const std::string kSpreadSizeCut =
    "UPDATE " + kObjects + " SET Cut = " + kObjectSizeCut + ", Records = Records - (SELECT count(*) FROM " +
    kRecordsAsC + " WHERE " + SameObject("c", kObjects) + " AND c.Seq <= " + kObjectSizeCut +
    ") WHERE " + kSizeCut + " IS NOT NULL AND EXISTS (SELECT 1 FROM " + kRecordsAsC + " WHERE " +
    SameObject("c", kObjects) + " AND c.Seq <= " + kObjectSizeCut + ");";
const std::string kClearSizeCut = "UPDATE ConfigChangesMark SET Cut = NULL;";

// Removes what the objects' cuts select (their numbers of records are set
// with the cuts): bytes off the total, the records, and the oldest left of
// each object marked as its base. Ends with the cuts cleared. (The objects
// come first in the join: each is a range of the records' index.)
const std::string kCutRecords = kObjects + " o CROSS JOIN " + kRecordsAsC + " ON " +
                                SameObject("c", "o") + " WHERE o.Cut IS NOT NULL AND c.Seq <= o.Cut";
const std::vector<std::string> kRemoveCuts{
    "UPDATE ConfigChangesMark SET Bytes = Bytes - (SELECT " + kRecordBytes + " FROM " +
        kCutRecords + ");",
    "DELETE FROM " + std::string(kHistoryTable) + " WHERE Seq IN (SELECT c.Seq FROM " +
        kCutRecords + ");",
    "UPDATE " + std::string(kHistoryTable) + " SET Base = 1 WHERE Seq IN (SELECT (SELECT min(c.Seq) FROM " +
        kRecordsAsC + " WHERE " + SameObject("c", "o") + ") FROM " + kObjects +
        " o WHERE o.Cut IS NOT NULL);",
    "UPDATE " + kObjects + " SET Cut = NULL WHERE Cut IS NOT NULL;",
};

// The count bound, with the mark moved past the records it counted.
const std::vector<std::string>& CountBoundStatements() {
  static const std::vector<std::string> statements = [] {
    std::vector<std::string> all{kAddBytes, kAddRecords, kCutByCount};
    all.insert(all.end(), kRemoveCuts.begin(), kRemoveCuts.end());
    all.push_back(kMoveMark);
    return all;
  }();
  return statements;
}

// The size bound, when the records are above it.
const std::vector<std::string>& SizeBoundStatements() {
  static const std::vector<std::string> statements = [] {
    std::vector<std::string> all{kCutBySize, kSpreadSizeCut};
    all.insert(all.end(), kRemoveCuts.begin(), kRemoveCuts.end());
    all.push_back(kClearSizeCut);
    return all;
  }();
  return statements;
}

void RunAll(const Connection& connection, const std::vector<std::string>& statements) {
  for (const std::string& statement : statements) {
    if (!ExecuteStatement(connection, statement)) throw ConfigStoreException(kRetentionFailed);
  }
}

// The integer in column `column` of the one row of `statement`.
long long ReadNumber(const Connection& connection, const std::string& statement,
                    const char* column) {
  long long number = 0;
  auto visit = [&](const RowView& row) {
    const char* text = row.Get(column);
    number = text != nullptr ? std::atoll(text) : 0;
  };
  if (VisitRows(connection, statement, visit) != 0) throw ConfigStoreException(kRetentionFailed);
  return number;
}

}  // namespace

void KeepHistoryBounds(const Connection& connection) {
  RunInTransaction(connection, TransactionPolicy::ForOperation(kRetentionOperation), [&] {
    RunAll(connection, CountBoundStatements());
    if (ReadNumber(connection, kOverSize, "Over") != 0) RunAll(connection, SizeBoundStatements());
  });
}

void KeepHistoryBoundsWhenDue(const Connection& connection) {
  try {
    if (ReadNumber(connection, kRecordsDue, "Due") >= kRetentionInterval) {
      KeepHistoryBounds(connection);
    }
  } catch (const std::exception& e) {
    CSLogger::Log(2, kLogRetentionFailed, e.what());
  }
}

}  // namespace OrinConfigStore
