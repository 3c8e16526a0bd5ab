#include "config_store_object_impl.h"

#include <utility>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "json_lookup.h"
#include "platform/config_store_document.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kLogNoSchemaForKey = "Schema object not found for key: %s";
constexpr const char* kLogNullSchema = "Schema object is null.";
constexpr const char* kEmptyIdMap = "{}";

// A new document holding a deep copy of `value`; null for JSON null.
std::shared_ptr<JsonDoc> CopyDocument(const JVal& value) {
  if (value.IsNull()) return nullptr;
  auto document = CreateDocument();
  document->GetDocument().CopyFrom(value, document->GetAllocator());
  return document;
}

ConfigStoreObjectImpl::SchemaPtr LookUpSchema(const ConfigStoreObjectId& id) {
  auto schema =
      OrinSchemaStore::SchemaStore::GetStore()->GetSchemaObject(id.component, id.group, id.key);
  if (!schema) ThrowException<ConfigStoreException>(CS_ERR_SCHEMA_NOT_FOUND, id.toString().c_str());
  return schema;
}

// Follows the view's path through the defaults document by member names: a
// sub-object's defaults sit under its key (for a repeated sub-object, the
// defaults of one instance). Null where the defaults stop.
const JVal* DefaultsAt(const JsonDoc& defaults) {
  const JVal* current = &defaults.GetDocument();
  for (const JsonNode& node : defaults.GetPath()) {
    if (!current->IsObject()) return nullptr;
    current = FindValue(*current, node.key.c_str());
    if (current == nullptr) return nullptr;
  }
  return current->IsObject() ? current : nullptr;
}

}  // namespace

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document,
                                             const SchemaPtr& schema, ObjectStamp stamp)
    : StoreObjectImpl(id, std::move(document)), stamp_(std::move(stamp)) {
  if (schema) {
    idMap_ = CopyDocument(schema->GetInstanceKeyMap());
    defaults_ = CopyDocument(schema->GetDefaultValue());
  } else {
    CSLogger::Log(1, kLogNoSchemaForKey, id.key.c_str());
    CSLogger::Log(1, kLogNullSchema);
  }
  SetInstanceIdFromCsoId();
}

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document)
    : ConfigStoreObjectImpl(id, std::move(document), LookUpSchema(id)) {}

ConfigStoreObjectImpl::ConfigStoreObjectImpl(const ConfigStoreObjectId& id,
                                             std::shared_ptr<JsonDoc> document,
                                             std::shared_ptr<JsonDoc> idMap,
                                             std::shared_ptr<JsonDoc> defaults, ObjectStamp stamp)
    : StoreObjectImpl(id, std::move(document)),
      idMap_(std::move(idMap)),
      defaults_(std::move(defaults)),
      stamp_(std::move(stamp)) {
  // A view is made for an instance found (or just created) under the id it
  // carries, so writing that id again would only walk the array once more.
}

ConfigStoreObjectImpl::~ConfigStoreObjectImpl() = default;

const JVal* ConfigStoreObjectImpl::GetValuePtrDefault(const char* key, bool& fromDefault) const {
  fromDefault = false;
  if (const JVal* own = GetValuePtr(key)) return own;
  const JVal* defaults = defaults_ ? DefaultsAt(*defaults_) : nullptr;
  const JVal* value = defaults ? FindValue(*defaults, key) : nullptr;
  fromDefault = value != nullptr;
  return value;
}

const JVal* ConfigStoreObjectImpl::InstanceKeyOf(const std::string& key) const {
  if (!idMap_) return nullptr;
  return FindValue(idMap_->GetDocument(), key.c_str());
}

std::string ConfigStoreObjectImpl::GetIdMapStr() const {
  if (!idMap_) return kEmptyIdMap;
  std::string text;
  ConfigStoreDocument::SerializeValue(idMap_->GetDocument(), text);
  return text;
}

std::string ConfigStoreObjectImpl::GetData() const {
  JDoc copy;
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
  JVal& object = Value();
  const auto existing = object.FindMember(JsonKey(key));
  RAPIDJSON_ASSERT(value != nullptr);
  const JVal& wanted = *static_cast<const JVal*>(value);
  if (existing != object.MemberEnd()) {
    if (existing->value == wanted) return;
    object.RemoveMember(existing);
  }
  object.AddMember(JVal(key, Allocator()), JVal(wanted, Allocator()), Allocator());
}

}  // namespace OrinConfigStore
