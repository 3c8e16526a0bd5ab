#ifndef CONFIGSTORE_HOST_H_
#define CONFIGSTORE_HOST_H_

// Process-wide settings of the host layer that callers may change.
//
// Every absolute path the library uses is resolved under a root directory:
// the value of the environment variable CONFIGSTORE_ROOT when it is set and
// non-empty, otherwise "/". It is read on each use, so tests and tools can
// point the library at a scratch tree.

#include "configstore/export.h"

namespace OrinConfigStore {

// True while the caller runs inside a host upgrade: while SetUpgradeCtx(true)
// is in force in this process, or when CONFIGSTORE_UPGRADE_CTX is "1".
CONFIGSTORE_API bool GetUpgradeCtx();
CONFIGSTORE_API void SetUpgradeCtx(bool inUpgrade);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_HOST_H_
