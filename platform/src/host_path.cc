#include "platform/host_path.h"

#include <cstdlib>

namespace OrinConfigStore {

namespace {
constexpr const char* kRootVariable = "CONFIGSTORE_ROOT";
}

std::string HostPath(const std::string& path) {
  const char* root = std::getenv(kRootVariable);
  if (root == nullptr || *root == '\0' || path.empty() || path.front() != '/') return path;
  std::string resolved(root);
  while (resolved.size() > 1 && resolved.back() == '/') resolved.pop_back();
  if (resolved == "/") return path;
  return resolved + path;
}

}  // namespace OrinConfigStore
