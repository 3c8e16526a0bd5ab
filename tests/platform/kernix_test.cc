// The fork-and-exec call: what the child inherits (descriptors and signal
// state).

#include "platform/kernix.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The exit status of the started child (128 + the signal that killed it),
// or the call's negated errno. The library passes no working directory and
// no flags, so those paths (and the refusals they bring) go untested.
int Spawn(const char* script, std::vector<int> fds) {
  const char* argv[] = {"/bin/sh", "-c", script, nullptr};
  char* const env[] = {nullptr};
  pid_t pid = -1;
  const int rc = Kernix_ForkExec(argv[0], const_cast<char* const*>(argv), env, fds.data(),
                                 static_cast<int>(fds.size()), -1, 0, &pid);
  int status = 0;
  if (rc != 0) return rc;
  if (waitpid(pid, &status, 0) != pid) return -1000;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
