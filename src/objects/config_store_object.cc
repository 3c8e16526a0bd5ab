#include "configstore/config_store_object.h"

#include <utility>

#include "config_store_object_impl.h"
#include "config_store_object_internal.h"
#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "json/document.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"

// The public handle (every operation forwards to the implementation), and
// configuration objects built for a type.

namespace OrinConfigStore {

namespace {
constexpr const char* kLogNoSchema = "%s: Schema object not found";

std::shared_ptr<JsonDoc> EmptyObjectDocument() {
  auto document = CreateDocument();
  document->GetDocument().SetObject();
  return document;
}
}  // namespace

ConfigStoreObject::ConfigStoreObject(const ConfigStoreObjectId& id)
    : StoreObject(std::make_shared<ConfigStoreObjectImpl>(id, EmptyObjectDocument())) {}
ConfigStoreObject::ConfigStoreObject(std::shared_ptr<ConfigStoreObjectImpl> impl)
    : StoreObject(std::move(impl)) {}
ConfigStoreObject::~ConfigStoreObject() = default;

ConfigStoreObjectImpl& ConfigStoreObject::ObjectImpl() const {
  return static_cast<ConfigStoreObjectImpl&>(Impl());
}

std::string ConfigStoreObject::GetVersion() const { return ObjectImpl().GetStamp().Version(); }
std::string ConfigStoreObject::GetCreationTime() const {
  return ObjectImpl().GetStamp().CreationTime();
}
std::string ConfigStoreObject::GetModifiedTime() const {
  return ObjectImpl().GetStamp().ModifiedTime();
}
std::uint32_t ConfigStoreObject::GetRevision() const { return ObjectImpl().GetStamp().Revision(); }
std::string ConfigStoreObject::GetIdMapStr() const { return ObjectImpl().GetIdMapStr(); }
std::string ConfigStoreObject::GetData() const { return ObjectImpl().GetData(); }
std::string ConfigStoreObject::GetSerializedData() const {
  return ObjectImpl().GetSerializedData();
}
void ConfigStoreObject::SetInstanceIdFromCsoId() { ObjectImpl().SetInstanceIdFromCsoId(); }
void ConfigStoreObject::SetValueEx(const char* key, const void* value) {
  ObjectImpl().SetValueEx(key, value);
}
std::shared_ptr<ConfigStoreObject> ConfigStoreObject::CreateSubObject(const SubObjectId& sid) {
  return ObjectImpl().CreateSubObject(sid);
}
std::shared_ptr<ConfigStoreObject> ConfigStoreObject::GetSubObject(const SubObjectId& sid) const {
  return ObjectImpl().GetSubObject(sid);
}
void ConfigStoreObject::DeleteSubObject(const SubObjectId& sid) {
  ObjectImpl().DeleteSubObject(sid);
}
std::vector<std::shared_ptr<ConfigStoreObject>> ConfigStoreObject::GetSubObjectInstances(
    const std::shared_ptr<FilterSpecObject>& filter) const {
  return ObjectImpl().GetSubObjectInstances(filter);
}
void ConfigStoreObject::DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>& filter) {
  ObjectImpl().DeleteSubObjectInstances(filter);
}

std::shared_ptr<ConfigStoreObject> CreateObject(const ConfigStoreObjectId& id,
                                                const std::string& json) {
  return CreateObject(id, CreateDocumentFromString(json), LookupSchema(id));
}

std::string GetSchemaVersion(const ConfigStoreObjectId& id) {
  const auto schema = LookupSchema(id);
  if (schema) return schema->GetVersion();
  CSLogger::Log(0, kLogNoSchema, "GetSchemaVersion");
  return std::string();
}

std::string GetInstanceIdFromValue(const JVal& value,
                                   const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema) {
  const std::string& member = schema->GetInstanceIdKey();
  if (member.empty()) return std::string();
  const auto found = value.FindMember(member.c_str());
  if (found == value.MemberEnd()) return std::string();
  if (!found->value.IsString()) {
    ThrowException<ConfigStoreException>(CS_ERR_INVALID_VALUE, member.c_str());
  }
  return std::string(found->value.GetString(), found->value.GetStringLength());
}

std::shared_ptr<OrinSchemaStore::SchemaObject> LookupSchema(const ConfigStoreObjectId& id) {
  return OrinSchemaStore::SchemaStore::GetStore()->GetSchemaObject(id.component, id.group, id.key);
}

std::shared_ptr<ConfigStoreObject> CreateObject(
    const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document,
    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema) {
  if (!schema) ThrowException<ConfigStoreException>(CS_ERR_SCHEMA_NOT_FOUND, id.toString().c_str());
  if (!document->GetDocument().IsObject()) {
    ThrowException<InvalidArgumentException>(CS_ERR_INVALID_JSON);
  }
  return ConfigStoreObjectInternal::Wrap(
      std::make_shared<ConfigStoreObjectImpl>(id, std::move(document), schema));
}

std::shared_ptr<ConfigStoreObject> CreateStoredObject(
    const ConfigStoreObjectId& id, const std::string& text,
    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema) {
  return CreateObject(id, CreateDocumentFromStoredText(text.data(), text.size()), schema);
}

}  // namespace OrinConfigStore
