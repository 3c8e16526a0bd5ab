#include "config_store_object_impl.h"

#include <utility>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "json_lookup.h"
#include "object_helpers.h"
#include "platform/config_store_document.h"
#include "platform/schema_object.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kLogNoSchemaForKey = "Schema object not found for key: %s";
constexpr const char* kLogNullSchema = "Schema object is null.";
constexpr const char* kEmptyIdMap = "{}";

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

}  // namespace

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document,
                                             const SchemaPtr& schema, StampPtr stamp)
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

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document,
                                             std::shared_ptr<JDoc> idMap,
                                             std::shared_ptr<JDoc> defaults,
                                             std::vector<std::string> defaultsPath, StampPtr stamp)
    : StoreObjectImpl(id, std::move(document)),
      idMap_(std::move(idMap)),
      defaults_(std::move(defaults)),
      defaultsPath_(std::move(defaultsPath)),
      stamp_(std::move(stamp)) {
  // A view is made for an instance found (or just created) under the id it
  // carries, so writing that id again would only walk the array once more.
}

ConfigStoreObjectImpl::~ConfigStoreObjectImpl() = default;

const ObjectStamp& ConfigStoreObjectImpl::GetStamp() const {
  static const ObjectStamp kUnstamped;
  return stamp_ ? *stamp_ : kUnstamped;
}

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

}  // namespace OrinConfigStore
