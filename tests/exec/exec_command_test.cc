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

TEST(ExecCommand, OnlyExitValueZeroSucceeds) {
  cstest::LogCapture log;
  EXPECT_TRUE(Exec({"/bin/true"}));
  EXPECT_TRUE(log.Lines().empty());
  for (const char* code : {"3", "255"}) {
    log.Clear();
    EXPECT_FALSE(Exec({"/bin/sh", "-c", "exit \"$0\"", code}));
    EXPECT_EQ(log.Lines(),
              (LogLines{{0, std::string("Child process terminated with exit value: ") + code}}));
  }
}

TEST(ExecCommand, ChildKilledBySignalCountsAsSuccess) {
  cstest::LogCapture log;
  EXPECT_TRUE(Exec({"/bin/sh", "-c", "kill -KILL $$; exit 4"}));
  EXPECT_TRUE(log.Lines().empty());
}

TEST(ExecCommand, ProgramThatCannotStartIsNotWaitedFor) {
  cstest::LogCapture log;
  // Relative paths are not searched for in PATH.
  for (const char* path : {"/nonexistent/configstore-probe", "sh"}) {
    log.Clear();
    EXPECT_FALSE(Exec({path, "-c", "exit 0"}));
    EXPECT_EQ(log.Lines(),
              (LogLines{{0, "Kernix_ForkExec failed, errno: No such file or directory"}}));
  }
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(ExecCommand, MissingArgumentVectorIsAFailedStart) {
  cstest::LogCapture log;
  const char* noProgram[] = {nullptr};
  EXPECT_FALSE(ExecCommand(nullptr));
  EXPECT_FALSE(ExecCommand(noProgram));
  const LogLines invalid(2, {0, "Kernix_ForkExec failed, errno: Invalid argument"});
  EXPECT_EQ(log.Lines(), invalid);
}

TEST(ExecCommand, ChildGetsAnEmptyEnvironment) {
  cstest::ScopedEnv probe("CONFIGSTORE_EXEC_PROBE", "x");
  std::string printed = "not run";
  {
    Redirect out(1);
    EXPECT_TRUE(Exec({"/usr/bin/env"}));
    printed = out.Contents();
  }
  EXPECT_EQ(printed, "");
}

TEST(ExecCommand, ChildSharesStandardDescriptors) {
  std::string out;
  std::string err;
  {
    Redirect in(0, "hello\n");
    Redirect outFile(1);
    Redirect errFile(2);
    EXPECT_TRUE(Exec({"/bin/sh", "-c", "read line; echo \"$line\" out; echo err >&2"}));
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
