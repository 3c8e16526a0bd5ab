#include "history_retention.h"

#include <string>
#include <vector>

#include "history_schema.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRetentionFailed = "Failed to apply the change history's retention.";

// A KVTable setting as an integer, `fallback` when unset or not a number.
std::string Setting(const char* key, const char* fallback) {
  return std::string("ifnull((SELECT CAST(Value AS INTEGER) FROM KVTable WHERE Key='") + key +
         "' AND Value GLOB '[0-9]*'), " + fallback + ")";
}

const std::string kRecordBytes =
    "ifnull(length(AutoConfValue),0) + ifnull(length(UserValue),0) + "
    "ifnull(length(VitalValue),0) + ifnull(length(CachedValue),0) + "
    "ifnull(length(DesiredValue),0)";

// The records retention removes now, by count: beyond the newest
// HISTORY_MAX_RECORDS of each object with a record after the mark, and the
// one before them, which stays as their base.
const std::string kBeyondCount =
    "SELECT Seq FROM (SELECT c.Seq, row_number() OVER (PARTITION BY c.Component, c.ConfigGroup, "
    "c.Name, c.Identifier ORDER BY c.Seq DESC) AS n FROM ConfigChanges c WHERE EXISTS (SELECT 1 "
    "FROM ConfigChanges t WHERE t.Seq > (SELECT Seq FROM ConfigChangesMark) AND "
    "t.Component=c.Component AND t.ConfigGroup=c.ConfigGroup AND t.Name=c.Name AND "
    "t.Identifier=c.Identifier)) WHERE n > " +
    Setting(kHistoryMaxRecordsKey, kHistoryMaxRecordsDefault) + " + 1";

// The oldest records, at most kPruneBatch, as long as the total is above
// HISTORY_MAX_BYTES, never the newest of all.
const std::string kBeyondBytes =
    "SELECT Seq FROM (SELECT Seq, Bytes, sum(Bytes) OVER (ORDER BY Seq) AS Running FROM (SELECT "
    "Seq, " +
    kRecordBytes + " AS Bytes FROM ConfigChanges ORDER BY Seq LIMIT " +
    std::to_string(kPruneBatch) +
    ")) WHERE Running - Bytes < (SELECT Bytes FROM ConfigChangesMark) - " +
    Setting(kHistoryMaxBytesKey, kHistoryMaxBytesDefault) +
    " AND Seq < (SELECT max(Seq) FROM ConfigChanges)";

// Removes a selection: its bytes off the total, its objects remembered.
void AddRemoval(const std::string& selection, std::vector<std::string>& statements) {
  statements.push_back("UPDATE ConfigChangesMark SET Bytes = Bytes - (SELECT total(" +
                       kRecordBytes + ") FROM ConfigChanges WHERE Seq IN (" + selection + "));");
  statements.push_back(
      "INSERT OR IGNORE INTO ConfigChangesPruned SELECT DISTINCT Component, ConfigGroup, Name, "
      "Identifier FROM ConfigChanges WHERE Seq IN (" +
      selection + ");");
  statements.push_back("DELETE FROM ConfigChanges WHERE Seq IN (" + selection + ");");
}

// The new records' bytes onto the total, then the count bound, then the
// mark moved past them, then the size bound. One statement each, so that
// each is prepared once per connection.
const std::vector<std::string>& KeepBoundsStatements() {
  static const std::vector<std::string> statements = [] {
    std::vector<std::string> all{"UPDATE ConfigChangesMark SET Bytes = Bytes + (SELECT total(" +
                                 kRecordBytes +
                                 ") FROM ConfigChanges WHERE Seq > (SELECT Seq FROM "
                                 "ConfigChangesMark));"};
    AddRemoval(kBeyondCount, all);
    all.push_back(
        "UPDATE ConfigChangesMark SET Seq = ifnull((SELECT max(Seq) FROM ConfigChanges), Seq);");
    AddRemoval(kBeyondBytes, all);
    return all;
  }();
  return statements;
}

}  // namespace

void KeepHistoryBounds(const Connection& connection) {
  for (const std::string& statement : KeepBoundsStatements()) {
    if (!ExecuteStatement(connection, statement, {})) {
      throw ConfigStoreException(kRetentionFailed);
    }
  }
}

}  // namespace OrinConfigStore
