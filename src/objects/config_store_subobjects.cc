// Sub-objects of a configuration object: creating, finding, listing and
// deleting them, and the views through which callers edit them.

#include <utility>

#include "config_store_object_impl.h"
#include "config_store_object_internal.h"
#include "configstore/exceptions.h"
#include "configstore/filter_object.h"
#include "configstore/logger.h"
#include "json_lookup.h"
#include "platform/config_store_document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kLogTrace = "%s : %s";
constexpr const char* kLogKeyNotFound = "%s: Could not find key: %s";
constexpr const char* kLogNoFilter = "%s called with no filter spec object";
constexpr const char* kInstanceIdRequired = "Non-Singleton object should contain instanceId";
constexpr const char* kInstanceIdRequiredFor = "Non-Singleton object should contain instanceId: ";
constexpr const char* kInstanceIdForbiddenFor = "Singleton object should not contain instanceId: ";
constexpr const char* kNotSingleton = "Not a singleton SubObject: ";
constexpr const char* kNotNonSingleton = "Not a non-singleton object:  ";
constexpr const char* kAlreadyExists = "Object already exists.";

void Trace(const char* operation, const SubObjectId& sid) {
  CSLogger::Log(4, kLogTrace, operation, sid.toString().c_str());
}

JVal* Member(JVal& object, const std::string& key) {
  const auto found = object.FindMember(JsonKey(key));
  return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string InstanceIdOf(JVal& element, const std::string& instanceKey) {
  const JVal& id = RequireMember(element, instanceKey);
  return std::string(id.GetString(), id.GetStringLength());
}

}  // namespace

std::shared_ptr<ConfigStoreObject> ConfigStoreObjectImpl::MakeSubObjectPtr(
    const SubObjectId& sid, const std::string& instanceId, const std::string& instanceKey) const {
  const ConfigStoreObjectId& parent = GetConfigStoreObjectId();
  ConfigStoreObjectId id(sid.key, parent.group, parent.component, instanceId);
  std::vector<JsonNode> path = GetJsonDoc()->GetPath();
  path.push_back(JsonNode{sid.key, instanceKey, instanceId});
  auto view = std::make_shared<JsonDoc>(GetJsonDoc()->ShareDocument(), std::move(path));
  std::vector<std::string> defaultsPath = defaultsPath_;
  defaultsPath.push_back(sid.key);
  return ConfigStoreObjectInternal::Wrap(std::make_shared<ConfigStoreObjectImpl>(
      id, std::move(view), idMap_, defaults_, std::move(defaultsPath), stamp_));
}

std::shared_ptr<ConfigStoreObject> ConfigStoreObjectImpl::CreateSubObject(const SubObjectId& sid) {
  Trace("CreateSubObject", sid);
  JVal& data = Value();
  JVal* member = Member(data, sid.key);
  const JVal* instanceKey = InstanceKeyOf(sid.key);
  if (instanceKey == nullptr) {
    if (member != nullptr) throw ConfigStoreException(kAlreadyExists);
    data.AddMember(JVal(sid.key.c_str(), Allocator()), JVal(rapidjson::kObjectType), Allocator());
    return MakeSubObjectPtr(sid, sid.instanceId, "");
  }
  if (sid.instanceId.empty()) throw ConfigStoreException(kInstanceIdRequired);
  const std::string key = instanceKey->GetString();
  if (member != nullptr && FindInstance(*member, key, sid.instanceId) != nullptr) {
    throw ConfigStoreException(kAlreadyExists);
  }
  if (member == nullptr) {
    data.AddMember(JVal(sid.key.c_str(), Allocator()), JVal(rapidjson::kArrayType), Allocator());
    member = Member(data, sid.key);
  }
  JVal element(rapidjson::kObjectType);
  element.AddMember(JVal(key.c_str(), Allocator()), JVal(sid.instanceId.c_str(), Allocator()),
                    Allocator());
  member->PushBack(element, Allocator());
  return MakeSubObjectPtr(sid, sid.instanceId, key);
}

std::shared_ptr<ConfigStoreObject> ConfigStoreObjectImpl::GetSubObject(
    const SubObjectId& sid) const {
  Trace("GetSubObject", sid);
  JVal* member = Member(Value(), sid.key);
  if (member == nullptr) {
    CSLogger::Log(4, kLogKeyNotFound, "GetSubObject", sid.key.c_str());
    return nullptr;
  }
  if (const JVal* instanceKey = InstanceKeyOf(sid.key)) {
    if (sid.instanceId.empty()) throw ConfigStoreException(kInstanceIdRequiredFor + sid.toString());
    const std::string key = instanceKey->GetString();
    if (FindInstance(*member, key, sid.instanceId) == nullptr) return nullptr;
    return MakeSubObjectPtr(sid, sid.instanceId, key);
  }
  if (!member->IsObject()) throw InvalidArgumentException(kNotSingleton + sid.toString());
  if (!sid.instanceId.empty()) throw ConfigStoreException(kInstanceIdForbiddenFor + sid.toString());
  return MakeSubObjectPtr(sid, sid.instanceId, "");
}

void ConfigStoreObjectImpl::DeleteSubObject(const SubObjectId& sid) {
  Trace("DeleteSubObject", sid);
  JVal& data = Value();
  JVal* member = Member(data, sid.key);
  if (member == nullptr) {
    CSLogger::Log(1, kLogKeyNotFound, "DeleteSubObject", sid.key.c_str());
    return;
  }
  const JVal* instanceKey = InstanceKeyOf(sid.key);
  if (instanceKey == nullptr) {
    data.RemoveMember(JsonKey(sid.key));
    return;
  }
  JVal* instance = FindInstance(*member, instanceKey->GetString(), sid.instanceId);
  if (instance == nullptr) return;
  member->Erase(instance);
  if (member->Empty()) data.RemoveMember(JsonKey(sid.key));
}

std::vector<std::shared_ptr<ConfigStoreObject>> ConfigStoreObjectImpl::GetSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>& filter) const {
  std::vector<std::shared_ptr<ConfigStoreObject>> instances;
  if (!filter) {
    CSLogger::Log(1, kLogNoFilter, "GetSubObjectInstances");
    return instances;
  }
  const ConfigStoreObjectId& filterId = filter->GetConfigStoreObjectId();
  const SubObjectId sid(filterId.key, filterId.instanceId);
  Trace("GetSubObjectInstances", sid);
  const JVal* instanceKey = InstanceKeyOf(sid.key);
  if (instanceKey == nullptr) {
    throw InvalidArgumentException(CS_ERR_NOT_NONSINGLETON, kNotNonSingleton + sid.toString());
  }
  JVal* member = Member(Value(), sid.key);
  if (member == nullptr) {
    CSLogger::Log(4, kLogKeyNotFound, "GetSubObjectInstances", sid.key.c_str());
    return instances;
  }
  const std::string key = instanceKey->GetString();
  if (!sid.instanceId.empty()) {
    if (FindInstance(*member, key, sid.instanceId) != nullptr) {
      instances.push_back(MakeSubObjectPtr(sid, sid.instanceId, key));
    }
  } else {
    for (JVal& element : member->GetArray()) {
      instances.push_back(MakeSubObjectPtr(sid, InstanceIdOf(element, key), key));
    }
  }
  return FilterConfigStoreObjects(instances, filter);
}

void ConfigStoreObjectImpl::DeleteSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>& filter) {
  if (!filter) {
    CSLogger::Log(1, kLogNoFilter, "DeleteSubObjectInstances");
    return;
  }
  const ConfigStoreObjectId& filterId = filter->GetConfigStoreObjectId();
  Trace("DeleteSubObjectInstances", SubObjectId(filterId.key, filterId.instanceId));
  for (const auto& instance : GetSubObjectInstances(filter)) {
    const ConfigStoreObjectId& id = instance->GetConfigStoreObjectId();
    DeleteSubObject(SubObjectId(id.key, id.instanceId));
  }
}

}  // namespace OrinConfigStore
