#include "wal_index_watch.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace OrinConfigStore {

namespace {
constexpr const char* kIndexSuffix = "-shm";
// The index is mapped by the page; its header sits at the start.
constexpr std::size_t kMappedBytes = 4096;
}  // namespace

bool WalIndexWatch::Start(const std::string& databasePath) {
  Stop();
  const int fd = ::open((databasePath + kIndexSuffix).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info;
  // An index not yet as long as a page is still being set up: watch later.
  if (::fstat(fd, &info) == 0 && static_cast<std::size_t>(info.st_size) >= kMappedBytes) {
    void* map = ::mmap(nullptr, kMappedBytes, PROT_READ, MAP_SHARED, fd, 0);
    if (map != MAP_FAILED) {
      map_ = map;
      length_ = kMappedBytes;
    }
  }
  ::close(fd);
  return Active();
}

void WalIndexWatch::Stop() {
  if (map_ != nullptr) ::munmap(map_, length_);
  map_ = nullptr;
  remembered_ = false;
}

// Other processes write the header while it is read: the copy may be torn,
// which can only make it differ, never hide a finished commit.
void WalIndexWatch::Copy(unsigned char* into) const {
  std::atomic_thread_fence(std::memory_order_acquire);
  std::memcpy(into, map_, kHeaderBytes);
}

void WalIndexWatch::Remember() {
  if (!Active()) return;
  Copy(seen_);
  remembered_ = true;
}

bool WalIndexWatch::Unchanged() const {
  if (!Active() || !remembered_) return false;
  unsigned char now[kHeaderBytes];
  Copy(now);
  return std::memcmp(now, seen_, kHeaderBytes) == 0;
}

}  // namespace OrinConfigStore
