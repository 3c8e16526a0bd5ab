#include "configstore/exec.h"

#include <errno.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <cstring>

#include "configstore/error_codes.h"
#include "configstore/logger.h"
#include "platform/kernix.h"

namespace OrinConfigStore {

namespace {

constexpr int kErrorPriority = 0;
// The child shares the caller's standard input, output and error.
constexpr int kStandardFds[] = {0, 1, 2};
constexpr int kStandardFdCount = 3;
constexpr int kCallersDirectory = -1;
constexpr int kNoFlags = 0;

// The byte of a wait status that holds a normally ended child's exit code.
// It is read without asking how the child ended: for a child killed by a
// signal it is 0, and such a child counts as a success.
int ExitValue(int status) { return (status >> 8) & 0xff; }

// Starts the program; false (logged, errno set) when it could not be run.
// A null vector or program path is refused by the kernel call with EINVAL
// and reported like any other failed start.
bool Start(const char** argv, pid_t* pid) {
  char* const emptyEnvironment[] = {nullptr};
  const char* path = argv != nullptr ? argv[0] : nullptr;
  const int rc = Kernix_ForkExec(path, const_cast<char* const*>(argv), emptyEnvironment,
                                 kStandardFds, kStandardFdCount, kCallersDirectory, kNoFlags, pid);
  if (rc < 0) errno = -rc;
  if (rc == 0) return true;
  CSLogger::LogErrCode(kErrorPriority, CS_ERR_FORK_EXEC, strerror(errno));
  return false;
}

// Waits for the child; a signal caught by the caller meanwhile does not end
// the wait, which would leave the child unreaped.
bool Wait(pid_t pid, int* status) {
  pid_t waited;
  do {
    waited = waitpid(pid, status, 0);
  } while (waited < 0 && errno == EINTR);
  if (waited >= 0) return true;
  CSLogger::LogErrCode(kErrorPriority, CS_ERR_WAIT_CHILD, static_cast<int>(pid), strerror(errno));
  return false;
}

}  // namespace

bool ExecCommand(const char** argv) {
  pid_t pid = -1;
  int status = 0;
  if (!Start(argv, &pid) || !Wait(pid, &status)) return false;
  const int exitValue = ExitValue(status);
  if (exitValue == 0) return true;
  CSLogger::LogErrCode(kErrorPriority, CS_ERR_CHILD_EXIT, exitValue);
  return false;
}

}  // namespace OrinConfigStore
