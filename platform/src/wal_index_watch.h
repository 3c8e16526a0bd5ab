#ifndef PLATFORM_SRC_WAL_INDEX_WATCH_H_
#define PLATFORM_SRC_WAL_INDEX_WATCH_H_

// Noticing a commit to a WAL database without a system call.
//
// Every commit to a database in WAL mode rewrites the header of the
// database's shared-memory index (the "-shm" file, whose layout is part of
// SQLite's documented file format): its change counter, last frame and
// checksums move on. Comparing that header with a copy costs a memory read,
// where asking SQLite (PRAGMA data_version) costs file locks and a stat()
// of the files costs system calls.
//
// The header is read through the mapping of a connection of the watcher's
// owner (SqliteDb::WalIndex), never through a descriptor of its own: closing
// any descriptor of the file would drop every lock the process holds on it,
// among them the one that keeps other processes from resetting the index
// under the mapping. The watcher must not outlive that connection.

#include <cstddef>

namespace OrinConfigStore {

class WalIndexWatch {
 public:
  WalIndexWatch() = default;
  ~WalIndexWatch() { Stop(); }
  WalIndexWatch(const WalIndexWatch&) = delete;
  WalIndexWatch& operator=(const WalIndexWatch&) = delete;

  // Watches the index whose header is at `header` (SqliteDb::WalIndex);
  // false, watching nothing, when it is null.
  bool Start(const volatile void* header);
  void Stop();
  bool Active() const { return map_ != nullptr; }

  // Remembers the header as it is now. Call before asking the database what
  // it holds, so that a commit in between shows as a change next time.
  void Remember();
  // Whether the header is as remembered (false when not active).
  bool Unchanged() const;

  // One copy of the index header: SQLite writes two and readers check both.
  static constexpr std::size_t kHeaderBytes = 48;

 private:
  void Copy(unsigned char* into) const;

  const volatile unsigned char* map_ = nullptr;
  unsigned char seen_[kHeaderBytes] = {};
  bool remembered_ = false;
};

}  // namespace OrinConfigStore

#endif  // PLATFORM_SRC_WAL_INDEX_WATCH_H_
