#include "validation_common.h"

#include "configstore/exceptions.h"
#include "objects/config_store_object_internal.h"

namespace OrinConfigStore {

const TagSet kUpdateTags{0, 1};
const TagSet kFullSetTags{0, 1, 7, 8};
const TagSet kUserTags{0, 1, 3, 7, 8};
const TagSet kPartialTags{0, 1, 7, 3};
const TagSet kVitalTags{0, 1, 5};
const TagSet kCachedTags{0, 1, 9};
const TagSet kApplyFileTags{0, 1, 4, 8};
const TagSet kReservedUserTags{0, 1, 3, 7, 8, 12};
const TagSet kReservedTags14{0, 13, 11, 14};
const TagSet kReservedTags15{0, 13, 11, 15};
const TagSet kReservedTags16{0, 13, 11, 16};

const ConfigStoreObjectId& ObjectIdOf(const std::shared_ptr<StoreObject>& object) {
  if (!object) ThrowException<InvalidArgumentException>(CS_ERR_INVALID_ARGUMENT);
  return object->GetConfigStoreObjectId();
}

const JVal& ObjectData(const std::shared_ptr<ConfigStoreObject>& object) {
  if (!object) ThrowException<InvalidArgumentException>(CS_ERR_INVALID_ARGUMENT);
  return ConfigStoreObjectInternal::Impl(*object).DataValue();
}

}  // namespace OrinConfigStore
