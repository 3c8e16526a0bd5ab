#ifndef SRC_DB_HISTORY_SCHEMA_H_
#define SRC_DB_HISTORY_SCHEMA_H_

// The change history's table and triggers (see history_schema.cc).

#include <string>
#include <vector>

namespace OrinConfigStore {

// The table of the records.
constexpr const char* kHistoryTable = "ConfigChanges";
// The table of an earlier layout of the history, carried over.
constexpr const char* kEarlierHistoryTable = "ConfigHistory";

// The value columns a record keeps, in source order.
constexpr const char* kValueColumns[] = {"AutoConfValue", "UserValue", "VitalValue", "CachedValue",
                                         "DesiredValue"};

// Retention settings in the key-value table, and their defaults.
constexpr const char* kHistoryMaxRecordsKey = "HISTORY_MAX_RECORDS";
constexpr const char* kHistoryMaxRecordsDefault = "100";
constexpr const char* kHistoryMaxBytesKey = "HISTORY_MAX_BYTES";
constexpr const char* kHistoryMaxBytesDefault = "16777216";
// Retention runs after a write once this many records have come since it
// last ran, so that its cost spreads over many writes.
constexpr int kRetentionInterval = 64;
// The most records one run removes for the size bound: no write waits on a
// long prune, and the total still comes down, as a run removes far more
// than the records that came since the last.
constexpr int kPruneBatch = 4096;

// The kinds of change a record names.
constexpr const char* kChangeSet = "set";  // an insert or a replace
constexpr const char* kChangeUpdate = "update";
constexpr const char* kChangeDesired = "desired";  // the staged desired value
constexpr const char* kChangeBoot = "boot";        // the desired value applied
constexpr const char* kChangeDelete = "delete";
constexpr const char* kChangeMigrate = "migrate";  // a new type version's migration

// Creates the history's tables and its index; idempotent.
const std::vector<std::string>& HistoryStatements();
// Carries the history of an earlier layout (table ConfigHistory, with its
// triggers) over into the history's table and drops it; run after
// HistoryStatements when ConfigHistory exists.
const std::vector<std::string>& EarlierHistoryStatements();
// Seeds retention's mark and, into an empty history, a base record of each
// row there is; run last.
const std::vector<std::string>& HistorySeedStatements();

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_SCHEMA_H_
