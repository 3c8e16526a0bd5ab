#include "platform/sqlite_db.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "busy_wait.h"
#include "platform/db_store.h"

namespace OrinConfigStore {

namespace {
int OpenFlags(SqliteDb::Mode mode) {
  switch (mode) {
    case SqliteDb::Mode::kReadOnly:
      return SQLITE_OPEN_READONLY;
    case SqliteDb::Mode::kReadWrite:
      return SQLITE_OPEN_READWRITE;
    case SqliteDb::Mode::kCreate:
      return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    case SqliteDb::Mode::kImmutable:
      return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
  }
  return SQLITE_OPEN_READONLY;
}

// The URI that opens `path` immutable; the characters URIs reserve are
// escaped.
std::string ImmutableUri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      static constexpr char kHex[] = "0123456789ABCDEF";
      uri += '%';
      uri += kHex[static_cast<unsigned char>(c) >> 4];
      uri += kHex[static_cast<unsigned char>(c) & 0xF];
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

constexpr const char* kProbe = "PRAGMA schema_version;";
constexpr const char* kWalSuffix = "-wal";
constexpr const char* kShmSuffix = "-shm";

// SQLite would create the file with its own mode, less the umask; the file
// is made here with the host layer's instead.
void CreateWithMode(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, SqliteDb::kFileMode);
  if (fd < 0) return;  // there already, or SQLite reports why it cannot be
  ::fchmod(fd, SqliteDb::kFileMode);
  ::close(fd);
}
}  // namespace

std::unique_ptr<SqliteDb> SqliteDb::Open(const std::string& path, Mode mode, std::string* error,
                                         int* code) {
  if (mode == Mode::kCreate) CreateWithMode(path);
  sqlite3* db = nullptr;
  const std::string name = mode == Mode::kImmutable ? ImmutableUri(path) : path;
  const int status =
      sqlite3_open_v2(name.c_str(), &db, OpenFlags(mode) | SQLITE_OPEN_NOMUTEX, nullptr);
  if (status != SQLITE_OK) {
    if (error != nullptr) *error = db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(status);
    if (code != nullptr) *code = status;
    sqlite3_close_v2(db);
    return nullptr;
  }
  DBStore::WaitFairlyWhenBusy(db, DBStore::kStatementTimeoutMs);
  return std::unique_ptr<SqliteDb>(new SqliteDb(db));
}

SqliteDb::~SqliteDb() { sqlite3_close_v2(db_); }

bool SqliteDb::Exec(const std::string& sql, std::string* error) {
  char* message = nullptr;
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK) return true;
  if (error != nullptr) *error = message != nullptr ? message : LastError();
  sqlite3_free(message);
  return false;
}

std::unique_ptr<SqliteDb> SqliteDb::OpenReader(const std::string& path, std::string* error,
                                               int* code, bool* immutable) {
  *immutable = false;
  auto db = Open(path, Mode::kReadOnly, error, code);
  if (db == nullptr) return nullptr;
  {
    SqliteStatement probe(*db, kProbe);
    if (probe.Next()) return db;
    *error = probe.Ok() ? db->LastError() : probe.PrepareError();
    *code = db->LastErrorCode();
  }
  struct stat info;
  if (::stat((path + kWalSuffix).c_str(), &info) == 0 ||
      ::stat((path + kShmSuffix).c_str(), &info) == 0) {
    return nullptr;
  }
  *immutable = true;
  return Open(path, Mode::kImmutable, error, code);
}

std::string SqliteDb::LastError() const { return sqlite3_errmsg(db_); }

int SqliteDb::LastErrorCode() const { return sqlite3_errcode(db_); }

bool SqliteDb::ReadOnly() const { return sqlite3_db_readonly(db_, "main") == 1; }

void SqliteDb::PersistWal() {
  int persist = 1;
  sqlite3_file_control(db_, "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
}

const volatile void* SqliteDb::WalIndex() const {
  // One page of the index, as SQLite maps it.
  constexpr int kIndexPage = 32768;
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(db_, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK ||
      file == nullptr || file->pMethods == nullptr || file->pMethods->iVersion < 2 ||
      file->pMethods->xShmMap == nullptr) {
    return nullptr;
  }
  volatile void* region = nullptr;
  if (file->pMethods->xShmMap(file, 0, kIndexPage, 0, &region) != SQLITE_OK) return nullptr;
  return region;
}

SqliteStatement::SqliteStatement(const SqliteDb& db, const std::string& sql) {
  if (sqlite3_prepare_v2(db.Handle(), sql.c_str(), static_cast<int>(sql.size()), &statement_,
                         nullptr) != SQLITE_OK) {
    prepareError_ = db.LastError();
    sqlite3_finalize(statement_);
    statement_ = nullptr;
  }
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement_); }

void SqliteStatement::Reset() {
  if (statement_ == nullptr) return;
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
  done_ = false;
}

bool SqliteStatement::BindText(int index, const std::string& text) {
  return statement_ != nullptr &&
         sqlite3_bind_text(statement_, index, text.data(), static_cast<int>(text.size()),
                           SQLITE_TRANSIENT) == SQLITE_OK;
}

bool SqliteStatement::BindInt(int index, int value) {
  return statement_ != nullptr && sqlite3_bind_int(statement_, index, value) == SQLITE_OK;
}

bool SqliteStatement::Next() {
  if (statement_ == nullptr || done_) return false;
  const int status = sqlite3_step(statement_);
  if (status == SQLITE_ROW) return true;
  done_ = status == SQLITE_DONE;
  return false;
}

std::string SqliteStatement::ColumnText(int index) const {
  const auto* text = sqlite3_column_text(statement_, index);
  if (text == nullptr) return std::string();
  return std::string(reinterpret_cast<const char*>(text),
                     static_cast<std::size_t>(sqlite3_column_bytes(statement_, index)));
}

const char* SqliteStatement::ColumnTextOrNull(int index) const {
  return reinterpret_cast<const char*>(sqlite3_column_text(statement_, index));
}

int SqliteStatement::ColumnInt(int index) const { return sqlite3_column_int(statement_, index); }

long long SqliteStatement::ColumnInt64(int index) const {
  return sqlite3_column_int64(statement_, index);
}

}  // namespace OrinConfigStore
