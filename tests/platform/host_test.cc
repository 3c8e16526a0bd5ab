// The host root and the upgrade flag.

#include <gtest/gtest.h>

#include "configstore/host.h"
#include "platform/host.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

TEST(HostPath, AbsolutePathsGoUnderTheRoot) {
  const struct {
    const char* root;  // null: unset
    const char* path;
    const char* resolved;
  } cases[] = {
      {"/tmp/r", "/etc/x", "/tmp/r/etc/x"},
      {"/tmp/r//", "/etc/x", "/tmp/r/etc/x"},
      {"/tmp/r", "relativeSocketName", "relativeSocketName"},
      {nullptr, "/etc/x", "/etc/x"},
      {"/", "/etc/x", "/etc/x"},
  };
  for (const auto& c : cases) {
    cstest::ScopedEnv root("CONFIGSTORE_ROOT", c.root);
    EXPECT_EQ(HostPath(c.path), c.resolved) << (c.root ? c.root : "unset");
  }
}

// The flag itself: tests/api/public_api_test.cc.
TEST(UpgradeContext, EnvironmentSaysOne) {
  cstest::ScopedEnv other("CONFIGSTORE_UPGRADE_CTX", "yes");
  EXPECT_FALSE(GetUpgradeCtx());
  cstest::ScopedEnv on("CONFIGSTORE_UPGRADE_CTX", "1");
  EXPECT_TRUE(GetUpgradeCtx());
}

}  // namespace
}  // namespace OrinConfigStore
