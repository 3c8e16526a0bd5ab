#include <atomic>
#include <cstdlib>
#include <cstring>

#include "configstore/host.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kUpgradeVariable = "CONFIGSTORE_UPGRADE_CTX";
std::atomic<bool> upgradeInForce{false};
}  // namespace

bool GetUpgradeCtx() {
  if (upgradeInForce.load(std::memory_order_relaxed)) return true;
  const char* value = std::getenv(kUpgradeVariable);
  return value != nullptr && std::strcmp(value, "1") == 0;
}

void SetUpgradeCtx(bool inUpgrade) { upgradeInForce.store(inUpgrade, std::memory_order_relaxed); }

}  // namespace OrinConfigStore
