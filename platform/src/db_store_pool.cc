// The pool of idle connections. Connections are keyed by the database path
// they were opened on (the host root may change while the process runs) and
// by the identity of the file, so a database deleted and created again is
// not served by a connection on the old file.

#include <unistd.h>

#include <deque>
#include <mutex>

#include "db_store_internal.h"

namespace DBStore {
namespace pool {

namespace {

// Enough for the few connections a process uses at once; more idle ones
// would only hold file descriptors.
constexpr std::size_t kMaxIdleConnections = 8;

struct Pool {
  std::mutex mutex;
  pid_t owner = getpid();
  std::deque<std::unique_ptr<StoreConnection>> idle;  // oldest first
  std::vector<std::unique_ptr<StoreConnection>> inherited;
};

// Never destroyed: a connection may come back while the process exits,
// after the destructors of statics have run.
Pool& Idle() {
  static Pool* const pool = new Pool;
  return *pool;
}

// After a fork, the child must not use or close the parent's connections
// (closing one would drop locks and may checkpoint the parent's journal).
// Called with the lock held.
void AdoptProcess(Pool& pool) {
  if (pool.owner == getpid()) return;
  for (auto& connection : pool.idle) pool.inherited.push_back(std::move(connection));
  pool.idle.clear();
  pool.owner = getpid();
}

}  // namespace

std::unique_ptr<StoreConnection> Take(const std::string& path, const FileId& file) {
  std::unique_ptr<StoreConnection> found;
  std::vector<std::unique_ptr<StoreConnection>> stale;  // closed once the lock is released
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  AdoptProcess(pool);
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
  std::unique_ptr<StoreConnection> evicted;  // closed once the lock is released
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  AdoptProcess(pool);
  pool.idle.push_back(std::move(connection));
  if (pool.idle.size() <= kMaxIdleConnections) return;
  evicted = std::move(pool.idle.front());
  pool.idle.pop_front();
}

void Abandon(std::unique_ptr<StoreConnection> connection) {
  Pool& pool = Idle();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  pool.inherited.push_back(std::move(connection));
}

}  // namespace pool
}  // namespace DBStore
