// The change history of the Config table: a table of our own, filled by
// triggers in the very statement that changes a row, so that the history
// and the data commit or roll back together, whoever writes.
//
// A record keeps the identifier, the kind of change, the revision after it,
// every value column as it is after the change, and the old value of each
// column that changed (bit i of Changed for column i of kValueColumns).
// Keeping the whole new state makes each record enough to put an object
// back as it was at that revision, however many earlier records retention
// has dropped.
//
// Why four triggers on Config:
// - "insert or replace" deletes the old row without firing delete triggers
//   (recursive triggers are off), so the old row is read before the insert;
//   NEW in a BEFORE INSERT trigger already holds the defaults, so one record
//   is written there whole. (An INSERT OR IGNORE of an existing row would
//   leave a record of a change that did not happen; the library never
//   issues one.)
// - An update of a value column is recorded after it. The revision is then
//   still the old one: updateRevision raises it afterwards, in a nested
//   update that historyRevision follows into the record just written.
//   SQLite fires a table's triggers newest first, so the history triggers,
//   created after updateRevision, always record before it.
// - A delete records the old values and revision -1 (nothing stored).
//
// Retention runs in the same statements, in bounded steps: a record beyond
// the newest HISTORY_MAX_RECORDS of its object goes at once, and while the
// records' total size is above HISTORY_MAX_BYTES each new record removes at
// most kPruneBatch of the oldest. Triggers are compiled into every statement
// that writes Config, and the library prepares one such statement per
// instance id, so the triggers are kept small and their costly parts behind
// WHEN clauses.

#include "db/history_schema.h"

namespace OrinConfigStore {

namespace {

// The object's key condition, for a row named by `row` (NEW or OLD) and a
// history table alias.
std::string SameObject(const std::string& row, const std::string& table) {
  return table + ".Component=" + row + ".Component AND " + table + ".ConfigGroup=" + row +
         ".ConfigGroup AND " + table + ".Name=" + row + ".Name AND " + table +
         ".Identifier=" + row + ".Identifier";
}

// Each of "<prefix>AutoConfValue, ...", in kValueColumns order.
std::string EachColumn(const std::string& prefix, const std::string& separator = ", ") {
  std::string list;
  for (const char* column : kValueColumns) {
    if (!list.empty()) list += separator;
    list += prefix + column;
  }
  return list;
}

// Stands for a row that does not exist (after a delete): each column NULL.
constexpr const char* kNoRow = "";

// The column of the row `prefix` ("NEW.", "OLD.", "o."), or NULL for kNoRow.
std::string Ref(const std::string& prefix, const char* column) {
  return prefix.empty() ? std::string("NULL") : prefix + column;
}

// The Changed mask of a change from the values `before` to `after`.
std::string ChangedMask(const std::string& before, const std::string& after) {
  std::string mask;
  int bit = 1;
  for (const char* column : kValueColumns) {
    if (!mask.empty()) mask += " | ";
    mask += "(CASE WHEN " + Ref(before, column) + " IS " + Ref(after, column) + " THEN 0 ELSE " +
            std::to_string(bit) + " END)";
    bit <<= 1;
  }
  return mask;
}

// The old value of each column that changed, NULL for the others.
std::string OldValuesWhereChanged(const std::string& before, const std::string& after) {
  std::string list;
  for (const char* column : kValueColumns) {
    if (!list.empty()) list += ", ";
    list += "CASE WHEN " + before + column + " IS " + after + column + " THEN NULL ELSE " + before +
            column + " END";
  }
  return list;
}

const std::string kRecordColumns = "Component, ConfigGroup, Name, Identifier, Change, Revision, " +
                                   std::string("Changed, ") + EachColumn("Old") + ", " +
                                   EachColumn("") + ", Size";

// The bytes a record holds: what retention by size counts.
std::string RecordSize(const std::string& oldPrefix, const std::string& newPrefix) {
  std::string size = "0";
  for (const std::string& prefix : {oldPrefix, newPrefix}) {
    if (prefix.empty()) continue;
    for (const char* column : kValueColumns) size += " + ifnull(length(" + prefix + column + "),0)";
  }
  return size;
}

const std::string kCreateHistory =
    "CREATE TABLE IF NOT EXISTS ConfigHistory(Seq INTEGER PRIMARY KEY AUTOINCREMENT, "
    "Time TEXT NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%fZ','now')), Component TEXT NOT NULL, "
    "ConfigGroup TEXT NOT NULL, Name TEXT NOT NULL, Identifier TEXT NOT NULL, Change TEXT NOT "
    "NULL, Revision INTEGER NOT NULL, Changed INTEGER NOT NULL, " +
    EachColumn("Old", " TEXT, ") + " TEXT, " + EachColumn("", " TEXT, ") +
    " TEXT, Size INTEGER NOT NULL);";
const std::string kCreateHistoryIndex =
    "CREATE INDEX IF NOT EXISTS ConfigHistoryObject ON ConfigHistory(Component, ConfigGroup, "
    "Name, Identifier, Seq);";
const std::string kCreateHistoryBytes =
    "CREATE TABLE IF NOT EXISTS ConfigHistoryBytes(Total INTEGER NOT NULL);";
const std::string kSeedHistoryBytes =
    "INSERT INTO ConfigHistoryBytes(Total) SELECT ifnull((SELECT sum(Size) FROM "
    "ConfigHistory), 0) WHERE NOT EXISTS (SELECT 1 FROM ConfigHistoryBytes);";

// The old row, if any, joined to the new one: a replace or an insert.
const std::string kHistoryInsertTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyInsert BEFORE INSERT ON Config BEGIN "
    "INSERT INTO ConfigHistory(" +
    kRecordColumns +
    ") SELECT NEW.Component, NEW.ConfigGroup, NEW.Name, NEW.Identifier, CASE WHEN o.Name IS NULL "
    "THEN 'insert' ELSE 'replace' END, NEW.Revision, " +
    ChangedMask("o.", "NEW.") + ", " + OldValuesWhereChanged("o.", "NEW.") + ", " +
    EachColumn("NEW.") + ", " + RecordSize("o.", "NEW.") +
    " FROM (SELECT 1) LEFT JOIN Config o ON " + SameObject("NEW", "o") + "; END;";

// 'boot' when the row's desired value was applied or its outcome flag
// changed, 'desired' when only the staged desired value changed.
const std::string kUpdateKind =
    "CASE WHEN OLD.Success IS NOT NEW.Success OR (OLD.DesiredValue IS NOT NULL AND "
    "NEW.DesiredValue IS NULL AND NEW.UserValue IS OLD.DesiredValue) THEN 'boot' "
    "WHEN OLD.AutoConfValue IS NEW.AutoConfValue AND OLD.UserValue IS NEW.UserValue AND "
    "OLD.VitalValue IS NEW.VitalValue AND OLD.CachedValue IS NEW.CachedValue AND "
    "OLD.DesiredValue IS NOT NEW.DesiredValue THEN 'desired' ELSE 'update' END";

const std::string kHistoryUpdateTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyUpdate AFTER UPDATE OF " + EachColumn("", ",") +
    ",Success ON Config BEGIN INSERT INTO ConfigHistory(" + kRecordColumns +
    ") VALUES (NEW.Component, NEW.ConfigGroup, NEW.Name, NEW.Identifier, " + kUpdateKind +
    ", NEW.Revision, " + ChangedMask("OLD.", "NEW.") + ", " +
    OldValuesWhereChanged("OLD.", "NEW.") + ", " + EachColumn("NEW.") + ", " +
    RecordSize("OLD.", "NEW.") + "); END;";

const std::string kHistoryRevisionTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyRevision AFTER UPDATE OF Revision ON Config BEGIN "
    "UPDATE ConfigHistory SET Revision=NEW.Revision WHERE Seq=(SELECT max(Seq) FROM "
    "ConfigHistory) AND Revision=OLD.Revision AND " +
    SameObject("NEW", "ConfigHistory") + "; END;";

const std::string kHistoryDeleteTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyDelete AFTER DELETE ON Config BEGIN "
    "INSERT INTO ConfigHistory(" +
    kRecordColumns +
    ") VALUES (OLD.Component, OLD.ConfigGroup, OLD.Name, OLD.Identifier, 'delete', -1, " +
    ChangedMask("OLD.", kNoRow) + ", " + EachColumn("OLD.") + ", NULL, NULL, NULL, NULL, NULL, " +
    RecordSize("OLD.", kNoRow) + "); END;";

// A KVTable setting as an integer, `fallback` when unset or not a number.
std::string Setting(const char* key, const char* fallback) {
  return std::string("ifnull((SELECT CAST(Value AS INTEGER) FROM KVTable WHERE Key='") + key +
         "' AND Value GLOB '[0-9]*'), " + fallback + ")";
}

// A record beyond the newest HISTORY_MAX_RECORDS of its object goes at once.
// The running total of the records' sizes is kept here too.
const std::string kHistoryKeepCountTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyKeepCount AFTER INSERT ON ConfigHistory BEGIN "
    "UPDATE ConfigHistoryBytes SET Total=Total+NEW.Size; "
    "DELETE FROM ConfigHistory WHERE " +
    SameObject("NEW", "ConfigHistory") + " AND Seq <= (SELECT h.Seq FROM ConfigHistory h WHERE " +
    SameObject("NEW", "h") + " ORDER BY h.Seq DESC LIMIT 1 OFFSET " +
    Setting(kHistoryMaxRecordsKey, kHistoryMaxRecordsDefault) + "); END;";

// Above HISTORY_MAX_BYTES, the oldest records go, at most kPruneBatch per
// new record and no more than bring the total under the bound. The WHEN
// keeps the prune off the common path: below the bound a record costs one
// read of the total. (Fired before historyKeepCount, it would see the total
// one record late, which the next record makes up.)
const std::string kHistoryKeepBytesTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyKeepBytes AFTER INSERT ON ConfigHistory WHEN (SELECT "
    "Total FROM ConfigHistoryBytes) > " +
    Setting(kHistoryMaxBytesKey, kHistoryMaxBytesDefault) +
    " BEGIN DELETE FROM ConfigHistory WHERE Seq IN (SELECT Seq FROM (SELECT Seq, Size, sum(Size) "
    "OVER (ORDER BY Seq) AS Running FROM (SELECT Seq, Size FROM ConfigHistory ORDER BY Seq LIMIT " +
    std::to_string(kPruneBatch) +
    ")) WHERE Running - Size < (SELECT Total FROM ConfigHistoryBytes) - " +
    Setting(kHistoryMaxBytesKey, kHistoryMaxBytesDefault) + " AND Seq < NEW.Seq); END;";

// The one retention trigger of earlier builds, which pruned by size on
// every record.
const std::string kDropOldRetention = "DROP TRIGGER IF EXISTS historyRetention;";

const std::string kHistoryForgetTrigger =
    "CREATE TRIGGER IF NOT EXISTS historyForget AFTER DELETE ON ConfigHistory BEGIN "
    "UPDATE ConfigHistoryBytes SET Total=Total-OLD.Size; END;";

}  // namespace

const std::vector<std::string>& HistoryStatements() {
  static const std::vector<std::string> statements{
      kCreateHistory,           kCreateHistoryIndex,      kCreateHistoryBytes,
      kSeedHistoryBytes,        kHistoryInsertTrigger,    kHistoryUpdateTrigger,
      kHistoryRevisionTrigger,  kHistoryDeleteTrigger,    kDropOldRetention,
      kHistoryKeepBytesTrigger, kHistoryKeepCountTrigger, kHistoryForgetTrigger,
  };
  return statements;
}

}  // namespace OrinConfigStore
