#ifndef CFGSTORE_ENVIRONMENT_H_
#define CFGSTORE_ENVIRONMENT_H_

// The process environment the library reads: the host root and the log.
// Applied once, after the command line parsed and before any library call.

#include "tool.h"

namespace cfgstore {

// --root sets CONFIGSTORE_ROOT. The tool reports errors itself, so the
// library's log goes nowhere unless CONFIGSTORE_LOG is already set;
// --verbose sends every line, read traces included, to standard error.
void ApplyEnvironment(const Tool& tool);

}  // namespace cfgstore

#endif  // CFGSTORE_ENVIRONMENT_H_
