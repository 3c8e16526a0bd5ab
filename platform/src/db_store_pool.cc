// The pool of idle connections. Connections are keyed by the database path
// they were opened on (the host root may change while the process runs) and
// by the identity of the file, so a database deleted and created again is
// not served by a connection on the old file.

#include <deque>
#include <mutex>
#include <unordered_set>
#include <vector>

#include "db_store_internal.h"
#include "platform/process.h"

namespace DBStore {
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
