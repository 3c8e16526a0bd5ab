// The process's view of its host: the root directory every path is
// resolved under, the upgrade flag, and the process id after fork().

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "configstore/host.h"
#include "platform/host.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRootVariable = "CONFIGSTORE_ROOT";
constexpr const char* kUpgradeVariable = "CONFIGSTORE_UPGRADE_CTX";
std::atomic<bool> upgradeInForce{false};

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

const char* RootSetting() { return std::getenv(kRootVariable); }

std::string HostPath(const std::string& path) {
  const char* root = RootSetting();
  if (root == nullptr || *root == '\0' || path.empty() || path.front() != '/') return path;
  std::string resolved(root);
  while (resolved.size() > 1 && resolved.back() == '/') resolved.pop_back();
  if (resolved == "/") return path;
  return resolved + path;
}

bool GetUpgradeCtx() {
  if (upgradeInForce.load(std::memory_order_relaxed)) return true;
  const char* value = std::getenv(kUpgradeVariable);
  return value != nullptr && std::strcmp(value, "1") == 0;
}

void SetUpgradeCtx(bool inUpgrade) { upgradeInForce.store(inUpgrade, std::memory_order_relaxed); }

}  // namespace OrinConfigStore
