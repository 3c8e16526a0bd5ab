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
  enum class Mode { kReadOnly, kReadWrite, kCreate };

  // Opens the database at `path`; null (with `error` set) when it cannot be
  // opened. kCreate creates the file; the other modes never do.
  static std::unique_ptr<SqliteDb> Open(const std::string& path, Mode mode, std::string* error);
  ~SqliteDb();
  SqliteDb(const SqliteDb&) = delete;
  SqliteDb& operator=(const SqliteDb&) = delete;

  // Runs one or more statements without results; false with `error` set on
  // failure.
  bool Exec(const std::string& sql, std::string* error);
  // The connection's last error text.
  std::string LastError() const;
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
  int ColumnInt(int index) const;
  long long ColumnInt64(int index) const;

 private:
  sqlite3_stmt* statement_ = nullptr;
  bool done_ = false;
};

}  // namespace OrinConfigStore

#endif  // PLATFORM_SQLITE_DB_H_
