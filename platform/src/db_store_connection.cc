// Connections on the configuration database: opening them, the pool of idle
// ones (keyed by the database path they were opened on, since the host root
// may change while the process runs, and by the identity of the file, so
// that a database deleted and created again is not served by a connection
// on the old file), handing them out and taking them back, what a child of
// fork() does with the ones it inherited, and creating the database file.

#include <sys/stat.h>

#include <cerrno>
#include <deque>
#include <filesystem>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "configstore/logger.h"
#include "db_store_internal.h"
#include "platform/host.h"

namespace DBStore {

namespace {

using OrinConfigStore::CSLogger;
using OrinConfigStore::SqliteDb;
using OrinConfigStore::SqliteStatement;

constexpr const char* kEnableWal = "PRAGMA journal_mode=WAL;";
constexpr const char* kWalMode = "wal";
constexpr const char* kSynchronousFull = "PRAGMA synchronous=FULL;";
constexpr const char* kNoWal = "cannot switch to WAL: ";
constexpr const char* kLogCannotOpen = "DBStore: cannot open %s: %s";
constexpr const char* kLogCannotCreate = "DBStore: cannot create %s: %s";
constexpr const char* kLogUnknownType = "DBStore: no database of type %d";
constexpr const char* kLogForkedInTransaction =
    "DBStore: %s: this process was forked while a transaction was open; it cannot use the "
    "database";
constexpr const char* kLogReleasedInTransaction =
    "DBStore: a connection on %s was released inside a transaction; rolled back";

// Sets WAL mode, which the file keeps once set; false with `error` set when
// SQLite stays in another mode.
bool SetWal(const SqliteDb& db, std::string* error) {
  SqliteStatement pragma(db, kEnableWal);
  if (pragma.Next() && pragma.ColumnText(0) == kWalMode) return true;
  *error = kNoWal + db.LastError();
  return false;
}

// The file's identity; false, logged, when it does not exist.
bool Identify(const std::string& path, FileId* file) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) {
    const std::error_code missing(errno, std::generic_category());
    CSLogger::Log(0, kLogCannotOpen, path.c_str(), missing.message().c_str());
    RecordFailure(SQLITE_CANTOPEN, missing.message());
    return false;
  }
  file->device = status.st_dev;
  file->inode = status.st_ino;
  return true;
}

bool KnownType(Type type) {
  if (type == CONFIG) return true;
  CSLogger::Log(0, kLogUnknownType, static_cast<int>(type));
  return false;
}

// See StoreConnection::Open.
std::unique_ptr<SqliteDb> OpenConfigured(const std::string& path, bool* immutable) {
  *immutable = false;
  std::string error;
  int code = SQLITE_CANTOPEN;
  auto db = SqliteDb::Open(path, SqliteDb::Mode::kReadWrite, &error, &code);
  if (db != nullptr && db->ReadOnly()) {
    db = SqliteDb::OpenReader(path, &error, &code, immutable);
    if (db != nullptr) return db;
  } else if (db != nullptr) {
    if (SetWal(*db, &error) && db->Exec(kSynchronousFull, &error)) {
      db->PersistWal();
      return db;
    }
    code = db->LastErrorCode();
  }
  CSLogger::Log(0, kLogCannotOpen, path.c_str(), error.c_str());
  RecordFailure(code, error);
  return nullptr;
}

}  // namespace

StoreConnection::StoreConnection(std::unique_ptr<SqliteDb> db, std::string path, const FileId& file,
                                 bool immutable)
    : db_(std::move(db)),
      immutable_(immutable),
      path_(std::move(path)),
      file_(file),
      owner_(OrinConfigStore::CurrentProcessId()) {
  pool::Register(this);
}

StoreConnection::~StoreConnection() {
  pool::Unregister(this);
  if (abandoned_) {
    // Deliberately leaked: finalising or closing would touch the parent's
    // transaction.
    static_cast<void>(new StatementCache(std::move(statements_)));
    static_cast<void>(db_.release());
    return;
  }
  statements_.Clear();
}

std::unique_ptr<StoreConnection> StoreConnection::Open(const std::string& path,
                                                       const FileId& file) {
  bool immutable = false;
  auto db = OpenConfigured(path, &immutable);
  if (db == nullptr) return nullptr;
  return std::unique_ptr<StoreConnection>(
      new StoreConnection(std::move(db), path, file, immutable));
}

bool StoreConnection::Revive() {
  if (owner_ == OrinConfigStore::CurrentProcessId()) return true;
  if (pool::ReleaseInherited()) {
    CSLogger::Log(0, kLogForkedInTransaction, path_.c_str());
    return false;
  }
  FileId file;
  if (!Identify(path_, &file)) return false;
  auto db = OpenConfigured(path_, &immutable_);
  if (db == nullptr) return false;
  db_ = std::move(db);
  file_ = file;
  owner_ = OrinConfigStore::CurrentProcessId();
  depth = 0;
  return true;
}

void StoreConnection::DropInherited() {
  if (owner_ == OrinConfigStore::CurrentProcessId() || db_ == nullptr || abandoned_) return;
  statements_.Clear();
  db_.reset();
}

bool StoreConnection::InTransaction() const {
  return depth > 0 || (db_ != nullptr && EngineInTransaction());
}

bool StoreConnection::ResetForReuse() {
  if (immutable_) return false;
  if (depth > 0 || EngineInTransaction()) {
    CSLogger::Log(1, kLogReleasedInTransaction, path_.c_str());
    db_->Exec(kRollback, nullptr);
    return false;
  }
  // A database left attached (a failed DETACH) would be visible to the next
  // holder under its alias; such a connection is closed instead. Index 0 is
  // "main", 1 "temp".
  if (sqlite3_db_name(Handle(), 2) != nullptr) return false;
  return db_->Exec(kSynchronousFull, nullptr);
}

void ReturnConnection(StoreConnection* released) {
  std::unique_ptr<StoreConnection> connection(released);
  if (connection->Owner() != OrinConfigStore::CurrentProcessId()) {
    // Inherited and never used here: it closes with the others.
    pool::ReleaseInherited();
  } else if (connection->ResetForReuse()) {
    pool::Put(std::move(connection));
  }
}

std::shared_ptr<StoreConnection> GetConnection(Type type) {
  if (!KnownType(type)) return nullptr;
  const std::string path = OrinConfigStore::HostPath(kConfigDatabaseFile);
  FileId file;
  if (!Identify(path, &file)) return nullptr;
  if (pool::ReleaseInherited()) {
    CSLogger::Log(0, kLogForkedInTransaction, path.c_str());
    return nullptr;
  }
  auto connection = pool::Take(path, file);
  if (connection == nullptr) connection = StoreConnection::Open(path, file);
  if (connection == nullptr) return nullptr;
  return std::shared_ptr<StoreConnection>(connection.release(), ReturnConnection);
}

int CreateDatabase(Type type) {
  if (!KnownType(type)) return 1;
  const std::string path = OrinConfigStore::HostPath(kConfigDatabaseFile);
  std::error_code failure;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), failure);
  std::string error;
  std::unique_ptr<SqliteDb> db;
  if (failure) {
    error = failure.message();
  } else {
    db = SqliteDb::Open(path, SqliteDb::Mode::kCreate, &error);
  }
  if (db == nullptr || !SetWal(*db, &error)) {
    CSLogger::Log(0, kLogCannotCreate, path.c_str(), error.c_str());
    RecordFailure(db != nullptr ? db->LastErrorCode() : SQLITE_CANTOPEN, error);
    return 1;
  }
  db->PersistWal();
  return 0;
}

namespace pool {

namespace {

// Enough for the few connections a process uses at once; more idle ones
// would only hold file descriptors.
constexpr std::size_t kMaxIdleConnections = 8;

struct Pool {
  std::mutex mutex;
  pid_t owner = OrinConfigStore::CurrentProcessId();
  std::deque<std::unique_ptr<StoreConnection>> idle;  // oldest first
  std::unordered_set<StoreConnection*> open;          // idle or held
  // Set in a child forked while a transaction was open; inherited by its
  // own children.
  bool forkedInTransaction = false;
};

// Never destroyed: a connection may come back while the process exits,
// after the destructors of statics have run.
Pool& Idle() {
  static Pool* const pool = new Pool;
  return *pool;
}

// SQLite keeps one record of file locks per file and process. A child of
// fork() inherits the parent's record but not its locks, so a connection
// the child opened beside an inherited one would believe the file already
// locked and take no lock of its own; once the parent exits, another
// process could then checkpoint and remove the journal under the child's
// commits. So the child closes every inherited connection before it opens
// one: idle ones for good, held ones until their holder next uses them.
// Closing in the child releases only the child's locks, of which it has
// none; the parent's stay.
//
// A connection inside a transaction cannot be closed so: the rollback
// would rewrite the journal index in memory the parent shares. If the
// parent had one open, every inherited connection is abandoned (its handle
// kept, never used) and, since SQLite's record of the file stays wrong
// while any is, the process opens no connection at all.
//
// Called with the lock held; the idle connections move to `closing`, to be
// destroyed once the lock is released.
void AdoptProcess(Pool& pool, std::vector<std::unique_ptr<StoreConnection>>& closing) {
  const pid_t self = OrinConfigStore::CurrentProcessId();
  if (pool.owner == self) return;
  pool.owner = self;
  for (auto& connection : pool.idle) closing.push_back(std::move(connection));
  pool.idle.clear();
  for (StoreConnection* connection : pool.open) {
    if (connection->Owner() != self && connection->InTransaction()) {
      pool.forkedInTransaction = true;
    }
  }
  for (StoreConnection* connection : pool.open) {
    if (pool.forkedInTransaction) {
      connection->Abandon();
    } else {
      connection->DropInherited();
    }
  }
}

}  // namespace

std::unique_ptr<StoreConnection> Take(const std::string& path, const FileId& file) {
  std::unique_ptr<StoreConnection> found;
  std::vector<std::unique_ptr<StoreConnection>> stale;  // closed once the lock is released
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  AdoptProcess(pool, stale);
  for (std::size_t i = pool.idle.size(); i-- > 0;) {
    StoreConnection& connection = *pool.idle[i];
    if (connection.Path() != path) continue;
    if (!(connection.File() == file)) {
      stale.push_back(std::move(pool.idle[i]));
    } else if (found == nullptr) {
      found = std::move(pool.idle[i]);
    } else {
      continue;
    }
    pool.idle.erase(pool.idle.begin() + static_cast<std::ptrdiff_t>(i));
  }
  return found;
}

void Put(std::unique_ptr<StoreConnection> connection) {
  std::vector<std::unique_ptr<StoreConnection>> evicted;  // closed once the lock is released
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  AdoptProcess(pool, evicted);
  pool.idle.push_back(std::move(connection));
  if (pool.idle.size() <= kMaxIdleConnections) return;
  evicted.push_back(std::move(pool.idle.front()));
  pool.idle.pop_front();
}

void Register(StoreConnection* connection) {
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  pool.open.insert(connection);
}

void Unregister(StoreConnection* connection) {
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  pool.open.erase(connection);
}

bool ReleaseInherited() {
  std::vector<std::unique_ptr<StoreConnection>> closing;  // closed once the lock is released
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  AdoptProcess(pool, closing);
  return pool.forkedInTransaction;
}

}  // namespace pool
}  // namespace DBStore
