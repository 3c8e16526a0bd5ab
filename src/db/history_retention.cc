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
  return a + ".Component=" + b + ".Component AND " + a + ".ConfigGroup=" + b + ".ConfigGroup AND " +
         a + ".Name=" + b + ".Name AND " + a + ".Identifier=" + b + ".Identifier";
}
const std::string kTable = kHistoryTable;
const std::string kRecordsAsC = kTable + " c";

// Removes the records `selection` (a SELECT of their Seq) picks: their
// bytes off the total, the record after each (when it stays) marked as its
// object's base, then the records. The selection is read before each step.
std::vector<std::string> Removal(const std::string& selection) {
  return {
      "UPDATE ConfigChangesMark SET Bytes = Bytes - (SELECT " + kRecordBytes + " FROM " +
          kRecordsAsC + " WHERE c.Seq IN (" + selection + "));",
      "UPDATE " + kTable +
          " SET Base = 1 WHERE (Component, ConfigGroup, Name, Identifier, "
          "Ordinal) IN (SELECT Component, ConfigGroup, Name, Identifier, Ordinal + 1 FROM " +
          kTable + " WHERE Seq IN (" + selection + "));",
      "DELETE FROM " + kTable + " WHERE Seq IN (" + selection + ");",
  };
}

// The records since the mark, their bytes onto the total.
const std::string kAddBytes = "UPDATE ConfigChangesMark SET Bytes = Bytes + (SELECT " +
                              kRecordBytes + " FROM " + kRecordsAsC +
                              " WHERE c.Seq > ConfigChangesMark.Seq);";
// A record since the mark with ordinal k leaves room for the records of
// its object from k - HISTORY_MAX_RECORDS on, the oldest of them a base:
// the ones before go. (The new records come first in the join, read by
// sequence; each finds its object's old records by the object index.)
const std::string kBeyondCount =
    "SELECT c.Seq FROM " + kTable + " n CROSS JOIN " + kRecordsAsC + " ON " + SameObject("c", "n") +
    " AND c.Ordinal < n.Ordinal - " + kMaxRecords +
    " WHERE n.Seq > (SELECT Seq FROM ConfigChangesMark) AND n.Ordinal > " + kMaxRecords + " + 1";
const std::string kMoveMark =
    "UPDATE ConfigChangesMark SET Seq = ifnull((SELECT max(Seq) FROM " + kTable + "), Seq);";

// Whether the records are above the size bound.
const std::string kOverSize = "SELECT Bytes > " + kMaxBytes + " AS Over FROM ConfigChangesMark;";
// A record the size bound may remove: one with a record after it, or a
// delete, so that every later record still finds what came before it; the
// history keeps at least the last state of each stored object. Never the
// newest of all, so that the sequence goes on from it.
const std::string kRemovable =
    "(c.Change='delete' OR EXISTS (SELECT 1 FROM " + kTable + " s WHERE " + SameObject("s", "c") +
    " AND s.Ordinal = c.Ordinal + 1)) AND c.Seq < (SELECT max(Seq) FROM " + kTable + ")";
// The newest of the oldest removable records (at most kPruneBatch) whose
// removal brings the total down to the bound.
const std::string kCutBySize =
    "UPDATE ConfigChangesMark SET Cut = (SELECT max(Seq) FROM (SELECT Seq, Bytes, sum(Bytes) OVER "
    "(ORDER BY Seq) AS Running FROM (SELECT c.Seq, " +
    kRecordBytes + " AS Bytes FROM " + kRecordsAsC + " WHERE " + kRemovable +
    " GROUP BY c.Seq ORDER BY c.Seq LIMIT " + std::to_string(kPruneBatch) +
    ")) WHERE Running - Bytes < (SELECT Bytes FROM ConfigChangesMark) - " + kMaxBytes + ");";
const std::string kBeyondSize = "SELECT c.Seq FROM " + kRecordsAsC +
                                " WHERE c.Seq <= (SELECT Cut FROM ConfigChangesMark) AND " +
                                kRemovable;
const std::string kClearSizeCut = "UPDATE ConfigChangesMark SET Cut = NULL;";

// The count bound, with the mark moved past the records it counted.
const std::vector<std::string>& CountBoundStatements() {
  static const std::vector<std::string> statements = [] {
    std::vector<std::string> all{kAddBytes};
    for (std::string& step : Removal(kBeyondCount)) all.push_back(std::move(step));
    all.push_back(kMoveMark);
    return all;
  }();
  return statements;
}

// The size bound, when the records are above it.
const std::vector<std::string>& SizeBoundStatements() {
  static const std::vector<std::string> statements = [] {
    std::vector<std::string> all{kCutBySize};
    for (std::string& step : Removal(kBeyondSize)) all.push_back(std::move(step));
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
