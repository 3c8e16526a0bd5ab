// The change history's public reads; each takes a connection of its own.

#include "config_store_impl.h"
#include "configstore/history.h"
#include "db/history_reads.h"

namespace OrinConfigStore {

std::vector<HistoryRecord> GetHistory(const ConfigStoreObjectId& id, int limit) {
  return ReadObjectHistory(GetDBStore(DBStore::CONFIG, true), id, limit);
}

std::vector<HistoryRecord> GetHistorySince(long long sequence, int limit) {
  return ReadHistorySince(GetDBStore(DBStore::CONFIG, true), sequence, limit);
}

}  // namespace OrinConfigStore
