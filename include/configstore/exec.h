#ifndef CONFIGSTORE_EXEC_H_
#define CONFIGSTORE_EXEC_H_

#include "configstore/export.h"

namespace OrinConfigStore {

// Runs the program `argv[0]` with the null-terminated argument vector `argv`,
// an empty environment and the caller's standard input, output and error, and
// waits for it. True when the child started and its exit value is 0. The
// exit value is read from the wait status without asking how the child
// ended, so a child killed by a signal counts as a success. Never throws:
// a failed start, a failed wait or a non-zero exit value is logged (codes
// 1102, 1103, 1104) and answered false; a null vector or a null program
// path is a failed start with EINVAL. The path is used as given, never
// searched for in PATH. Blocks the calling thread until the child ends,
// also across signals that the caller catches meanwhile.
CONFIGSTORE_API bool ExecCommand(const char** argv);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_EXEC_H_
