// The implementation behind ConfigStoreObject: the type's defaults and id
// map, and the sub-objects of its data with the views through which callers
// edit them.

#include "config_store_object_impl.h"

#include <utility>

#include "config_store_object_internal.h"
#include "configstore/exceptions.h"
#include "configstore/filter_object.h"
#include "configstore/logger.h"
#include "json/document.h"
#include "platform/schema_object.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kLogNoSchemaForKey = "Schema object not found for key: %s";
constexpr const char* kLogNullSchema = "Schema object is null.";
constexpr const char* kEmptyIdMap = "{}";

constexpr const char* kLogKeyNotFound = "%s: Could not find key: %s";
constexpr const char* kLogNoFilter = "%s called with no filter spec object";
constexpr const char* kInstanceIdRequired = "Non-Singleton object should contain instanceId";
constexpr const char* kInstanceIdRequiredFor = "Non-Singleton object should contain instanceId: ";
constexpr const char* kInstanceIdForbiddenFor = "Singleton object should not contain instanceId: ";
constexpr const char* kNotSingleton = "Not a singleton SubObject: ";
constexpr const char* kNotNonSingleton = "Not a non-singleton object:  ";
constexpr const char* kAlreadyExists = "Object already exists.";

ConfigStoreObjectImpl::SchemaPtr RequireSchema(const ConfigStoreObjectId& id) {
  auto schema = LookupSchema(id);
  if (!schema) ThrowException<ConfigStoreException>(CS_ERR_SCHEMA_NOT_FOUND, id.toString().c_str());
  return schema;
}

// Follows `path` through the defaults document by member names: a
// sub-object's defaults sit under its key (for a repeated sub-object, the
// defaults of one instance). Null where the defaults stop.
const JVal* DefaultsAt(const JVal& defaults, const std::vector<std::string>& path) {
  const JVal* current = &defaults;
  for (const std::string& key : path) {
    if (!current->IsObject()) return nullptr;
    current = FindValue(*current, key.c_str());
    if (current == nullptr) return nullptr;
  }
  return current->IsObject() ? current : nullptr;
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

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document,
                                             const SchemaPtr& schema, ObjectStamp stamp)
    : StoreObjectImpl(id, std::move(document)), stamp_(std::move(stamp)) {
  if (schema) {
    // The type's documents are shared, not copied: nothing ever writes to an
    // object's id map or defaults.
    idMap_ = schema->SharedInstanceKeyMap();
    defaults_ = schema->SharedDefaultValue();
  } else {
    CSLogger::Log(1, kLogNoSchemaForKey, id.key.c_str());
    CSLogger::Log(1, kLogNullSchema);
  }
  SetInstanceIdFromCsoId();
}

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document)
    : ConfigStoreObjectImpl(id, std::move(document), RequireSchema(id)) {}

ConfigStoreObjectImpl::ConfigStoreObjectImpl(
    const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document, std::shared_ptr<JDoc> idMap,
    std::shared_ptr<JDoc> defaults, std::vector<std::string> defaultsPath, ObjectStamp stamp)
    : StoreObjectImpl(id, std::move(document)),
      idMap_(std::move(idMap)),
      defaults_(std::move(defaults)),
      defaultsPath_(std::move(defaultsPath)),
      stamp_(std::move(stamp)) {
  // A view is made for an instance found (or just created) under the id it
  // carries, so writing that id again would only walk the array once more.
}

ConfigStoreObjectImpl::~ConfigStoreObjectImpl() = default;

ObjectStamp::ObjectStamp(std::string_view version, std::string_view creationTime,
                         std::string_view modifiedTime, std::uint32_t revision)
    : revision_(revision) {
  texts_.reserve(version.size() + creationTime.size() + modifiedTime.size());
  int index = 0;
  for (const std::string_view text : {version, creationTime, modifiedTime}) {
    texts_.append(text);
    ends_[index++] = static_cast<std::uint32_t>(texts_.size());
  }
}

std::string ObjectStamp::Part(int index) const {
  const std::uint32_t begin = index == 0 ? 0 : ends_[index - 1];
  return texts_.substr(begin, ends_[index] - begin);
}

const ObjectStamp& ConfigStoreObjectImpl::GetStamp() const { return stamp_; }

const JVal* ConfigStoreObjectImpl::GetValuePtrDefault(const char* key, bool& fromDefault) const {
  fromDefault = false;
  if (const JVal* own = GetValuePtr(key)) return own;
  const JVal* defaults = defaults_ ? DefaultsAt(*defaults_, defaultsPath_) : nullptr;
  const JVal* value = defaults ? FindValue(*defaults, key) : nullptr;
  fromDefault = value != nullptr;
  return value;
}

const JVal* ConfigStoreObjectImpl::InstanceKeyOf(const std::string& key) const {
  if (!idMap_) return nullptr;
  return FindValue(*idMap_, key.c_str());
}

std::string ConfigStoreObjectImpl::GetIdMapStr() const {
  if (!idMap_) return kEmptyIdMap;
  std::string text;
  ConfigStoreDocument::SerializeValue(*idMap_, text);
  return text;
}

std::string ConfigStoreObjectImpl::GetData() const {
  const auto copyDocument = ConfigStoreDocument::NewDocument();
  JDoc& copy = *copyDocument;
  const JVal* data = nullptr;
  try {
    data = &Value();
  } catch (const ConfigStoreException&) {
    ThrowInvalidJson();
  }
  copy.CopyFrom(*data, copy.GetAllocator());
  ClearGeneratedInstanceId(&copy);
  std::string text;
  ConfigStoreDocument::SerializeValue(copy, text);
  return text;
}

std::string ConfigStoreObjectImpl::GetSerializedData() const { return StoreObjectImpl::GetData(); }

// An identifier without an instance id leaves the data alone: writing an
// empty id would wipe one the data already carries.
void ConfigStoreObjectImpl::SetInstanceIdFromCsoId() {
  const ConfigStoreObjectId& id = GetConfigStoreObjectId();
  const JVal* member = InstanceKeyOf(id.key);
  if (member == nullptr || id.instanceId.empty()) return;
  SetValue(member->GetString(), id.instanceId);
}

void ConfigStoreObjectImpl::SetValueEx(const char* key, const void* value) {
  RAPIDJSON_ASSERT(value != nullptr);
  SetMemberEx(Value(), key, *static_cast<const JVal*>(value), Allocator());
}

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
  TraceSubObject("CreateSubObject", sid);
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
  TraceSubObject("GetSubObject", sid);
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
  TraceSubObject("DeleteSubObject", sid);
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
  TraceSubObject("GetSubObjectInstances", sid);
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
  TraceSubObject("DeleteSubObjectInstances", SubObjectId(filterId.key, filterId.instanceId));
  for (const auto& instance : GetSubObjectInstances(filter)) {
    const ConfigStoreObjectId& id = instance->GetConfigStoreObjectId();
    DeleteSubObject(SubObjectId(id.key, id.instanceId));
  }
}

}  // namespace OrinConfigStore
