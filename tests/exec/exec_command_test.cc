// Running external programs: exit values, failed starts, and what the child
// inherits (environment, descriptors, signal state, directory).

#include "configstore/exec.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "platform/kernix.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

using LogLines = std::vector<std::pair<int, std::string>>;

bool Exec(std::vector<const char*> argv) {
  argv.push_back(nullptr);
  return ExecCommand(argv.data());
}

// Points one of the test's own descriptors at a scratch file (holding
// `input`) while it lives.
class Redirect {
 public:
  explicit Redirect(int fd, const std::string& input = "") : fd_(fd), file_(std::tmpfile()) {
    std::fputs(input.c_str(), file_);
    std::fflush(nullptr);
    std::rewind(file_);
    saved_ = dup(fd_);
    dup2(fileno(file_), fd_);
  }
  ~Redirect() {
    dup2(saved_, fd_);
    close(saved_);
    std::fclose(file_);
  }
  Redirect(const Redirect&) = delete;
  Redirect& operator=(const Redirect&) = delete;

  std::string Contents() {
    std::rewind(file_);
    std::string text;
    for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_))
      text.push_back(static_cast<char>(c));
    return text;
  }

 private:
  int fd_;
  std::FILE* file_;
  int saved_ = -1;
};

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
  std::string out;
  std::string err;
  {
    Redirect in(0, "hello\n");
    Redirect outFile(1);
    Redirect errFile(2);
    EXPECT_TRUE(Exec({"/bin/sh", "-c", "read line; echo \"$line\" out; echo err >&2"}));
    EXPECT_TRUE(Exec({"/usr/bin/env"}));  // prints nothing
    out = outFile.Contents();
    err = errFile.Contents();
  }
  EXPECT_EQ(out, "hello out\n");
  EXPECT_EQ(err, "err\n");
}

TEST(ExecCommand, ChildStartsWithDefaultSignalState) {
  sigset_t term;
  sigemptyset(&term);
  sigaddset(&term, SIGTERM);
  sigset_t previousMask;
  pthread_sigmask(SIG_BLOCK, &term, &previousMask);
  const auto previousInt = signal(SIGINT, SIG_IGN);
  // Were either inherited, the shell would survive the signal and exit 4.
  EXPECT_TRUE(Exec({"/bin/sh", "-c", "kill -TERM $$; exit 4"}));
  EXPECT_TRUE(Exec({"/bin/sh", "-c", "kill -INT $$; exit 4"}));
  signal(SIGINT, previousInt);
  pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
}

// The exit status of the started child, or the call's negated errno.
int Spawn(const char* script, std::vector<int> fds, int workingDirFd = -1) {
  const char* argv[] = {"/bin/sh", "-c", script, nullptr};
  char* const env[] = {nullptr};
  pid_t pid = -1;
  const int rc = Kernix_ForkExec(argv[0], const_cast<char* const*>(argv), env, fds.data(),
                                 static_cast<int>(fds.size()), workingDirFd, 0, &pid);
  int status = 0;
  if (rc != 0) return rc;
  return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1000;
}

TEST(KernixForkExec, ChildKeepsOnlyTheListedDescriptors) {
  int pipeFds[2];
  ASSERT_EQ(pipe(pipeFds), 0);
  for (const int fd : {40, 42, 44}) ASSERT_EQ(dup2(pipeFds[0], fd), fd);
  EXPECT_EQ(Spawn("test -e /proc/self/fd/42 && test ! -e /proc/self/fd/40 && "
                  "test ! -e /proc/self/fd/44",
                  {0, 1, 2, 42}),
            0);
  for (const int fd : {40, 42, 44, pipeFds[0], pipeFds[1]}) close(fd);
}

TEST(KernixForkExec, ChildStartsInTheGivenDirectory) {
  cstest::TempRoot root;
  root.WriteFile("marker", "");
  const int dir = open(root.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(dir, 0);
  EXPECT_EQ(Spawn("test -e marker", {}, dir), 0);
  EXPECT_EQ(Spawn("test -e marker", {}, -1), 1);
  close(dir);
}

}  // namespace
}  // namespace OrinConfigStore
