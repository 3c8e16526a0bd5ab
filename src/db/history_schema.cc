// The change history of the Config table: a table of our own, written by
// the library's writers of Config in the transaction of each change, so
// that the history and the data commit or roll back together.
//
// The library records instead of triggers on Config because it prepares
// one statement per instance id, and SQLite compiles every trigger that a
// statement can fire into the statement as it prepares it: even a trigger
// that only appends a row costs a third of the prepare, on nearly every
// write. The library's records are statements of their own with bound
// values, prepared once per connection; a write of many instances records
// them in one statement. (A program that writes the file past the library
// is not recorded.)
//
// - A record keeps every value column as it is after the change, so each
//   record is enough to put an object back as it was at that revision. It
//   also numbers its object's records (Ordinal, one past the object's
//   newest): a change's old values are those of the record whose ordinal
//   is one less, which reads join to each record (history_reads.cc), and
//   retention finds what a new record pushes beyond the count bound from
//   its ordinal alone.
// - Inserts and replaces record "set"; reads tell an insert from a replace
//   by the record before it. A delete records revision -1 and no values.
// - The time is a Julian day number, cheaper to take per record than
//   formatted text; reads format it.
// - Retention runs at the end of the writes (history_retention.cc). The
//   oldest record it leaves of an object becomes a base: it is not
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
    "Component, ConfigGroup, Name, Identifier, Ordinal, Change, Revision, " + EachColumn("");

const std::string kCreateHistory =
    "CREATE TABLE IF NOT EXISTS " + std::string(kHistoryTable) +
    "(Seq INTEGER PRIMARY KEY AUTOINCREMENT, Time REAL NOT NULL DEFAULT (julianday('now')), "
    "Component TEXT NOT NULL, ConfigGroup TEXT NOT NULL, Name TEXT NOT NULL, Identifier TEXT NOT "
    "NULL, Ordinal INTEGER NOT NULL, Change TEXT NOT NULL, Revision INTEGER NOT NULL, " +
    EachColumn("", " TEXT, ") + " TEXT, Base INTEGER);";
const std::string kCreateHistoryIndex = "CREATE INDEX IF NOT EXISTS ConfigChangesObject ON " +
                                        std::string(kHistoryTable) +
                                        "(Component, ConfigGroup, Name, Identifier, Ordinal);";
// Where retention stands: the last record it counted, the bytes of the
// values of all records, and the newest record the size bound removes.
const std::string kCreateMark =
    "CREATE TABLE IF NOT EXISTS ConfigChangesMark(Seq INTEGER NOT NULL, Bytes INTEGER NOT NULL, "
    "Cut INTEGER);";
// Retention counts from the oldest record on (a base carried over from an
// earlier layout has a negative sequence number).
const std::string kSeedMark =
    "INSERT INTO ConfigChangesMark(Seq, Bytes) SELECT min(0, ifnull((SELECT "
    "min(Seq) FROM " +
    std::string(kHistoryTable) +
    ") - 1, 0)), 0 WHERE NOT EXISTS (SELECT 1 FROM ConfigChangesMark);";
// The rows there are when the history is created, as bases. (It runs only
// while the history is empty, so the bases go in once.)
const std::string kSeedBases = "INSERT INTO " + std::string(kHistoryTable) + "(" + kRecordColumns +
                               ", Base) SELECT Component, ConfigGroup, Name, Identifier, 1, 'set', "
                               "Revision, " +
                               EachColumn("") + ", 1 FROM Config WHERE NOT EXISTS (SELECT 1 FROM " +
                               kHistoryTable + ");";
// The history of earlier builds (old and new values in each record, a
// size per record, triggers): its records are carried over with their
// sequence numbers, and the object's state before the oldest record left
// of each object that existed before it becomes a base (of unknown
// revision, at the negated sequence number and ordinal 0). Carried over twice, a record
// is ignored, so an interrupted carry-over finishes on the next start.
const std::string kEarlierRecords =
    "INSERT OR IGNORE INTO " + std::string(kHistoryTable) + "(Seq, Time, " + kRecordColumns +
    ") SELECT Seq, julianday(Time), Component, ConfigGroup, Name, Identifier, row_number() OVER "
    "(PARTITION BY Component, ConfigGroup, Name, Identifier ORDER BY Seq), CASE WHEN Change IN "
    "('insert', 'replace') THEN 'set' ELSE Change END, Revision, " +
    EachColumn("") + " FROM ConfigHistory;";
std::string EarlierBaseValues() {
  std::string values;
  int bit = 1;
  for (const char* column : kValueColumns) {
    values += std::string(", CASE WHEN h.Changed & ") + std::to_string(bit) + " THEN h.Old" +
              column + " ELSE h." + column + " END";
    bit <<= 1;
  }
  return values;
}
const std::string kEarlierBases =
    "INSERT OR IGNORE INTO " + std::string(kHistoryTable) + "(Seq, Time, " + kRecordColumns +
    ", Base) SELECT -h.Seq, julianday(h.Time), h.Component, h.ConfigGroup, h.Name, h.Identifier, "
    "0, 'set', -1" +
    EarlierBaseValues() +
    ", 1 FROM ConfigHistory h WHERE h.Change <> 'insert' AND h.Seq = (SELECT min(x.Seq) FROM "
    "ConfigHistory x WHERE x.Component=h.Component AND x.ConfigGroup=h.ConfigGroup AND "
    "x.Name=h.Name AND x.Identifier=h.Identifier);";
const std::vector<std::string> kEarlierLayout{
    "DROP TRIGGER IF EXISTS historyInsert;",
    "DROP TRIGGER IF EXISTS historyUpdate;",
    "DROP TRIGGER IF EXISTS historyRevision;",
    "DROP TRIGGER IF EXISTS historyDelete;",
    "DROP TRIGGER IF EXISTS historyRetention;",
    "DROP TRIGGER IF EXISTS historyKeepCount;",
    "DROP TRIGGER IF EXISTS historyKeepBytes;",
    "DROP TRIGGER IF EXISTS historyForget;",
    kEarlierRecords,
    kEarlierBases,
    "DROP TABLE IF EXISTS ConfigHistoryBytes;",
    "DROP TABLE IF EXISTS ConfigHistory;",
};

}  // namespace

const std::vector<std::string>& HistoryStatements() {
  static const std::vector<std::string> statements{kCreateHistory, kCreateHistoryIndex,
                                                   kCreateMark};
  return statements;
}

const std::vector<std::string>& HistorySeedStatements() {
  static const std::vector<std::string> statements{kSeedMark, kSeedBases};
  return statements;
}

const std::vector<std::string>& EarlierHistoryStatements() { return kEarlierLayout; }

}  // namespace OrinConfigStore
