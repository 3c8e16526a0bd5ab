#ifndef SRC_DB_HISTORY_RETENTION_H_
#define SRC_DB_HISTORY_RETENTION_H_

// Retention of the change history, outside the statements that write
// Config (see history_schema.cc for why): the library applies it after its
// writes, in the writer's transaction, with statements prepared once per
// connection.

#include "row_reader.h"

namespace OrinConfigStore {

// Removes the records beyond the newest HISTORY_MAX_RECORDS of each object
// written since the last call, then, while the records' values exceed
// HISTORY_MAX_BYTES, at most kPruneBatch of the oldest records (never the
// newest of all). An object that lost records is remembered, so that its
// oldest remaining record serves as the base the next one reads its old
// values from. ConfigStoreException 2000 "Failed to apply the change
// history's retention." when the database refuses.
void KeepHistoryBounds(const Connection& connection);

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_RETENTION_H_
