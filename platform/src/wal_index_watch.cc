#include "wal_index_watch.h"

#include <atomic>
#include <cstring>

namespace OrinConfigStore {

bool WalIndexWatch::Start(const volatile void* header) {
  Stop();
  map_ = static_cast<const volatile unsigned char*>(header);
  return Active();
}

void WalIndexWatch::Stop() {
  map_ = nullptr;
  remembered_ = false;
}

// Other processes write the header while it is read: the copy may be torn,
// which can only make it differ, never hide a finished commit.
void WalIndexWatch::Copy(unsigned char* into) const {
  std::atomic_thread_fence(std::memory_order_acquire);
  for (std::size_t i = 0; i < kHeaderBytes; ++i) into[i] = map_[i];
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
