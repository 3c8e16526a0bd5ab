#ifndef SRC_VALIDATION_VALIDATION_COMMON_H_
#define SRC_VALIDATION_VALIDATION_COMMON_H_

// What the identity checks and the schema validators share: the validator's
// tag sets, one per kind of write, and access to the parts of an object.

#include <memory>
#include <unordered_set>

#include "configstore/config_store_object.h"
#include "configstore/json.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

using TagSet = std::unordered_set<int>;

// Built once at load and never changed, so that concurrent validations read
// them without a lock. What each tag checks is the validator's business.
extern const TagSet kUpdateTags;     // {0, 1}
extern const TagSet kFullSetTags;    // {0, 1, 7, 8}: Set, imports, neither vital nor cached
extern const TagSet kUserTags;       // {0, 1, 3, 7, 8}: user writes and user documents
extern const TagSet kPartialTags;    // {0, 1, 3, 7}
extern const TagSet kVitalTags;      // {0, 1, 5}
extern const TagSet kCachedTags;     // {0, 1, 9}
extern const TagSet kApplyFileTags;  // {0, 1, 4, 8}
// Sets for tags that the validator accepts but gives no meaning to yet
// (11 to 16); built beside the others, passed by no write of this library.
extern const TagSet kReservedUserTags;  // {0, 1, 3, 7, 8, 12}
extern const TagSet kReservedTags14;    // {0, 13, 11, 14}
extern const TagSet kReservedTags15;    // {0, 13, 11, 15}
extern const TagSet kReservedTags16;    // {0, 13, 11, 16}

// The identifier of `object`. A null object is a caller's fault and raises
// InvalidArgumentException 1100 "Invalid Argument" rather than crashing.
const ConfigStoreObjectId& ObjectIdOf(const std::shared_ptr<StoreObject>& object);

// The JSON value of the object's data (for a sub-object view, the place it
// shows). Null objects are refused as in ObjectIdOf.
const JVal& ObjectData(const std::shared_ptr<ConfigStoreObject>& object);

}  // namespace OrinConfigStore

#endif  // SRC_VALIDATION_VALIDATION_COMMON_H_
