#ifndef PLATFORM_SRC_DB_STORE_INTERNAL_H_
#define PLATFORM_SRC_DB_STORE_INTERNAL_H_

// What the DBStore files share: the connection object behind the opaque
// handle, its cache of prepared statements, and the runners that every
// operation goes through.

#include <sqlite3.h>
#include <sys/types.h>

#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "busy_wait.h"
#include "platform/db_store.h"
#include "platform/sqlite_db.h"

namespace DBStore {

constexpr const char* kRollback = "ROLLBACK;";

// The identity of a database file, so that a pooled connection on a file
// that was since deleted or replaced is not handed out for the new one.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileId& other) const {
    return device == other.device && inode == other.inode;
  }
};

// The names reported to row callbacks, as NUL-terminated texts the
// callback can take as char**.
class ColumnNames {
 public:
  // Recomputes the names when the statement's column count changed (after a
  // schema change re-prepared it); returns the callback's array.
  char** For(sqlite3_stmt* statement);

 private:
  std::vector<std::string> names_;
  std::vector<char*> pointers_;
  bool computed_ = false;
};

// One prepared statement of the cache: the first statement of its text and
// where the rest of the text (further statements, if any) begins.
struct PreparedStatement {
  PreparedStatement() = default;
  ~PreparedStatement() { sqlite3_finalize(statement); }
  PreparedStatement(const PreparedStatement&) = delete;
  PreparedStatement& operator=(const PreparedStatement&) = delete;

  sqlite3_stmt* statement = nullptr;
  std::size_t tailOffset = 0;
  ColumnNames names;
  bool inUse = false;
};

// A statement taken from the cache for one run. Reset, with its bindings
// cleared, when the lease ends, so that no statement stays on a row (which
// would keep a read transaction and its snapshot open).
class StatementLease {
 public:
  explicit StatementLease(std::shared_ptr<PreparedStatement> prepared);
  ~StatementLease();
  StatementLease(const StatementLease&) = delete;
  StatementLease& operator=(const StatementLease&) = delete;

  PreparedStatement& operator*() const { return *prepared_; }
  PreparedStatement* operator->() const { return prepared_.get(); }

 private:
  std::shared_ptr<PreparedStatement> prepared_;
};

// Prepared statements of one connection keyed by their text, least
// recently used evicted first.
class StatementCache {
 public:
  // The prepared statement of `text`, or null with the SQLite code in
  // `status` (SQLITE_OK with a null result: the text holds no statement).
  // A statement busy in an enclosing run (a callback running the same text
  // again) is not shared: the second run gets a statement of its own.
  std::shared_ptr<PreparedStatement> Get(sqlite3* db, const std::string& text, int* status);
  // Finalises every cached statement, before the connection closes.
  void Clear();

 private:
  // Two segments, most recently used first in each. A text enters `fresh_`
  // and moves to `reused_` when it is asked for again while there, or soon
  // after it was pushed out (its hash is remembered for a while). Most of
  // the library's texts name one instance and are used once, so they only
  // ever push each other out of `fresh_`, never the statements a
  // connection repeats. One pushed out of `reused_` goes back to `fresh_`.
  struct Entry {
    std::string text;
    std::shared_ptr<PreparedStatement> prepared;
    bool reused = false;
  };
  using Segment = std::list<Entry>;
  void Admit(Segment& segment, Segment::iterator entry, bool reused);
  void EvictFresh();

  Segment fresh_;
  Segment reused_;
  std::deque<std::size_t> evicted_;                  // hashes, oldest first
  std::unordered_multiset<std::size_t> evictedSet_;  // the same, for lookup
  std::unordered_map<std::string_view, Segment::iterator> index_;
};

// Prepares the first statement of `sql` (its length `size`); null with the
// SQLite code in `status` on failure or when `sql` holds no statement.
std::shared_ptr<PreparedStatement> PrepareFirst(sqlite3* db, const char* sql, std::size_t size,
                                                int* status);

// One SQLite connection on the configuration database, with what the layer
// keeps for it.
class StoreConnection {
 public:
  // Opens the existing file at `path` (identified by `file`) read-write in
  // WAL mode with synchronous=FULL, its -wal and -shm files kept after the
  // last connection closes; for a process that may not write the file, a
  // reading connection (SqliteDb::OpenReader). Null, logged and recorded as
  // the thread's last failure, when that fails.
  static std::unique_ptr<StoreConnection> Open(const std::string& path, const FileId& file);
  ~StoreConnection();
  StoreConnection(const StoreConnection&) = delete;
  StoreConnection& operator=(const StoreConnection&) = delete;

  // Makes the connection usable in this process: one inherited across
  // fork() is opened afresh on its file, with no transaction open. False,
  // logged, when that fails. Every operation calls it before touching SQLite.
  bool Revive();
  // Closes the connection's SQLite handle when the connection was inherited
  // from another process; a later Revive() opens a new one.
  void DropInherited();
  // Whether a transaction is open on the connection, as far as this process
  // can tell (in a child of fork(): whether the parent had one open).
  bool InTransaction() const;
  // Gives the SQLite handle and its statements up without closing them: in
  // a child of fork(), closing a connection inside a transaction would roll
  // it back through the journal index that the parent still uses.
  void Abandon() { abandoned_ = true; }

  sqlite3* Handle() const { return db_->Handle(); }
  const std::string& Path() const { return path_; }
  const FileId& File() const { return file_; }
  pid_t Owner() const { return owner_; }
  StatementCache& Statements() { return statements_; }

  // Transaction levels opened through BeginTransaction and not yet closed.
  int depth = 0;
  // Whether SQLite has a transaction open on the connection, whoever began it.
  bool EngineInTransaction() const { return sqlite3_get_autocommit(Handle()) == 0; }
  // Levels are open but SQLite rolled the whole transaction back after an
  // error: statements would now commit one by one, so they are refused
  // until the owners of the levels close them.
  bool TransactionLost() const { return depth > 0 && !EngineInTransaction(); }

  // Clears what a holder may have left behind so that the next holder finds
  // a fresh connection; false when the connection cannot be reused.
  bool ResetForReuse();

 private:
  StoreConnection(std::unique_ptr<OrinConfigStore::SqliteDb> db, std::string path,
                  const FileId& file, bool immutable);

  std::unique_ptr<OrinConfigStore::SqliteDb> db_;
  // A reading connection on a file without its -wal and -shm: it must not
  // outlive the operation it serves, so it is never pooled.
  bool immutable_ = false;
  std::string path_;
  FileId file_;
  pid_t owner_;
  bool abandoned_ = false;
  // Declared after db_ so that the statements are finalised before it closes.
  StatementCache statements_;
};

// Binds a statement's parameters; returns an SQLite code.
using Binder = std::function<int(sqlite3_stmt*)>;

// Runs `text` on `connection`: the first statement through the cache with
// `bind` applied, the statements after it (if any) prepared afresh, every
// row passed to `callback` when it is not null. 0 on success, 1 on any
// failure (logged at priority 0).
int RunStatement(StoreConnection& connection, const std::string& text, const Binder& bind,
                 RowCallback callback, void* context, int timeoutMs);
// The same with every row passed to `visitor` when it is not null.
int RunStatementRows(StoreConnection& connection, const std::string& text, const Binder& bind,
                     RowVisitor visitor, void* context, int timeoutMs);

// Runs a transaction-control text (no rows, no parameters), waiting up to
// kStatementTimeoutMs for a busy database; false, logged, on failure.
bool RunControl(StoreConnection& connection, const std::string& text);

// Logs a failure of `operation` with the SQLite code and message, records
// it as the calling thread's last failure, and returns 1.
int LogFailure(const char* operation, int code, const char* message);
// Records the calling thread's last failure (LastFailure).
void RecordFailure(int code, const std::string& message);
// Logs that `operation` was given a null connection; returns `result`.
int LogNoConnection(const char* operation, int result);

// Hands `connection` back to the pool, or closes it when it cannot be
// reused. The deleter of the shared pointers that GetConnection returns.
void ReturnConnection(StoreConnection* connection);

// The pool of idle connections, keyed by the resolved database path and the
// file's identity. Thread-safe.
namespace pool {
// An idle connection on `path` whose file is still `file`, or null.
std::unique_ptr<StoreConnection> Take(const std::string& path, const FileId& file);
// Keeps `connection` for a later Take, closing the oldest idle connection
// when the pool is full.
void Put(std::unique_ptr<StoreConnection> connection);
// Tracks every open connection of the process, idle or held.
void Register(StoreConnection* connection);
void Unregister(StoreConnection* connection);
// In a child process after fork(), closes every connection inherited from
// the parent before the child opens one of its own; does nothing otherwise.
// When the parent had a transaction open, nothing inherited can be closed
// safely: every inherited connection is abandoned instead, and the process
// (and its own children) can use no connection at all. True when that is
// the case.
bool ReleaseInherited();
}  // namespace pool

}  // namespace DBStore

#endif  // PLATFORM_SRC_DB_STORE_INTERNAL_H_
