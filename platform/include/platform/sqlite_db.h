#ifndef PLATFORM_SQLITE_DB_H_
#define PLATFORM_SQLITE_DB_H_

#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace OrinConfigStore {

// A thin owner of one SQLite connection for the host layer's own databases.
// Not thread-safe: one thread at a time per connection.
class SqliteDb {
 public:
  // kImmutable reads a file that nothing writes while it is open, without
  // locks and without its -wal and -shm files (see DBStore's readers).
  enum class Mode { kReadOnly, kReadWrite, kCreate, kImmutable };

  // The mode of the database files the host layer creates: configuration
  // can hold secrets, so never world-readable; a reading service is given
  // the group.
  static constexpr unsigned kFileMode = 0640;

  // Opens the database at `path`; null (with `error` and, when given,
  // `code` set to SQLite's result code) when it cannot be opened. kCreate
  // creates a missing file with kFileMode (whatever the umask); the other
  // modes never create it.
  static std::unique_ptr<SqliteDb> Open(const std::string& path, Mode mode, std::string* error,
                                        int* code = nullptr);

  // Opens the WAL database at `path` for a process that may not write it,
  // nor perhaps its directory: through its -wal and -shm files when they are
  // there (SQLite reads a -shm it may not write from memory); when neither
  // is there, nothing is in a write-ahead log and the file alone is read,
  // immutable (`immutable` set). Such a connection does not see what a
  // writer starting meanwhile commits until it is opened again. Null, with
  // `error` and `code` set, when the database cannot be read.
  static std::unique_ptr<SqliteDb> OpenReader(const std::string& path, std::string* error,
                                              int* code, bool* immutable);
  ~SqliteDb();
  SqliteDb(const SqliteDb&) = delete;
  SqliteDb& operator=(const SqliteDb&) = delete;

  // Runs one or more statements without results; false with `error` set on
  // failure.
  bool Exec(const std::string& sql, std::string* error);
  // The connection's last error text and SQLite result code.
  std::string LastError() const;
  int LastErrorCode() const;
  // Whether the connection may not write (the file is write-protected for
  // this process, or it was opened read-only).
  bool ReadOnly() const;
  // Keeps the -wal and -shm files when the last connection closes, so that
  // a reader without write permission on their directory finds them.
  void PersistWal();
  // The start of the connection's mapping of the database's shared-memory
  // WAL index (its header first); null when it has none (not in WAL mode,
  // opened immutable, or nothing read yet). Valid while the connection is
  // open.
  const volatile void* WalIndex() const;
  sqlite3* Handle() const { return db_; }

 private:
  explicit SqliteDb(sqlite3* db) : db_(db) {}
  sqlite3* db_;
};

// One prepared statement; finalised on destruction.
class SqliteStatement {
 public:
  // Prepares `sql`; Ok() tells whether that worked.
  SqliteStatement(const SqliteDb& db, const std::string& sql);
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  bool Ok() const { return statement_ != nullptr; }
  // Why the statement did not prepare; empty when it did.
  const std::string& PrepareError() const { return prepareError_; }
  // Makes the statement ready to run again, bindings cleared.
  void Reset();
  // Binds text to the 1-based parameter `index` (copied).
  bool BindText(int index, const std::string& text);
  bool BindInt(int index, int value);
  // Steps once: true while a row is available; Done() tells whether the
  // statement ran to completion without error.
  bool Next();
  bool Done() const { return done_; }
  std::string ColumnText(int index) const;
  // The column's text; null for SQL NULL. Valid until the next step.
  const char* ColumnTextOrNull(int index) const;
  int ColumnInt(int index) const;
  long long ColumnInt64(int index) const;

 private:
  sqlite3_stmt* statement_ = nullptr;
  std::string prepareError_;
  bool done_ = false;
};

}  // namespace OrinConfigStore

#endif  // PLATFORM_SQLITE_DB_H_
