#ifndef SRC_DB_HISTORY_RETENTION_H_
#define SRC_DB_HISTORY_RETENTION_H_

// Retention of the change history, outside the statements that write
// Config (see history_schema.cc for why): the library runs it after its
// writes, in a transaction of its own, once kRetentionInterval records
// have come since it last ran.

#include "row_reader.h"

namespace OrinConfigStore {

// When due, counts the records that came since the last run, removes the
// oldest records of each object beyond the newest HISTORY_MAX_RECORDS and
// one base, then, while the records' values exceed HISTORY_MAX_BYTES, at
// most kPruneBatch of the oldest records (never the newest of all). An
// object that lost records is remembered, so that its oldest remaining
// record serves as the base the next one reads its old values from.
//
// The write before it has committed already, so a failure (a busy
// database, say) is logged and left to the next run: it never turns a
// write that succeeded into an error.
void KeepHistoryBoundsWhenDue(const Connection& connection);

// Runs retention now, whatever came since the last run; ConfigStoreException
// 2000 "Failed to apply the change history's retention." when the database
// refuses.
void KeepHistoryBounds(const Connection& connection);

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_RETENTION_H_
