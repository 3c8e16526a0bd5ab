// Drift objects: construction, their serialised form, and reading the drift
// data property by property and sub-object by sub-object. Structural faults
// are left to rapidjson's assertion hook, which turns a wrong type or a
// missing member into ConfigStoreException 2000 "Invalid JSON".

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/drift_object.h"
#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "drift_object_impl.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kAddOperation = "ADD";
constexpr const char* kDeleteOperation = "DELETE";
constexpr const char* kInstanceIdMember = "INSTANCEID";
constexpr const char* kDataMember = "DRIFTOBJ";
constexpr const char* kOperationMember = "DRIFTOP";
constexpr const char* kLogMissingProperty = "property %s is not in drift";
constexpr const char* kLogMissingInstance = "subobject %s is not in drift";

std::string Text(const JVal& value) {
  return std::string(value.GetString(), value.GetStringLength());
}

// Sub-objects are addressed by their own key and instance id only; group
// and component belong to the enclosing object.
ConfigStoreObjectId SubObjectIdentifier(const std::string& key, const std::string& instanceId) {
  return ConfigStoreObjectId(key, std::string(), std::string(), instanceId);
}

// A property added or deleted as a whole; other text is a new value.
bool IsWholeOperation(const JVal& property) {
  return property.IsString() && IsAddOrDeleteOperation(property);
}

std::shared_ptr<DriftObject> WholeOperation(const ConfigStoreObjectId& id, const JVal& property) {
  return std::make_shared<DriftObjectImpl>(id, Text(property));
}

// One instance entry: its new data under "DRIFTOBJ", or only an operation.
std::shared_ptr<DriftObject> FromEntry(const JVal& entry, const ConfigStoreObjectId& id) {
  if (!ConfigStoreDocument::ValueExists(entry, kDataMember)) {
    return std::make_shared<DriftObjectImpl>(id, Text(entry[kOperationMember]));
  }
  return std::make_shared<DriftObjectImpl>(id, entry[kDataMember]);
}

const JVal* FindProperty(const JVal& data, const std::string& key) {
  const auto member = data.FindMember(JsonKey(key));
  if (member == data.MemberEnd()) {
    CSLogger::Log(0, kLogMissingProperty, key.c_str());
    return nullptr;
  }
  return &member->value;
}

std::shared_ptr<DriftObject> FindInstanceDrift(const SubObjectId& sid, const JVal& property) {
  const ConfigStoreObjectId id = SubObjectIdentifier(sid.key, sid.instanceId);
  // Every instance of a sub-object added or deleted as a whole shares its fate.
  if (IsWholeOperation(property)) return WholeOperation(id, property);
  if (!property.IsArray()) {
    ThrowException<ConfigStoreException>(CS_ERR_INSTANCE_ID_FORBIDDEN, sid.toString().c_str());
  }
  const JVal* entry = FindInstance(property, kInstanceIdMember, sid.instanceId);
  if (entry == nullptr) {
    CSLogger::Log(0, kLogMissingInstance, sid.toString().c_str());
    return nullptr;
  }
  return FromEntry(*entry, id);
}

}  // namespace

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
  std::string problem;
  if (!ConfigStoreDocument::Parse(data_, driftText.data(), driftText.size(), &problem)) {
    ThrowUnparsable(CS_ERR_JSON_PARSE_STRING, problem);
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

bool IsAddOrDeleteOperation(const JVal& value) {
  return JsonStringEquals(value, kAddOperation) || JsonStringEquals(value, kDeleteOperation);
}

std::vector<std::pair<std::string, std::string>> DriftObjectImpl::Get() const {
  std::vector<std::pair<std::string, std::string>> properties;
  for (const auto& member : data_.GetObject()) {
    properties.emplace_back(Text(member.name),
                            member.value.IsString() ? Text(member.value) : kSetOperation);
  }
  return properties;
}

std::shared_ptr<DriftObject> DriftObjectImpl::GetSubObject(const SubObjectId& sid) const {
  const JVal* property = FindProperty(data_, sid.key);
  if (property == nullptr) return nullptr;
  if (!sid.instanceId.empty()) return FindInstanceDrift(sid, *property);
  if (property->IsArray()) {
    ThrowException<ConfigStoreException>(CS_ERR_INSTANCE_ID_REQUIRED, sid.toString().c_str());
  }
  const ConfigStoreObjectId id = SubObjectIdentifier(sid.key, sid.instanceId);
  if (IsWholeOperation(*property)) return WholeOperation(id, *property);
  return std::make_shared<DriftObjectImpl>(id, *property);
}

std::vector<std::shared_ptr<DriftObject>> DriftObjectImpl::GetSubObjectInstances(
    const SubObjectId& sid) const {
  const JVal* property = FindProperty(data_, sid.key);
  if (property == nullptr) return {};
  if (!sid.instanceId.empty()) return {FindInstanceDrift(sid, *property)};
  if (IsWholeOperation(*property)) {
    return {WholeOperation(SubObjectIdentifier(sid.key, sid.instanceId), *property)};
  }
  if (!property->IsArray()) {
    ThrowException<ConfigStoreException>(CS_ERR_NOT_NONSINGLETON, sid.toString().c_str());
  }
  std::vector<std::shared_ptr<DriftObject>> instances;
  instances.reserve(property->Size());
  for (const JVal& entry : property->GetArray()) {
    instances.push_back(
        FromEntry(entry, SubObjectIdentifier(sid.key, Text(entry[kInstanceIdMember]))));
  }
  return instances;
}

}  // namespace OrinConfigStore
