// The change history of the Config table: a table of our own, filled by
// triggers in the very statement that changes a row, so that the history
// and the data commit or roll back together, whoever writes.
//
// The library prepares one statement per instance id, and SQLite compiles
// every trigger that a statement can fire into the statement as it
// prepares it: whatever the triggers do is paid on nearly every write,
// before it runs. So the triggers only append the row's values after the
// change; everything that needs a lookup is left out of them:
// - A record keeps every value column as it is after the change, so each
//   record is enough to put an object back as it was at that revision. A
//   change's old values are those of the object's record before it, which
//   reads join to each record (history_reads.cc).
// - "insert or replace" deletes the old row without firing delete triggers
//   (recursive triggers are off); its record, written before the insert
//   with NEW already holding the defaults, says "set", and reads tell an
//   insert from a replace by the record before it.
// - An update of a value column is recorded after it. The revision is then
//   still the old one: updateRevision raises it afterwards, in a nested
//   update that changeRevision follows into the record just written.
//   SQLite fires a table's triggers newest first, so the history triggers,
//   created after updateRevision, always record before it.
// - A delete records revision -1 and no values.
// - The time is a Julian day number, cheaper to take per record than
//   formatted text; reads format it.
// - Retention runs outside the statements (history_retention.cc). A record
//   whose earlier records retention removed becomes a base: it is not
//   reported any more, and the record after it reads its old values there.
//   Rows that exist when the history is created get a base record each.

#include "db/history_schema.h"

namespace OrinConfigStore {

namespace {

// Each of "<prefix>AutoConfValue, ...", in kValueColumns order.
std::string EachColumn(const std::string& prefix, const std::string& separator = ", ") {
  std::string list;
  for (const char* column : kValueColumns) {
    if (!list.empty()) list += separator;
    list += prefix + column;
  }
  return list;
}

const std::string kRecordColumns =
    "Component, ConfigGroup, Name, Identifier, Change, Revision, " + EachColumn("");

// A record of the row `row` ("NEW" or "OLD") with the change `change` (SQL).
std::string RecordOf(const std::string& row, const std::string& change,
                     const std::string& revision, bool withValues) {
  std::string values;
  for (const char* column : kValueColumns) {
    values += std::string(", ") + (withValues ? row + "." + column : std::string("NULL"));
  }
  return "INSERT INTO " + std::string(kHistoryTable) + "(" + kRecordColumns + ") VALUES (" + row +
         ".Component, " + row + ".ConfigGroup, " + row + ".Name, " + row + ".Identifier, " +
         change + ", " + revision + values + ");";
}

const std::string kCreateHistory =
    "CREATE TABLE IF NOT EXISTS " + std::string(kHistoryTable) +
    "(Seq INTEGER PRIMARY KEY AUTOINCREMENT, Time REAL NOT NULL DEFAULT (julianday('now')), "
    "Component TEXT NOT NULL, ConfigGroup TEXT NOT NULL, "
    "Name TEXT NOT NULL, Identifier TEXT NOT NULL, Change TEXT NOT NULL, Revision INTEGER NOT "
    "NULL, " +
    EachColumn("", " TEXT, ") + " TEXT, Base INTEGER);";
const std::string kCreateHistoryIndex = "CREATE INDEX IF NOT EXISTS ConfigChangesObject ON " +
                                        std::string(kHistoryTable) +
                                        "(Component, ConfigGroup, Name, Identifier, Seq);";
// Where retention stands: the last record it counted, the bytes of the
// values of all records, and the newest record the size bound removes.
const std::string kCreateMark =
    "CREATE TABLE IF NOT EXISTS ConfigChangesMark(Seq INTEGER NOT NULL, Bytes INTEGER NOT NULL, "
    "Cut INTEGER);";
const std::string kSeedMark =
    "INSERT INTO ConfigChangesMark(Seq, Bytes) SELECT 0, 0 WHERE NOT EXISTS (SELECT 1 FROM "
    "ConfigChangesMark);";
// Per object: its records up to the mark, and the newest record that
// retention removes while it runs.
const std::string kCreateObjects =
    "CREATE TABLE IF NOT EXISTS " + std::string(kHistoryObjectsTable) +
    "(Component TEXT NOT NULL, ConfigGroup TEXT NOT NULL, Name TEXT NOT NULL, Identifier TEXT NOT "
    "NULL, Records INTEGER NOT NULL, Cut INTEGER, PRIMARY "
    "KEY(Component, ConfigGroup, Name, Identifier)) WITHOUT ROWID;";
// The rows there are when the history is created, as bases. (It runs only
// while the history is empty, so the bases go in once.)
const std::string kSeedBases = "INSERT INTO " + std::string(kHistoryTable) + "(" +
                               kRecordColumns +
                               ", Base) SELECT Component, ConfigGroup, Name, Identifier, 'set', "
                               "Revision, " +
                               EachColumn("") + ", 1 FROM Config WHERE NOT EXISTS (SELECT 1 FROM " +
                               kHistoryTable + ");";
// 'boot' when the row's desired value was applied or its outcome flag
// changed, 'desired' when only the staged desired value changed.
const std::string kUpdateKind =
    "CASE WHEN OLD.Success IS NOT NEW.Success OR (OLD.DesiredValue IS NOT NULL AND "
    "NEW.DesiredValue IS NULL AND NEW.UserValue IS OLD.DesiredValue) THEN 'boot' "
    "WHEN OLD.AutoConfValue IS NEW.AutoConfValue AND OLD.UserValue IS NEW.UserValue AND "
    "OLD.VitalValue IS NEW.VitalValue AND OLD.CachedValue IS NEW.CachedValue AND "
    "OLD.DesiredValue IS NOT NEW.DesiredValue THEN 'desired' ELSE 'update' END";

const std::string kHistoryInsertTrigger =
    "CREATE TRIGGER IF NOT EXISTS changeInsert BEFORE INSERT ON Config BEGIN " +
    RecordOf("NEW", "'set'", "NEW.Revision", true) + " END;";
const std::string kHistoryUpdateTrigger = "CREATE TRIGGER IF NOT EXISTS changeUpdate AFTER UPDATE OF " +
                                          EachColumn("", ",") + ",Success ON Config BEGIN " +
                                          RecordOf("NEW", kUpdateKind, "NEW.Revision", true) +
                                          " END;";
const std::string kHistoryRevisionTrigger =
    "CREATE TRIGGER IF NOT EXISTS changeRevision AFTER UPDATE OF Revision ON Config BEGIN "
    "UPDATE " +
    std::string(kHistoryTable) + " SET Revision=NEW.Revision WHERE Seq=(SELECT max(Seq) FROM " +
    kHistoryTable +
    ") AND Revision=OLD.Revision AND Component=NEW.Component AND ConfigGroup=NEW.ConfigGroup AND "
    "Name=NEW.Name AND Identifier=NEW.Identifier; END;";
const std::string kHistoryDeleteTrigger =
    "CREATE TRIGGER IF NOT EXISTS changeDelete AFTER DELETE ON Config BEGIN " +
    RecordOf("OLD", "'delete'", "-1", false) + " END;";

// What earlier builds of the history left (a table of another layout and
// its triggers); dropping what is not there changes nothing.
const std::vector<std::string> kEarlierLayout{
    "DROP TRIGGER IF EXISTS historyInsert;",     "DROP TRIGGER IF EXISTS historyUpdate;",
    "DROP TRIGGER IF EXISTS historyRevision;",   "DROP TRIGGER IF EXISTS historyDelete;",
    "DROP TRIGGER IF EXISTS historyRetention;",  "DROP TRIGGER IF EXISTS historyKeepCount;",
    "DROP TRIGGER IF EXISTS historyKeepBytes;",  "DROP TRIGGER IF EXISTS historyForget;",
    "DROP TABLE IF EXISTS ConfigHistoryBytes;", "DROP TABLE IF EXISTS ConfigHistory;",
};

}  // namespace

const std::vector<std::string>& HistoryStatements() {
  static const std::vector<std::string> statements = [] {
    std::vector<std::string> all = kEarlierLayout;
    for (const std::string& create :
         {kCreateHistory, kCreateHistoryIndex, kCreateMark, kSeedMark, kCreateObjects,
          kSeedBases, kHistoryInsertTrigger,
          kHistoryUpdateTrigger, kHistoryRevisionTrigger, kHistoryDeleteTrigger}) {
      all.push_back(create);
    }
    return all;
  }();
  return statements;
}

}  // namespace OrinConfigStore
