#include "object_helpers.h"

#include "config_store_object_impl.h"
#include "config_store_object_internal.h"
#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"

namespace OrinConfigStore {

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

bool ObjIsEmpty(std::shared_ptr<ConfigStoreObject>& obj, const char* caller) {
  if (obj) return false;
  CSLogger::LogErrCode(1, CS_ERR_OBJECT_EMPTY, caller);
  return true;
}

bool FsoIsEmpty(const std::shared_ptr<FilterSpecObject>& fso, const char* caller) {
  if (fso) return false;
  CSLogger::LogErrCode(1, CS_ERR_FILTERSPEC_EMPTY, caller);
  return true;
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

}  // namespace OrinConfigStore
