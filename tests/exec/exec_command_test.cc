// Running external programs: exit values, failed starts, what the child
// shares with the caller, and waiting across signals. What the child
// inherits otherwise is the fork-and-exec call's (tests/platform/kernix_test.cc).

#include "configstore/exec.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
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

// What the child wrote to its standard output and error, given `input` on
// its standard input; the test's own descriptors point at scratch files
// meanwhile.
struct Captured {
  bool succeeded = false;
  std::string out, err;
};
Captured RunCaptured(std::vector<const char*> argv, const std::string& input) {
  std::FILE* files[3];
  int saved[3];
  std::fflush(nullptr);
  for (int fd = 0; fd < 3; ++fd) {
    files[fd] = std::tmpfile();
    saved[fd] = dup(fd);
    dup2(fileno(files[fd]), fd);
  }
  std::fputs(input.c_str(), files[0]);
  std::fflush(files[0]);
  std::rewind(files[0]);
  Captured result;
  result.succeeded = Exec(std::move(argv));
  std::string* texts[] = {nullptr, &result.out, &result.err};
  for (int fd = 0; fd < 3; ++fd) {
    dup2(saved[fd], fd);
    close(saved[fd]);
    std::rewind(files[fd]);
    for (int c = std::fgetc(files[fd]); texts[fd] != nullptr && c != EOF; c = std::fgetc(files[fd]))
      texts[fd]->push_back(static_cast<char>(c));
    std::fclose(files[fd]);
  }
  return result;
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
  cstest::ScopedEnv probe("CONFIGSTORE_EXEC_PROBE", "x");
  const Captured shell =
      RunCaptured({"/bin/sh", "-c", "read line; echo \"$line\" out; echo err >&2"}, "hello\n");
  EXPECT_TRUE(shell.succeeded);
  EXPECT_EQ(shell.out, "hello out\n");
  EXPECT_EQ(shell.err, "err\n");
  const Captured env = RunCaptured({"/usr/bin/env"}, "");
  EXPECT_TRUE(env.succeeded);
  EXPECT_EQ(env.out, "");
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
