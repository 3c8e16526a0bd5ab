#include "platform/kernix.h"

#include <errno.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>

// The host kernel's call is emulated with posix_spawn: glibc starts the
// child with vfork and reports a failed exec (a missing program included)
// as the spawn's own error, so a child that never ran needs no wait.

#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
#define KERNIX_HAVE_CLOSEFROM 1
#else
#define KERNIX_HAVE_CLOSEFROM 0
#endif

namespace {

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

class Attributes {
 public:
  Attributes() { posix_spawnattr_init(&attr_); }
  ~Attributes() { posix_spawnattr_destroy(&attr_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  posix_spawnattr_t* get() { return &attr_; }

 private:
  posix_spawnattr_t attr_;
};

// 0, or the errno that the arguments deserve.
int CheckArguments(const char* path, char* const argv[], char* const envp[], const int* inheritFds,
                   int inheritCount, int workingDirFd, int flags, const pid_t* childPid) {
  if (path == nullptr || argv == nullptr || envp == nullptr || childPid == nullptr) return EINVAL;
  if (inheritCount < 0 || (inheritCount > 0 && inheritFds == nullptr) || flags != 0) return EINVAL;
  if (workingDirFd < -1) return EBADF;
  // A descriptor at or past the limit cannot be open in this process.
  const int limit = getdtablesize();
  if (std::any_of(inheritFds, inheritFds + inheritCount,
                  [limit](int fd) { return fd < 0 || fd >= limit; })) {
    return EBADF;
  }
  return 0;
}

// Closes in the child every descriptor that is not listed, so that the
// caller's sockets, pipes and database files do not leak into the program.
// The listed ones keep their numbers; one that is close-on-exec in the
// caller still closes at exec. Without closefrom, unlisted descriptors
// follow their own close-on-exec flag.
int AddCloseUnlisted(posix_spawn_file_actions_t* actions, const int* keep, int count) {
#if KERNIX_HAVE_CLOSEFROM
  const int* end = keep + count;
  const int top = count > 0 ? *std::max_element(keep, end) : -1;
  for (int fd = 0; fd < top; ++fd) {
    if (std::find(keep, end, fd) != end) continue;
    // The child skips the ones that are not open.
    if (const int rc = posix_spawn_file_actions_addclose(actions, fd)) return rc;
  }
  return posix_spawn_file_actions_addclosefrom_np(actions, top + 1);
#else
  (void)actions;
  (void)keep;
  (void)count;
  return 0;
#endif
}

// The program starts with no blocked signals and every signal at its
// default action, whatever the calling service has blocked or ignored.
int AddSignalReset(posix_spawnattr_t* attr) {
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  if (const int rc = posix_spawnattr_setsigmask(attr, &none)) return rc;
  if (const int rc = posix_spawnattr_setsigdefault(attr, &all)) return rc;
  return posix_spawnattr_setflags(attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

}  // namespace

int Kernix_ForkExec(const char* path, char* const argv[], char* const envp[], const int* inheritFds,
                    int inheritCount, int workingDirFd, int flags, pid_t* childPid) {
  if (const int rc = CheckArguments(path, argv, envp, inheritFds, inheritCount, workingDirFd, flags,
                                    childPid)) {
    return -rc;
  }
  FileActions actions;
  Attributes attr;
  // The directory change comes first: the descriptor may be one that the
  // next actions close.
  int rc =
      workingDirFd >= 0 ? posix_spawn_file_actions_addfchdir_np(actions.get(), workingDirFd) : 0;
  if (rc == 0) {
    rc = AddCloseUnlisted(actions.get(), inheritFds, inheritCount);
  }
  if (rc == 0) rc = AddSignalReset(attr.get());
  if (rc == 0) rc = posix_spawn(childPid, path, actions.get(), attr.get(), argv, envp);
  return -rc;
}
