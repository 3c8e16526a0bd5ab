#ifndef PLATFORM_HOST_H_
#define PLATFORM_HOST_H_

// The host environment as the library's layers see it (the settings callers
// may change are in configstore/host.h).

#include <sys/types.h>

#include <string>

namespace OrinConfigStore {

// `path` resolved under the host root: CONFIGSTORE_ROOT when set and
// non-empty, else "/". Absolute paths get the root prefixed; relative paths
// (such as the agent's socket name) are returned as they stand. This and
// RootSetting are the only readers of CONFIGSTORE_ROOT.
std::string HostPath(const std::string& path);

// CONFIGSTORE_ROOT as the environment holds it now; null when unset. A cache
// of resolved paths compares it to notice a new root without resolving its
// paths again.
const char* RootSetting();

// The calling process's id, as getpid() gives it, without a system call on
// every use: the value is kept and forgotten in the child of each fork().
// The database layer asks for it on every statement, to notice that it runs
// in a child that inherited the parent's connections.
pid_t CurrentProcessId();

}  // namespace OrinConfigStore

#endif  // PLATFORM_HOST_H_
