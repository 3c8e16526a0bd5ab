// Running statement texts: the per-connection cache of prepared statements,
// the column names reported to row callbacks, and the one path every DBStore
// operation takes to SQLite (and the one place failures are logged).

#include <iterator>

#include "configstore/logger.h"
#include "db_store_internal.h"

// A build of SQLite without column metadata lacks this function; the weak
// reference lets such builds link, and column names then fall back to what
// the statement itself reports.
#pragma weak sqlite3_column_origin_name

namespace DBStore {

namespace {

// Per segment of the cache: enough for the statements one connection
// repeats (the key-value reads, transaction control, the history's records
// and retention, the store's per-type queries) without keeping every
// statement text ever formatted.
constexpr std::size_t kMaxCachedStatements = 64;
// How many texts pushed out of the cache it remembers: one asked for again
// within that many others is one the connection repeats, only rarely (as
// the history's retention does, once per so many writes); the per-instance
// texts of a write to many instances come back much later, if at all.
constexpr std::size_t kRememberedEvictions = 4 * kMaxCachedStatements;

using OrinConfigStore::CSLogger;

constexpr const char* kLogFailure = "DBStore: %s failed: [%d] %s";
constexpr const char* kLogNoConnection = "DBStore: %s: no connection";
constexpr const char* kNotReopened =
    "the connection inherited from the parent process could not be reopened";
constexpr const char* kCallbackStopped = "the row callback stopped the statement";
constexpr const char* kStatementAfterLostTransaction =
    "the transaction was rolled back after an error; close its levels before running statements";
Failure& LastThreadFailure() {
  thread_local Failure last;
  return last;
}

// What StepAll answers when the callback stops the statement; not an SQLite code.
constexpr int kStoppedByCallback = -1;

constexpr const char* kExecute = "Execute";
constexpr const char* kExecuteV2 = "ExecuteV2";
constexpr const char* kVisitRows = "VisitRows";

// The name the statement gives column `index`, or the declared name of the
// table column it reads when the two differ only in case: callers find
// columns by their declared spelling, whatever case the statement used.
std::string ReportedName(sqlite3_stmt* statement, int index) {
  const char* name = sqlite3_column_name(statement, index);
  if (name == nullptr) return std::string();
  if (sqlite3_column_origin_name != nullptr) {
    const char* origin = sqlite3_column_origin_name(statement, index);
    if (origin != nullptr && sqlite3_stricmp(origin, name) == 0) return origin;
  }
  return name;
}

int Failed(sqlite3* db, const char* statement, int status) {
  if (status == kStoppedByCallback) return LogFailure(statement, SQLITE_ABORT, kCallbackStopped);
  return LogFailure(statement, status, sqlite3_errmsg(db));
}

// Steps `statement` to its end, passing each row to `visitor` when there is
// one; SQLITE_OK, an SQLite error code, or kStoppedByCallback.
int StepAll(sqlite3_stmt* statement, ColumnNames& names, RowVisitor visitor, void* context) {
  int status;
  while ((status = sqlite3_step(statement)) == SQLITE_ROW) {
    if (visitor == nullptr) continue;
    const StatementRow row(statement, sqlite3_column_count(statement), names.For(statement));
    if (visitor(context, row) != 0) return kStoppedByCallback;
  }
  return status == SQLITE_DONE ? SQLITE_OK : status;
}

// A RowCallback's rows: every column as text, in one array kept for the run.
struct TextRows {
  RowCallback callback;
  void* context;
  std::vector<char*> values;
};

int PassAsTexts(void* state, const StatementRow& row) {
  auto& rows = *static_cast<TextRows*>(state);
  rows.values.resize(static_cast<std::size_t>(row.Columns()));
  for (int i = 0; i < row.Columns(); ++i) {
    rows.values[static_cast<std::size_t>(i)] = const_cast<char*>(row.Text(i));
  }
  return rows.callback(rows.context, row.Columns(), rows.values.data(), row.Names());
}

// Runs the statements of `text` from `offset` on, each prepared afresh:
// only the first statement of a text is cached, and a text of several is
// rare (schema creation).
int RunRest(StoreConnection& connection, const std::string& text, std::size_t offset,
            RowVisitor visitor, void* context) {
  sqlite3* db = connection.Handle();
  while (offset < text.size()) {
    int status = SQLITE_OK;
    const char* rest = text.c_str() + offset;
    const auto next = PrepareFirst(db, rest, text.size() - offset, &status);
    if (next == nullptr) return status == SQLITE_OK ? 0 : Failed(db, rest, status);
    status = StepAll(next->statement, next->names, visitor, context);
    if (status != SQLITE_OK) return Failed(db, rest, status);
    offset += next->tailOffset;
  }
  return 0;
}

// Binds `values` then `integers` to the parameters from 1 on. An empty text
// is bound as NULL: callers pass "" for a value that is absent, and a
// stored '' would read back as something present.
int BindAll(sqlite3_stmt* statement, const std::vector<std::string>& values,
            const std::vector<int>& integers) {
  int index = 1;
  for (const auto& value : values) {
    // The values outlive the run, and the bindings are cleared when it ends.
    const int status = value.empty()
                           ? sqlite3_bind_null(statement, index)
                           : sqlite3_bind_text(statement, index, value.data(),
                                               static_cast<int>(value.size()), SQLITE_STATIC);
    if (status != SQLITE_OK) return status;
    ++index;
  }
  for (const int integer : integers) {
    const int status = sqlite3_bind_int(statement, index++, integer);
    if (status != SQLITE_OK) return status;
  }
  return SQLITE_OK;
}

}  // namespace

char** ColumnNames::For(sqlite3_stmt* statement) {
  const auto count = static_cast<std::size_t>(sqlite3_column_count(statement));
  if (computed_ && names_.size() == count) return pointers_.data();
  names_.clear();
  for (std::size_t i = 0; i < count; ++i) {
    names_.push_back(ReportedName(statement, static_cast<int>(i)));
  }
  pointers_.clear();
  for (auto& name : names_) pointers_.push_back(name.data());
  computed_ = true;
  return pointers_.data();
}

std::shared_ptr<PreparedStatement> PrepareFirst(sqlite3* db, const char* sql, std::size_t size,
                                                int* status) {
  auto prepared = std::make_shared<PreparedStatement>();
  const char* tail = nullptr;
  *status = sqlite3_prepare_v2(db, sql, static_cast<int>(size), &prepared->statement, &tail);
  if (*status != SQLITE_OK || prepared->statement == nullptr) return nullptr;
  prepared->tailOffset = tail != nullptr ? static_cast<std::size_t>(tail - sql) : size;
  return prepared;
}

StatementLease::StatementLease(std::shared_ptr<PreparedStatement> prepared)
    : prepared_(std::move(prepared)) {
  prepared_->inUse = true;
}

StatementLease::~StatementLease() {
  sqlite3_reset(prepared_->statement);
  sqlite3_clear_bindings(prepared_->statement);
  prepared_->inUse = false;
}

std::shared_ptr<PreparedStatement> StatementCache::Get(sqlite3* db, const std::string& text,
                                                       int* status) {
  *status = SQLITE_OK;
  const auto found = index_.find(text);
  if (found != index_.end()) {
    const Segment::iterator entry = found->second;
    Admit(entry->reused ? reused_ : fresh_, entry, true);
    const auto& prepared = entry->prepared;
    if (!prepared->inUse) return prepared;
    return PrepareFirst(db, text.data(), text.size(), status);
  }
  auto prepared = PrepareFirst(db, text.data(), text.size(), status);
  if (prepared == nullptr) return nullptr;
  fresh_.push_front(Entry{text, prepared, false});
  index_.emplace(fresh_.front().text, fresh_.begin());
  const auto seen = evictedSet_.find(std::hash<std::string>{}(text));
  if (seen != evictedSet_.end()) {
    evictedSet_.erase(seen);
    Admit(fresh_, fresh_.begin(), true);
  } else if (fresh_.size() > kMaxCachedStatements) {
    EvictFresh();
  }
  return prepared;
}

// A lease still holding the evicted statement keeps it alive until it ends.
void StatementCache::EvictFresh() {
  const std::size_t hash = std::hash<std::string>{}(fresh_.back().text);
  evicted_.push_back(hash);
  evictedSet_.insert(hash);
  if (evicted_.size() > kRememberedEvictions) {
    const auto oldest = evictedSet_.find(evicted_.front());
    if (oldest != evictedSet_.end()) evictedSet_.erase(oldest);
    evicted_.pop_front();
  }
  index_.erase(fresh_.back().text);
  fresh_.pop_back();
}

// Moves `entry` (in `from`) to the front of the reused segment, or of the
// fresh one; the reused segment's least recently used entry, when there
// are too many, goes to the front of the fresh one. Iterators stay valid
// across splices, so the index needs no update.
void StatementCache::Admit(Segment& from, Segment::iterator entry, bool reused) {
  Segment& to = reused ? reused_ : fresh_;
  to.splice(to.begin(), from, entry);
  entry->reused = reused;
  if (reused_.size() > kMaxCachedStatements) {
    reused_.back().reused = false;
    fresh_.splice(fresh_.begin(), reused_, std::prev(reused_.end()));
  }
  if (fresh_.size() > kMaxCachedStatements) EvictFresh();
}

void StatementCache::Clear() {
  index_.clear();
  fresh_.clear();
  reused_.clear();
  evicted_.clear();
  evictedSet_.clear();
}

int LogFailure(const char* operation, int code, const char* message) {
  CSLogger::Log(0, kLogFailure, operation, code, message);
  RecordFailure(code, message);
  return 1;
}

void RecordFailure(int code, const std::string& message) {
  Failure& last = LastThreadFailure();
  last.code = code;
  last.message = message;
}

const Failure& LastFailure() { return LastThreadFailure(); }

int LogNoConnection(const char* operation, int result) {
  CSLogger::Log(0, kLogNoConnection, operation);
  return result;
}

const char* StatementRow::Text(int column) const {
  return reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
}

long long StatementRow::Integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

bool StatementRow::HoldsInteger(int column, long long value) const {
  return sqlite3_column_type(statement_, column) == SQLITE_INTEGER &&
         sqlite3_column_int64(statement_, column) == value;
}

int RunStatement(StoreConnection& connection, const std::string& text, const Binder& bind,
                 RowCallback callback, void* context, int timeoutMs) {
  if (callback == nullptr)
    return RunStatementRows(connection, text, bind, nullptr, nullptr, timeoutMs);
  TextRows rows{callback, context, {}};
  return RunStatementRows(connection, text, bind, PassAsTexts, &rows, timeoutMs);
}

int RunStatementRows(StoreConnection& connection, const std::string& text, const Binder& bind,
                     RowVisitor visitor, void* context, int timeoutMs) {
  if (!connection.Revive()) return LogFailure(text.c_str(), SQLITE_CANTOPEN, kNotReopened);
  if (connection.TransactionLost())
    return LogFailure(text.c_str(), SQLITE_ABORT, kStatementAfterLostTransaction);
  sqlite3* db = connection.Handle();
  WaitFairlyWhenBusy(db, timeoutMs);
  int status = SQLITE_OK;
  auto prepared = connection.Statements().Get(db, text, &status);
  if (prepared == nullptr) return status == SQLITE_OK ? 0 : Failed(db, text.c_str(), status);
  std::size_t tail = 0;
  {
    const StatementLease lease(std::move(prepared));
    status = bind ? bind(lease->statement) : SQLITE_OK;
    if (status == SQLITE_OK) status = StepAll(lease->statement, lease->names, visitor, context);
    // Logged before the lease resets the statement, while SQLite still
    // holds the failure's message.
    if (status != SQLITE_OK) return Failed(db, text.c_str(), status);
    tail = lease->tailOffset;
  }
  return RunRest(connection, text, tail, visitor, context);
}

bool RunControl(StoreConnection& connection, const std::string& text) {
  if (!connection.Revive()) {
    LogFailure(text.c_str(), SQLITE_CANTOPEN, kNotReopened);
    return false;
  }
  sqlite3* db = connection.Handle();
  WaitFairlyWhenBusy(db, kStatementTimeoutMs);
  const int status = sqlite3_exec(db, text.c_str(), nullptr, nullptr, nullptr);
  if (status == SQLITE_OK) return true;
  Failed(db, text.c_str(), status);
  return false;
}

int Execute(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
            const std::vector<std::string>& values, const std::vector<int>& integers,
            int timeoutMs) {
  if (connection == nullptr) return LogNoConnection(kExecute, 1);
  const Binder bind = [&values, &integers](sqlite3_stmt* prepared) {
    return BindAll(prepared, values, integers);
  };
  return RunStatement(*connection, statement, bind, nullptr, nullptr, timeoutMs);
}

int ExecuteV2(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
              RowCallback callback, void* context, int timeoutMs) {
  if (connection == nullptr) return LogNoConnection(kExecuteV2, 1);
  return RunStatement(*connection, statement, Binder(), callback, context, timeoutMs);
}

int VisitRows(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
              RowVisitor visitor, void* context, int timeoutMs) {
  if (connection == nullptr) return LogNoConnection(kVisitRows, 1);
  return RunStatementRows(*connection, statement, Binder(), visitor, context, timeoutMs);
}

}  // namespace DBStore
