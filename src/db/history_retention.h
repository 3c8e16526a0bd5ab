#ifndef SRC_DB_HISTORY_RETENTION_H_
#define SRC_DB_HISTORY_RETENTION_H_

// Retention of the change history, outside the statements that write
// Config (see history_schema.cc for why): the library's writes run it at
// their end, in their transaction, once kRetentionInterval records have
// come since it last ran.

#include "row_reader.h"

namespace OrinConfigStore {

// When due, counts the records that came since the last run, removes the
// oldest records of each object beyond the newest HISTORY_MAX_RECORDS and
// one base, then, while the records' values exceed HISTORY_MAX_BYTES, at
// most kPruneBatch of the oldest records (never the newest of all). An
// object that lost records is remembered, so that its oldest remaining
// record serves as the base the next one reads its old values from.
//
// It runs in a savepoint of its own: a failure rolls back only what it did,
// is logged and left to the next run, and never fails the write.
void KeepHistoryBoundsWhenDue(const Connection& connection);

// Runs retention now, whatever came since the last run; ConfigStoreException
// 2000 "Failed to apply the change history's retention." when the database
// refuses.
void KeepHistoryBounds(const Connection& connection);

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_RETENTION_H_
