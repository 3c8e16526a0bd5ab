// Running statement texts on a connection: the one path every DBStore
// operation takes to SQLite, and the one place failures are logged.

#include "configstore/logger.h"
#include "db_store_internal.h"

namespace DBStore {

namespace {

using OrinConfigStore::CSLogger;

constexpr const char* kLogFailure = "DBStore: %s failed: [%d] %s";
constexpr const char* kLogNoConnection = "DBStore: %s: no connection";
constexpr const char* kNotReopened =
    "the connection inherited from the parent process could not be reopened";
constexpr const char* kCallbackStopped = "the row callback stopped the statement";
constexpr const char* kTransactionLost =
    "the transaction was rolled back after an error; close its levels before running statements";
// What StepAll answers when the callback stops the statement; not an SQLite code.
constexpr int kStoppedByCallback = -1;

int Failed(sqlite3* db, const char* statement, int status) {
  if (status == kStoppedByCallback) return LogFailure(statement, SQLITE_ABORT, kCallbackStopped);
  return LogFailure(statement, status, sqlite3_errmsg(db));
}

// Steps `statement` to its end, passing each row to `callback` when there is
// one; SQLITE_OK, an SQLite error code, or kStoppedByCallback.
int StepAll(sqlite3_stmt* statement, ColumnNames& names, RowCallback callback, void* context) {
  std::vector<char*> values;
  int status;
  while ((status = sqlite3_step(statement)) == SQLITE_ROW) {
    if (callback == nullptr) continue;
    const int count = sqlite3_column_count(statement);
    values.assign(static_cast<std::size_t>(count), nullptr);
    for (int i = 0; i < count; ++i) {
      const unsigned char* text = sqlite3_column_text(statement, i);
      values[static_cast<std::size_t>(i)] = const_cast<char*>(reinterpret_cast<const char*>(text));
    }
    if (callback(context, count, values.data(), names.For(statement)) != 0) {
      return kStoppedByCallback;
    }
  }
  return status == SQLITE_DONE ? SQLITE_OK : status;
}

// Runs the statements of `text` from `offset` on, each prepared afresh:
// only the first statement of a text is cached, and a text of several is
// rare (schema creation).
int RunRest(StoreConnection& connection, const std::string& text, std::size_t offset,
            RowCallback callback, void* context) {
  sqlite3* db = connection.Handle();
  while (offset < text.size()) {
    int status = SQLITE_OK;
    const char* rest = text.c_str() + offset;
    const auto next = PrepareFirst(db, rest, text.size() - offset, &status);
    if (next == nullptr) return status == SQLITE_OK ? 0 : Failed(db, rest, status);
    status = StepAll(next->statement, next->names, callback, context);
    if (status != SQLITE_OK) return Failed(db, rest, status);
    offset += next->tailOffset;
  }
  return 0;
}

}  // namespace

int LogFailure(const char* operation, int code, const char* message) {
  CSLogger::Log(0, kLogFailure, operation, code, message);
  return 1;
}

int LogNoConnection(const char* operation, int result) {
  CSLogger::Log(0, kLogNoConnection, operation);
  return result;
}

int RunStatement(StoreConnection& connection, const std::string& text, const Binder& bind,
                 RowCallback callback, void* context, int timeoutMs) {
  if (!connection.Revive()) return LogFailure(text.c_str(), SQLITE_CANTOPEN, kNotReopened);
  if (connection.TransactionLost()) return LogFailure(text.c_str(), SQLITE_ABORT, kTransactionLost);
  sqlite3* db = connection.Handle();
  sqlite3_busy_timeout(db, timeoutMs);
  int status = SQLITE_OK;
  auto prepared = connection.Statements().Get(db, text, &status);
  if (prepared == nullptr) return status == SQLITE_OK ? 0 : Failed(db, text.c_str(), status);
  std::size_t tail = 0;
  {
    const StatementLease lease(std::move(prepared));
    status = bind ? bind(lease->statement) : SQLITE_OK;
    if (status == SQLITE_OK) status = StepAll(lease->statement, lease->names, callback, context);
    // Logged before the lease resets the statement, while SQLite still
    // holds the failure's message.
    if (status != SQLITE_OK) return Failed(db, text.c_str(), status);
    tail = lease->tailOffset;
  }
  return RunRest(connection, text, tail, callback, context);
}

bool RunControl(StoreConnection& connection, const std::string& text) {
  if (!connection.Revive()) {
    LogFailure(text.c_str(), SQLITE_CANTOPEN, kNotReopened);
    return false;
  }
  sqlite3* db = connection.Handle();
  sqlite3_busy_timeout(db, kDefaultTimeoutMs);
  const int status = sqlite3_exec(db, text.c_str(), nullptr, nullptr, nullptr);
  if (status == SQLITE_OK) return true;
  Failed(db, text.c_str(), status);
  return false;
}

}  // namespace DBStore
