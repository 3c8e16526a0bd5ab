#include "configstore/drift_object.h"

#include <utility>

#include "configstore/exceptions.h"
#include "drift_object_impl.h"
#include "platform/config_store_document.h"

// Construction of drift objects and their serialised form; the walks through
// the drift data live in drift_object_walk.cc.

namespace OrinConfigStore {

DriftObject::DriftObject(const ConfigStoreObjectId& id, std::string operation)
    : id_(id), operation_(std::move(operation)) {}

DriftObject::~DriftObject() = default;

ConfigStoreObjectId DriftObject::GetConfigStoreObjectId() const { return id_; }

std::string DriftObject::GetOperation() const { return operation_; }

// Text that parses to something other than an object is accepted here on
// purpose: the caller can still read it back with GetData, and every walk
// that needs an object reports "Invalid JSON" when it gets there.
DriftObjectImpl::DriftObjectImpl(const ConfigStoreObjectId& id, const std::string& driftText,
                                 std::string operation)
    : DriftObject(id, std::move(operation)) {
  if (!ConfigStoreDocument::Parse(data_, driftText.data(), driftText.size())) {
    ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING);
  }
}

DriftObjectImpl::DriftObjectImpl(const ConfigStoreObjectId& id, std::string operation)
    : DriftObject(id, std::move(operation)) {
  data_.SetObject();
}

DriftObjectImpl::DriftObjectImpl(const ConfigStoreObjectId& id, const JVal& value)
    : DriftObject(id, kSetOperation) {
  data_.CopyFrom(value, data_.GetAllocator());
}

DriftObjectImpl::~DriftObjectImpl() = default;

std::string DriftObjectImpl::GetData() const {
  std::string text;
  ConfigStoreDocument::SerializeValue(data_, text);
  return text;
}

std::shared_ptr<DriftObject> CreateDriftObject(const ConfigStoreObjectId& id,
                                               const std::string& driftText,
                                               std::string operation) {
  return std::make_shared<DriftObjectImpl>(id, driftText, std::move(operation));
}

}  // namespace OrinConfigStore
