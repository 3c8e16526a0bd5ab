#ifndef SRC_OBJECTS_OBJECT_MERGE_H_
#define SRC_OBJECTS_OBJECT_MERGE_H_

#include <memory>

#include "configstore/config_store_object.h"
#include "configstore/json.h"

namespace OrinConfigStore {

// Merges `source`'s data into `target`'s, member by member in document
// order: an object member merges into the target's object of that name,
// recursively; an array member that `instanceKeys` names (a JSON object
// mapping repeated sub-object keys to their instance-id members) merges
// instance by instance, matching instances merged and new ones appended;
// every other member replaces the target's (SetValueEx: a changed member
// moves to the end). Members the source does not name stay. Without
// `instanceKeys` every array replaces. Source data that is not an object,
// or an instance without a text instance id, raises "Invalid JSON".
void UpdateConfigInternal(const std::shared_ptr<ConfigStoreObject>& target,
                          const std::shared_ptr<ConfigStoreObject>& source,
                          const JVal* instanceKeys = nullptr);

// The same on JSON values; `target` must be an object.
void MergeInto(JVal& target, const JVal& source, const JVal* instanceKeys, JAllocator& allocator);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_OBJECT_MERGE_H_
