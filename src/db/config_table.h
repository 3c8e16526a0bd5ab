#ifndef SRC_DB_CONFIG_TABLE_H_
#define SRC_DB_CONFIG_TABLE_H_

// The columns of the configuration tables as the library reads them from
// result rows and names them in its writes, and the busy timeout every
// statement runs with.

#include "platform/db_store.h"

namespace OrinConfigStore {

using DBStore::kStatementTimeoutMs;

// One value column per source of the Config table.
constexpr const char* kAutoConfValue = "AutoConfValue";
constexpr const char* kUserValue = "UserValue";
constexpr const char* kVitalValue = "VitalValue";
constexpr const char* kCachedValue = "CachedValue";
constexpr const char* kDesiredValue = "DesiredValue";
// The value column of DefaultConfig and DesiredUserConfig, and the alias of
// the selected source in reads that pick one.
constexpr const char* kValue = "Value";

// The row's identity and stamp.
constexpr const char* kIdentifier = "Identifier";
constexpr const char* kVersion = "Version";
constexpr const char* kCreationTime = "CreationTime";
constexpr const char* kModifiedTime = "ModifiedTime";
constexpr const char* kRevision = "Revision";
// 1 when the user value in force was applied.
constexpr const char* kSuccess = "Success";

}  // namespace OrinConfigStore

#endif  // SRC_DB_CONFIG_TABLE_H_
