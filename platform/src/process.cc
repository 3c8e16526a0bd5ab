#include "platform/process.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace OrinConfigStore {

namespace {

// 0 until the first call of a process asks the kernel.
std::atomic<pid_t> knownId{0};

// Runs in the child of fork(), where only async-signal-safe work is allowed:
// a store to an atomic is.
void ForgetInChild() { knownId.store(0, std::memory_order_relaxed); }

}  // namespace

pid_t CurrentProcessId() {
  static const bool forgetsAfterFork = pthread_atfork(nullptr, nullptr, ForgetInChild) == 0;
  pid_t id = forgetsAfterFork ? knownId.load(std::memory_order_relaxed) : 0;
  if (id == 0) {
    id = getpid();
    knownId.store(id, std::memory_order_relaxed);
  }
  return id;
}

}  // namespace OrinConfigStore
