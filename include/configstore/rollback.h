#ifndef CONFIGSTORE_ROLLBACK_H_
#define CONFIGSTORE_ROLLBACK_H_

// Putting an object back as it was at an earlier revision, from the change
// history (history.h).

#include <memory>

#include "configstore/config_store.h"
#include "configstore/export.h"

namespace OrinConfigStore {

// Writes back every source value of the object (automatic, user, vital,
// cached and the staged desired value) as the change history recorded it
// at `revision`, as one new write in one transaction of `store`: each value
// is validated against the type's current schema as a write of its source
// would be (refused with that validation's exception, nothing written),
// the current schema's version is stored, the revision rises by one (an
// object deleted since is created again, at revision 1), the write is
// recorded in the history like any other and the agent is notified after
// the commit. Returns the revision after the write.
//
// Revisions start again at 1 when an object is deleted and created anew;
// the newest record left at `revision` is the one taken. A revision that
// is not in the history (never reached, or dropped by retention) raises
// ConfigStoreException 2000 "Revision <revision> of <id> is not in the
// change history". `store` must be one that ConfigStore::GetStore made
// (InvalidArgumentException otherwise).
CONFIGSTORE_API int RollbackToRevision(std::shared_ptr<ConfigStore>& store,
                                       const ConfigStoreObjectId& id, int revision);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_ROLLBACK_H_
