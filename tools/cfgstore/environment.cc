#include "environment.h"

#include <stdlib.h>

namespace cfgstore {

namespace {

constexpr const char* kRootVariable = "CONFIGSTORE_ROOT";
constexpr const char* kLogVariable = "CONFIGSTORE_LOG";
constexpr const char* kLogLevelVariable = "CONFIGSTORE_LOG_LEVEL";
constexpr const char* kSilentLog = "none";
constexpr const char* kVerboseLog = "stderr";
constexpr const char* kVerboseLevel = "4";

constexpr int kKeep = 0;
constexpr int kOverwrite = 1;

}  // namespace

void ApplyEnvironment(const Tool& tool) {
  if (!tool.root.empty()) setenv(kRootVariable, tool.root.c_str(), kOverwrite);
  if (tool.verbose) {
    setenv(kLogVariable, kVerboseLog, kOverwrite);
    setenv(kLogLevelVariable, kVerboseLevel, kOverwrite);
  } else {
    setenv(kLogVariable, kSilentLog, kKeep);
  }
}

}  // namespace cfgstore
