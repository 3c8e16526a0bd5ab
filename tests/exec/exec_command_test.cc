// Running external programs: exit values, failed starts, what the child
// shares with the caller, and waiting across signals. What the child
// inherits otherwise is the fork-and-exec call's (tests/platform/kernix_test.cc).

#include "configstore/exec.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace OrinConfigStore {
namespace {

bool Exec(std::vector<const char*> argv) {
  argv.push_back(nullptr);
  return ExecCommand(argv.data());
}

// Only exit value 0 succeeds; a child killed by a signal has exit value 0.
// A failed start is false too, and no child is left unreaped.
TEST(ExecCommand, OnlyExitValueZeroSucceeds) {
  const std::pair<std::vector<const char*>, bool> cases[] = {
      {{"/bin/true"}, true},
      {{"/bin/sh", "-c", "exit 3"}, false},
      {{"/bin/sh", "-c", "kill -KILL $$; exit 4"}, true},
      {{"/nonexistent/configstore-probe"}, false},
      {{"sh", "-c", "exit 0"}, false},  // relative paths are not searched for in PATH
      {{}, false},
  };
  for (const auto& [argv, succeeded] : cases) {
    EXPECT_EQ(Exec(argv), succeeded) << (argv.empty() ? "no program" : argv.back());
  }
  EXPECT_FALSE(ExecCommand(nullptr));
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

// Each of the child's descriptors 0, 1 and 2 is the caller's (the shell's
// parent is the test itself).
TEST(ExecCommand, ChildSharesStandardDescriptorsButNoEnvironment) {
  cstest::ScopedEnv probe("CONFIGSTORE_EXEC_PROBE", "x");
  EXPECT_TRUE(Exec({"/bin/sh", "-c",
                    "for fd in 0 1 2; do test /proc/self/fd/$fd -ef /proc/$PPID/fd/$fd || exit 1; "
                    "done; test -z \"$CONFIGSTORE_EXEC_PROBE\""}));
}

// A signal that the caller catches interrupts the wait, which goes on.
TEST(ExecCommand, WaitsAcrossCaughtSignals) {
  struct sigaction caught = {};
  caught.sa_handler = [](int) {};
  struct sigaction previous = {};
  ASSERT_EQ(sigaction(SIGALRM, &caught, &previous), 0);  // without SA_RESTART
  ualarm(100000, 0);
  EXPECT_TRUE(Exec({"/bin/sleep", "0.4"}));
  sigaction(SIGALRM, &previous, nullptr);
}

}  // namespace
}  // namespace OrinConfigStore
