// Running external programs: exit values, failed starts, what the child
// shares with the caller, and waiting across signals. What the child
// inherits otherwise is the fork-and-exec call's (tests/platform/kernix_test.cc).

#include "configstore/exec.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace OrinConfigStore {
namespace {

using LogLines = std::vector<std::pair<int, std::string>>;

bool Exec(std::vector<const char*> argv) {
  argv.push_back(nullptr);
  return ExecCommand(argv.data());
}

// Runs `script` while the test's standard input, output and error are the
// files "0", "1" and "2" under `root`.
bool RunRedirected(const cstest::TempRoot& root, const char* script) {
  int saved[3];
  std::fflush(nullptr);
  for (int fd = 0; fd < 3; ++fd) {
    saved[fd] = dup(fd);
    const std::string path = root.Path() + "/" + std::to_string(fd);
    const int file = open(path.c_str(), fd == 0 ? O_RDONLY : O_WRONLY | O_CREAT, 0600);
    dup2(file, fd);
    close(file);
  }
  const bool succeeded = Exec({"/bin/sh", "-c", script});
  for (int fd = 0; fd < 3; ++fd) {
    dup2(saved[fd], fd);
    close(saved[fd]);
  }
  return succeeded;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// What the call returns and logs for each way a child ends or fails to start.
TEST(ExecCommand, OnlyExitValueZeroSucceeds) {
  const std::pair<int, std::string> noFile{
      0, "Kernix_ForkExec failed, errno: No such file or directory"};
  const std::pair<int, std::string> invalid{0, "Kernix_ForkExec failed, errno: Invalid argument"};
  const struct {
    std::vector<const char*> argv;
    bool succeeded;
    LogLines logged;
  } cases[] = {
      {{"/bin/true"}, true, {}},
      {{"/bin/sh", "-c", "exit 3"}, false, {{0, "Child process terminated with exit value: 3"}}},
      {{"/bin/sh", "-c", "exit 255"},
       false,
       {{0, "Child process terminated with exit value: 255"}}},
      // A child killed by a signal has exit value 0.
      {{"/bin/sh", "-c", "kill -KILL $$; exit 4"}, true, {}},
      {{"/nonexistent/configstore-probe"}, false, {noFile}},
      {{"sh", "-c", "exit 0"}, false, {noFile}},  // relative paths are not searched for in PATH
      {{}, false, {invalid}},
  };
  cstest::LogCapture log;
  for (const auto& c : cases) {
    log.Clear();
    EXPECT_EQ(Exec(c.argv), c.succeeded) << (c.argv.empty() ? "no program" : c.argv.back());
    EXPECT_EQ(log.Lines(), c.logged);
  }
  log.Clear();
  EXPECT_FALSE(ExecCommand(nullptr));
  EXPECT_EQ(log.Lines(), LogLines{invalid});
  // No child is left unreaped, started or not.
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(ExecCommand, ChildSharesStandardDescriptorsButNoEnvironment) {
  cstest::TempRoot root;
  cstest::ScopedEnv probe("CONFIGSTORE_EXEC_PROBE", "x");
  root.WriteFile("0", "hello\n");
  EXPECT_TRUE(RunRedirected(root,
                            "read line; echo \"$line\" out; echo err >&2; "
                            "test -z \"$CONFIGSTORE_EXEC_PROBE\""));
  EXPECT_EQ(ReadFile(root.Path() + "/1"), "hello out\n");
  EXPECT_EQ(ReadFile(root.Path() + "/2"), "err\n");
}

// A signal that the caller catches interrupts the wait, which goes on.
TEST(ExecCommand, WaitsAcrossCaughtSignals) {
  struct sigaction caught = {};
  caught.sa_handler = [](int) {};
  struct sigaction previous = {};
  ASSERT_EQ(sigaction(SIGALRM, &caught, &previous), 0);  // without SA_RESTART
  cstest::LogCapture log;
  ualarm(100000, 0);
  EXPECT_TRUE(Exec({"/bin/sleep", "0.4"}));
  EXPECT_TRUE(log.Lines().empty());
  sigaction(SIGALRM, &previous, nullptr);
}

}  // namespace
}  // namespace OrinConfigStore
