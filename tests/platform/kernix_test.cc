// The fork-and-exec call: what the child inherits (descriptors, directory,
// signal state) and the calls it refuses.

#include "platform/kernix.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

// The exit status of the started child (128 + the signal that killed it),
// or the call's negated errno.
int Spawn(const char* script, std::vector<int> fds, int workingDirFd = -1, int flags = 0) {
  const char* argv[] = {"/bin/sh", "-c", script, nullptr};
  char* const env[] = {nullptr};
  pid_t pid = -1;
  const int rc = Kernix_ForkExec(argv[0], const_cast<char* const*>(argv), env, fds.data(),
                                 static_cast<int>(fds.size()), workingDirFd, flags, &pid);
  int status = 0;
  if (rc != 0) return rc;
  if (waitpid(pid, &status, 0) != pid) return -1000;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A missing program and a null path: see ExecCommand.OnlyExitValueZeroSucceeds.
TEST(KernixForkExec, RefusesBadFlagsAndDescriptors) {
  EXPECT_EQ(Spawn("exit 0", {}, -1, 1), -EINVAL);
  EXPECT_EQ(Spawn("exit 0", {0, -1}), -EBADF);
  EXPECT_EQ(Spawn("exit 0", {0, 1 << 30}), -EBADF);
  EXPECT_EQ(Spawn("exit 0", {}, -2), -EBADF);
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

// The directory descriptor is not among the inherited ones: the change of
// directory must come before the unlisted descriptors close.
TEST(KernixForkExec, ChildStartsInTheGivenDirectory) {
  cstest::TempRoot root;
  root.WriteFile("marker", "");
  const int dir = open(root.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(dir, 0);
  EXPECT_EQ(Spawn("test -e marker", {}, dir), 0);
  EXPECT_EQ(Spawn("test -e marker", {}, -1), 1);
  close(dir);
}

TEST(KernixForkExec, ChildStartsWithDefaultSignalState) {
  sigset_t term;
  sigemptyset(&term);
  sigaddset(&term, SIGTERM);
  sigset_t previousMask;
  pthread_sigmask(SIG_BLOCK, &term, &previousMask);
  const auto previousInt = signal(SIGINT, SIG_IGN);
  // Were either inherited, the shell would survive the signal and exit 4.
  EXPECT_EQ(Spawn("kill -TERM $$; exit 4", {}), 128 + SIGTERM);
  EXPECT_EQ(Spawn("kill -INT $$; exit 4", {}), 128 + SIGINT);
  signal(SIGINT, previousInt);
  pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
}

}  // namespace
