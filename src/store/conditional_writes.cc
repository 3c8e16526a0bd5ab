// Writes that happen only at the revision the caller expects.

#include <string>

#include "configstore/conditional.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kConflict = "Revision conflict on ";
constexpr const char* kExpected = ": expected revision ";
constexpr const char* kStored = ", stored revision ";
constexpr const char* kNullObject = "ConfigStoreObject cannot be empty";

// Checks and writes in one transaction: the store's begin takes the write
// lock, so no other writer comes between the check and the write.
template <typename Write>
void WriteIfRevision(std::shared_ptr<ConfigStore>& store, const ConfigStoreObjectId& id,
                     int expected, Write write) {
  ConfigStoreTransaction transaction(store);
  const int stored = store->GetRevision(id);
  if (stored != expected) throw RevisionConflictException(id, expected, stored);
  write();
  transaction.Commit();
}

const ConfigStoreObjectId& IdOf(const std::shared_ptr<ConfigStoreObject>& object) {
  if (!object) throw InvalidArgumentException(kNullObject);
  return object->GetConfigStoreObjectId();
}

}  // namespace

RevisionConflictException::RevisionConflictException(const ConfigStoreObjectId& id, int expected,
                                                     int stored)
    : ConfigStoreException(kConflict + id.toString() + kExpected + std::to_string(expected) +
                           kStored + std::to_string(stored)),
      expected_(expected),
      stored_(stored) {}

RevisionConflictException::~RevisionConflictException() = default;

void SetIfRevision(std::shared_ptr<ConfigStore>& store, std::shared_ptr<ConfigStoreObject> object,
                   const USERDATA_CONTEXT& context, int expectedRevision) {
  WriteIfRevision(store, IdOf(object), expectedRevision, [&] { store->Set(object, context); });
}

void SetUserDataIfRevision(std::shared_ptr<ConfigStore>& store,
                           std::shared_ptr<ConfigStoreObject> object,
                           const USERDATA_CONTEXT& context, int expectedRevision) {
  WriteIfRevision(store, IdOf(object), expectedRevision,
                  [&] { store->SetUserData(object, context); });
}

void UpdateIfRevision(std::shared_ptr<ConfigStore>& store,
                      std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context,
                      int expectedRevision) {
  WriteIfRevision(store, IdOf(object), expectedRevision, [&] { store->Update(object, context); });
}

void DeleteIfRevision(std::shared_ptr<ConfigStore>& store, const ConfigStoreObjectId& id,
                      int expectedRevision) {
  WriteIfRevision(store, id, expectedRevision, [&] { store->Delete(id); });
}

}  // namespace OrinConfigStore
