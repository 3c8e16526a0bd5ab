#ifndef SRC_DB_HISTORY_READS_H_
#define SRC_DB_HISTORY_READS_H_

// Reading the change history (see history_schema.cc for how it is kept).

#include <optional>
#include <vector>

#include "configstore/history.h"
#include "row_reader.h"

namespace OrinConfigStore {

// The object's records newest first (every instance's when the identifier
// has no instance id), at most `limit` (0: all).
std::vector<HistoryRecord> ReadObjectHistory(const Connection& connection,
                                             const ConfigStoreObjectId& id, int limit);

// The newest record of the object (instance id included) whose change left
// it at `revision`; nullopt when retention dropped it or there never was one.
std::optional<HistoryRecord> ReadRevisionRecord(const Connection& connection,
                                                const ConfigStoreObjectId& id, int revision);

// The records after `sequence`, oldest first, at most `limit` (0: all).
std::vector<HistoryRecord> ReadHistorySince(const Connection& connection, long long sequence,
                                            int limit);

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_READS_H_
