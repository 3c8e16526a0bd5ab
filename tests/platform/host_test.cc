// The small host utilities: the root directory rule, the upgrade flag and
// the formatter.

#include <gtest/gtest.h>

#include "configstore/host.h"
#include "errors/format.h"
#include "platform/host.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

TEST(HostPath, AbsolutePathsGoUnderTheRoot) {
  {
    cstest::ScopedEnv root("CONFIGSTORE_ROOT", "/tmp/r");
    EXPECT_EQ(HostPath("/etc/tessel/configstore/current-store-1"),
              "/tmp/r/etc/tessel/configstore/current-store-1");
    EXPECT_EQ(HostPath("tslLocalSocketWardenNotifyNexa"), "tslLocalSocketWardenNotifyNexa");
  }
  {
    cstest::ScopedEnv root("CONFIGSTORE_ROOT", "/tmp/r//");
    EXPECT_EQ(HostPath("/etc/x"), "/tmp/r/etc/x");
  }
  for (const char* none : {static_cast<const char*>(nullptr), "", "/"}) {
    cstest::ScopedEnv root("CONFIGSTORE_ROOT", none);
    EXPECT_EQ(HostPath("/etc/x"), "/etc/x");
  }
}

TEST(UpgradeContext, FlagOrEnvironment) {
  cstest::ScopedEnv clear("CONFIGSTORE_UPGRADE_CTX", nullptr);
  EXPECT_FALSE(GetUpgradeCtx());
  SetUpgradeCtx(true);
  EXPECT_TRUE(GetUpgradeCtx());
  SetUpgradeCtx(false);
  EXPECT_FALSE(GetUpgradeCtx());
  {
    cstest::ScopedEnv on("CONFIGSTORE_UPGRADE_CTX", "1");
    EXPECT_TRUE(GetUpgradeCtx());
  }
  cstest::ScopedEnv other("CONFIGSTORE_UPGRADE_CTX", "yes");
  EXPECT_FALSE(GetUpgradeCtx());
}

TEST(Format, AllocatesWhatTheTextNeeds) {
  EXPECT_EQ(Str_Format("[%d] %s", 1087, "x"), "[1087] x");
  const std::string big(10000, 'y');
  EXPECT_EQ(Str_Format("%s!", big.c_str()), big + "!");
  EXPECT_EQ(Str_Format("%s", ""), "");
}

}  // namespace
}  // namespace OrinConfigStore
