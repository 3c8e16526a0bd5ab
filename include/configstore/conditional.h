#ifndef CONFIGSTORE_CONDITIONAL_H_
#define CONFIGSTORE_CONDITIONAL_H_

// Conditional writes: a caller that read an object at revision R writes it
// only if nobody changed it since. Each form checks the stored revision
// (GetRevision: -1 when nothing is stored, so -1 means "create only if
// absent") and writes in one transaction of the store, which takes the
// database's write lock at its start: two writers racing on one object are
// served one after the other, and the second sees the first's revision.
// On a different revision nothing is written and RevisionConflictException
// is raised; otherwise the write behaves exactly as its plain form.

#include <memory>

#include "configstore/config_store.h"
#include "configstore/export.h"

namespace OrinConfigStore {

// ConfigStoreException 2000 "Revision conflict on <id>: expected revision
// <expected>, stored revision <stored>".
class CONFIGSTORE_API RevisionConflictException : public ConfigStoreException {
 public:
  RevisionConflictException(const ConfigStoreObjectId& id, int expected, int stored);
  ~RevisionConflictException() override;
  int GetExpectedRevision() const { return expected_; }
  int GetStoredRevision() const { return stored_; }

 private:
  int expected_;
  int stored_;
};

CONFIGSTORE_API void SetIfRevision(std::shared_ptr<ConfigStore>& store,
                                   std::shared_ptr<ConfigStoreObject> object,
                                   const USERDATA_CONTEXT& context, int expectedRevision);
CONFIGSTORE_API void SetUserDataIfRevision(std::shared_ptr<ConfigStore>& store,
                                           std::shared_ptr<ConfigStoreObject> object,
                                           const USERDATA_CONTEXT& context, int expectedRevision);
CONFIGSTORE_API void UpdateIfRevision(std::shared_ptr<ConfigStore>& store,
                                      std::shared_ptr<ConfigStoreObject> object,
                                      const USERDATA_CONTEXT& context, int expectedRevision);
CONFIGSTORE_API void DeleteIfRevision(std::shared_ptr<ConfigStore>& store,
                                      const ConfigStoreObjectId& id, int expectedRevision);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_CONDITIONAL_H_
