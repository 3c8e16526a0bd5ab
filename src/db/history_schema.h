#ifndef SRC_DB_HISTORY_SCHEMA_H_
#define SRC_DB_HISTORY_SCHEMA_H_

// The change history's table and triggers (see history_schema.cc).

#include <string>
#include <vector>

namespace OrinConfigStore {

// The table of the records.
constexpr const char* kHistoryTable = "ConfigChanges";

// The value columns a record keeps, in source order.
constexpr const char* kValueColumns[] = {"AutoConfValue", "UserValue", "VitalValue", "CachedValue",
                                         "DesiredValue"};

// Retention settings in the key-value table, and their defaults.
constexpr const char* kHistoryMaxRecordsKey = "HISTORY_MAX_RECORDS";
constexpr const char* kHistoryMaxRecordsDefault = "100";
constexpr const char* kHistoryMaxBytesKey = "HISTORY_MAX_BYTES";
constexpr const char* kHistoryMaxBytesDefault = "16777216";
// The most records one change removes for the size bound: a write never
// waits on a long prune, and the total still comes down, since each change
// adds one record.
constexpr int kPruneBatch = 16;

// Creates the history table, its index and its triggers; idempotent, run
// after the Config table and its triggers exist.
const std::vector<std::string>& HistoryStatements();

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_SCHEMA_H_
