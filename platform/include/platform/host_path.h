#ifndef PLATFORM_HOST_PATH_H_
#define PLATFORM_HOST_PATH_H_

#include <string>

namespace OrinConfigStore {

// `path` resolved under the host root: CONFIGSTORE_ROOT when set and
// non-empty, else "/". Absolute paths get the root prefixed; relative paths
// (such as the agent's socket name) are returned as they stand. This is the
// only reader of CONFIGSTORE_ROOT.
std::string HostPath(const std::string& path);

}  // namespace OrinConfigStore

#endif  // PLATFORM_HOST_PATH_H_
