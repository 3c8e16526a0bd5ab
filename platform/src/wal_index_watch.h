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
// The index stays in place only while some connection has the database
// open: SQLite may truncate it when the first connection opens the database
// afresh. The watcher is therefore used only beside a connection of its own
// on the database, which it must not outlive.

#include <cstddef>
#include <string>

namespace OrinConfigStore {

class WalIndexWatch {
 public:
  WalIndexWatch() = default;
  ~WalIndexWatch() { Stop(); }
  WalIndexWatch(const WalIndexWatch&) = delete;
  WalIndexWatch& operator=(const WalIndexWatch&) = delete;

  // Maps the index of the database at `databasePath` read-only; false when
  // it has none yet (no WAL, or a reader of the file alone).
  bool Start(const std::string& databasePath);
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

  void* map_ = nullptr;
  std::size_t length_ = 0;
  unsigned char seen_[kHeaderBytes] = {};
  bool remembered_ = false;
};

}  // namespace OrinConfigStore

#endif  // PLATFORM_SRC_WAL_INDEX_WATCH_H_
