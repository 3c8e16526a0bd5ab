#ifndef PLATFORM_DB_STORE_H_
#define PLATFORM_DB_STORE_H_

// The host's database layer over SQLite: connections on the configuration
// database "/etc/tessel/configstore/current-store-1" (under the host root),
// nested transactions, statements with bound text values, and the
// key-value table.
//
// Every operation that returns an int answers 0 for success and 1 for any
// failure; the SQLite error code and message of a failure are logged at
// priority 0.

#include <memory>
#include <string>
#include <vector>

struct sqlite3_stmt;

namespace DBStore {

enum Type { CONFIG = 0 };

// What the database said of a failure: SQLite's result code (5 busy, 8
// read-only, 11 damaged, 13 full, 14 cannot open, ...) and message.
struct Failure {
  int code = 0;
  std::string message;
};

// The last failure of a database operation on the calling thread, as every
// operation that fails logs it; code 0 when none has failed. Nothing but the
// next failure replaces it.
const Failure& LastFailure();

// How long every statement of the library and its host layer waits for a
// database that another connection holds busy.
constexpr int kStatementTimeoutMs = 3000;

// The configuration database file, before the host root is applied.
constexpr const char* kConfigDatabaseFile = "/etc/tessel/configstore/current-store-1";

// One SQLite connection in WAL mode with synchronous=FULL, with its cache of
// prepared statements and its transaction depth. Opaque to callers.
class StoreConnection;

// A connection on the database of `type`, or null (logged) when the file
// does not exist or cannot be opened; the file is never created here. The
// path is resolved under the host root on every call.
//
// A process that may not write the file gets a connection that reads it in
// whatever state its write-ahead log is: through the -wal and -shm files
// when they are there (writers keep them after the last connection closes,
// so that readers without write permission on the directory find them), or
// the file alone when neither is there, as on a restored copy; its writes
// fail with SQLite's "attempt to write a readonly database".
//
// Connections come from a small pool of idle ones, kept per resolved path
// and per file (a database deleted and created again gets new connections).
// A connection goes back to the pool when its last holder lets go, and is
// never handed out while another holder has it. A connection released
// inside a transaction is rolled back and closed, not pooled; so is one
// that still has a database attached.
//
// In a child process after fork(), the first use of the layer closes every
// connection inherited from the parent (which leaves the parent's locks
// alone), before the child opens its own: SQLite would otherwise count the
// parent's file locks as the child's. A connection the child still holds
// is opened afresh on its next use, with no transaction open. When the
// parent had a transaction open at the fork, the child leaves every
// inherited connection untouched (closing one would roll the parent's
// transaction back in memory the two share) and gets no connection at all,
// nor do its own children. As with any library after fork() in a process
// with several threads, the child may use the layer only when no other
// thread was inside it (or inside SQLite) at the moment of the fork.
// Thread-safe; a connection itself is used by one thread at a time.
std::shared_ptr<StoreConnection> GetConnection(Type type);

// Creates the database file of `type` (mode 0640) and its parent directories
// when they are missing, in WAL mode. 0 on success.
int CreateDatabase(Type type);

// Transactions nest per connection: the outermost level is BEGIN IMMEDIATE
// (a writer waits for other writers, up to kStatementTimeoutMs, rather than failing
// later), inner levels are savepoints. Each level is closed by exactly one
// CommitTransaction or CancelTransaction.
//
// When SQLite itself rolls the whole transaction back after an error, the
// levels stay counted until their owners close them: meanwhile statements,
// Begin and Commit fail (they would otherwise run outside any transaction)
// and Cancel closes a level as usual.
int BeginTransaction(const std::shared_ptr<StoreConnection>& connection);
// Commits (outermost) or releases (inner) the innermost level; 1 when no
// transaction is open. A commit that fails leaves its level open, for the
// caller to cancel.
int CommitTransaction(const std::shared_ptr<StoreConnection>& connection);
// Rolls back the innermost level. Returns 1 when that level was nested
// (another level stays open), 0 when it was the outermost, and 2 when no
// transaction was open or the rollback failed.
int CancelTransaction(const std::shared_ptr<StoreConnection>& connection);

// Prepares `statement` (prepared statements are cached per connection by
// their text), binds `values` to its "?" placeholders in order (an empty
// text binds SQL NULL) and then `integers` to the placeholders after them,
// sets the busy timeout to `timeoutMs` milliseconds, and runs it to
// completion. Too many values for the placeholders is a failure; missing
// ones are NULL. A text of several statements binds its values to the first
// and runs the others after it; a text without any statement does nothing.
// Every statement is reset after its run, so none keeps a read snapshot.
int Execute(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
            const std::vector<std::string>& values, const std::vector<int>& integers,
            int timeoutMs);

// Called once per result row with the context given to ExecuteV2, the
// number of columns, the row's values (null for SQL NULL) and the column
// names; returns 0 to go on, anything else to stop (ExecuteV2 then fails).
// A plain table column is named as the table declares it, whatever case the
// statement wrote it in (an alias that differs from the column's name only
// in case counts as that name); an expression, or a column under another
// alias, is named by its alias. The arrays are valid during the call only.
// An exception thrown by the callback propagates, the statement reset.
using RowCallback = int (*)(void* context, int columns, char** values, char** names);

// Runs `statement`, which may hold several statements, calling `callback`,
// when not null, for each row of each of them.
int ExecuteV2(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
              RowCallback callback, void* context, int timeoutMs);

// One result row, read where SQLite holds it. ExecuteV2 hands every column
// over as text; a reader that needs only some columns, or a number as a
// number, asks for just those here. Names are ExecuteV2's, and the same
// array for every row of one statement. Valid during the visit only.
class StatementRow {
 public:
  StatementRow(sqlite3_stmt* statement, int columns, char** names)
      : statement_(statement), columns_(columns), names_(names) {}

  int Columns() const { return columns_; }
  char** Names() const { return names_; }
  // The column's value as text; null for SQL NULL.
  const char* Text(int column) const;
  // The column's value as SQLite converts it to an integer (0 for NULL).
  long long Integer(int column) const;
  // Whether the column holds the integer `value` as an integer: a test that
  // leaves the column unconverted (Text of an integer converts it in place).
  bool HoldsInteger(int column, long long value) const;

 private:
  sqlite3_stmt* statement_;
  int columns_;
  char** names_;
};

// Called once per result row of VisitRows; returns 0 to go on, anything
// else to stop. Exceptions propagate as from a RowCallback.
using RowVisitor = int (*)(void* context, const StatementRow& row);

// ExecuteV2 with the rows passed as they are rather than as texts.
int VisitRows(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
              RowVisitor visitor, void* context, int timeoutMs);

// Reads KVTable.Value of `key` into `out`; a missing key (or a NULL value)
// gives 0 with an empty `out`, a failure 1 with an empty `out`. Key and
// value are bound as given, the empty text included, and never formatted
// into the statement.
int ReadKeyValue(const std::string& key, std::string& out,
                 const std::shared_ptr<StoreConnection>& connection);
// Inserts or replaces the KVTable row of `key`; a replaced row keeps its
// CreationTime, a new one gets the current time.
int WriteKeyValue(const std::string& key, const std::string& value,
                  const std::shared_ptr<StoreConnection>& connection);

}  // namespace DBStore

#endif  // PLATFORM_DB_STORE_H_
