// Nested transactions per connection: BEGIN IMMEDIATE outermost, savepoints
// inside it.

#include "db_store_internal.h"
#include "errors/format.h"

namespace DBStore {

namespace {

constexpr const char* kBeginTransaction = "BeginTransaction";
constexpr const char* kCommitTransaction = "CommitTransaction";
constexpr const char* kCancelTransaction = "CancelTransaction";
constexpr const char* kNoTransaction = "no transaction is open";
constexpr const char* kTransactionLost = "the transaction was rolled back after an error";

// IMMEDIATE takes the write lock at once: a read-modify-write inside the
// transaction then never works from a snapshot another writer has passed.
constexpr const char* kBegin = "BEGIN IMMEDIATE;";
constexpr const char* kCommit = "COMMIT;";
// Savepoints are named after the level they open (2 for the first nested one).
constexpr const char* kSavepoint = "SAVEPOINT DBStoreLevel%d;";
constexpr const char* kRelease = "RELEASE DBStoreLevel%d;";
// ROLLBACK TO leaves the savepoint open; the level ends with its release.
constexpr const char* kRollbackTo = "ROLLBACK TO DBStoreLevel%d; RELEASE DBStoreLevel%d;";

// What CancelTransaction answers.
constexpr int kCancelledOutermost = 0;
constexpr int kCancelledNested = 1;
constexpr int kCancelFailed = 2;

}  // namespace

int BeginTransaction(const std::shared_ptr<StoreConnection>& connection) {
  if (connection == nullptr) return LogNoConnection(kBeginTransaction, 1);
  StoreConnection& store = *connection;
  if (!store.Revive()) return 1;
  if (store.TransactionLost()) return LogFailure(kBeginTransaction, SQLITE_ABORT, kTransactionLost);
  const std::string text = store.depth == 0 ? kBegin : Str_Format(kSavepoint, store.depth + 1);
  if (!RunControl(store, text)) return 1;
  ++store.depth;
  return 0;
}

// A failed commit leaves its level open, so that the caller's cancel still
// closes it.
int CommitTransaction(const std::shared_ptr<StoreConnection>& connection) {
  if (connection == nullptr) return LogNoConnection(kCommitTransaction, 1);
  StoreConnection& store = *connection;
  if (!store.Revive()) return 1;
  if (store.depth == 0) return LogFailure(kCommitTransaction, SQLITE_ERROR, kNoTransaction);
  if (store.TransactionLost())
    return LogFailure(kCommitTransaction, SQLITE_ABORT, kTransactionLost);
  const std::string text = store.depth == 1 ? kCommit : Str_Format(kRelease, store.depth);
  if (!RunControl(store, text)) return 1;
  --store.depth;
  return 0;
}

// When SQLite already rolled the whole transaction back after an error,
// there is nothing left to undo: the level just closes.
int CancelTransaction(const std::shared_ptr<StoreConnection>& connection) {
  if (connection == nullptr) return LogNoConnection(kCancelTransaction, kCancelFailed);
  StoreConnection& store = *connection;
  if (!store.Revive()) return kCancelFailed;
  if (store.depth == 0) {
    LogFailure(kCancelTransaction, SQLITE_ERROR, kNoTransaction);
    return kCancelFailed;
  }
  const bool nested = store.depth > 1;
  if (store.EngineInTransaction()) {
    const std::string text =
        nested ? Str_Format(kRollbackTo, store.depth, store.depth) : std::string(kRollback);
    if (!RunControl(store, text)) return kCancelFailed;
  }
  --store.depth;
  return nested ? kCancelledNested : kCancelledOutermost;
}

}  // namespace DBStore
