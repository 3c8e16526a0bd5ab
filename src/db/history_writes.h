#ifndef SRC_DB_HISTORY_WRITES_H_
#define SRC_DB_HISTORY_WRITES_H_

// Writing the change history: each writer of Config records the rows it
// changed, as they are after the change, in the transaction of the change
// (see history_schema.cc for why the library records instead of triggers).

#include <functional>
#include <string>
#include <vector>

#include "row_reader.h"

namespace OrinConfigStore {

// Runs `write` in a transaction of its own, or a savepoint inside the
// caller's, so that a change and its records commit or roll back together;
// the history's retention, when due, runs at its end, within it, so that it
// costs no commit of its own. A transaction that cannot begin or commit is
// ConfigStoreException 2000 `failure`; what `write` throws passes through,
// its level rolled back.
void RecordedWrite(const Connection& connection, const std::string& failure,
                   const std::function<void()>& write);

// Runs one statement that changes the row of `id` (with `values` bound)
// and records the row with `change`, as one RecordedWrite; a statement the
// database refuses is ConfigStoreException 2000 `failure`.
void WriteRecordedRow(const Connection& connection, const ConfigStoreObjectId& id,
                      const std::string& statement, const std::vector<std::string>& values,
                      const char* change, const std::string& failure);

// The records are part of the write: when one cannot be written, the write
// fails with its own `failure` (ConfigStoreException 2000).

// Records the row of `id` as it is now, with `change` (a kChange* kind).
void RecordRow(const Connection& connection, const ConfigStoreObjectId& id, const char* change,
               const std::string& failure);
// Records every instance of the key of `id` as it is now, with `change`.
void RecordKeyRows(const Connection& connection, const ConfigStoreObjectId& id, const char* change,
                   const std::string& failure);
// Records the deletion of the row of `id`; runs before the delete.
void RecordDeletion(const Connection& connection, const ConfigStoreObjectId& id,
                    const std::string& failure);
// Records the deletion of every instance of the key of `id` but those
// whose instance ids are in `kept` (written again in the same transaction,
// and recorded then); runs before the delete.
void RecordKeyDeletions(const Connection& connection, const ConfigStoreObjectId& id,
                        const std::vector<std::string>& kept, const std::string& failure);

}  // namespace OrinConfigStore

#endif  // SRC_DB_HISTORY_WRITES_H_
