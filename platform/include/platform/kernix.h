#ifndef PLATFORM_KERNIX_H_
#define PLATFORM_KERNIX_H_

#include <sys/types.h>

// The host kernel's fork-and-exec call. Starts `path` (used as given, never
// searched for in PATH) with `argv` and the environment `envp` (both
// null-terminated), the child inheriting the `inheritCount` descriptors
// listed in `inheritFds` at the same numbers and no others (a listed one
// that is close-on-exec still closes). `workingDirFd` is a directory for the
// child to start in, -1 for the caller's; `flags` must be 0. The child starts
// with no signal blocked and every signal at its default action.
//
// Returns 0 and stores the child's process id in `childPid`, or a negated
// errno: -EINVAL for a null path, vector or `childPid`, a bad count or
// non-zero flags; -EBADF for a descriptor that is negative or past the
// open-file limit; the start's own error (-ENOENT, -EACCES, ...) when the
// program cannot be run, in which case there is no child to wait for.
int Kernix_ForkExec(const char* path, char* const argv[], char* const envp[], const int* inheritFds,
                    int inheritCount, int workingDirFd, int flags, pid_t* childPid);

#endif  // PLATFORM_KERNIX_H_
