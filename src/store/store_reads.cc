// The store's read operations. None opens a transaction: they run on the
// store's connection inside whatever transaction the caller has open.

#include "config_store_impl.h"
#include "db/config_reads.h"
#include "objects/config_store_object_internal.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

// Looks the type up and checks the identifier against it.
SchemaPtr CheckedSchema(const ConfigStoreObjectId& id) {
  SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  return schema;
}

SchemaPtr CheckedInstancesSchema(const ConfigStoreObjectId& id) {
  SchemaPtr schema = LookupSchema(id);
  ValidateCsoIdInstances(id, schema);
  return schema;
}

}  // namespace

std::shared_ptr<ConfigStoreObject> ConfigStoreImpl::Get(const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "Get", id, 0);
  const SchemaPtr schema = CheckedSchema(id);
  return GetInternal(id, connection_, schema);
}

std::shared_ptr<ConfigStoreObject> ConfigStoreImpl::GetDefaultConfig(
    const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "GetDefaultConfig", id, 0);
  const SchemaPtr schema = CheckedSchema(id);
  return GetDefaultConfigInternal(id, connection_, schema);
}

std::vector<std::shared_ptr<ConfigStoreObject>> ConfigStoreImpl::GetDefaultConfigInstances(
    const std::shared_ptr<FilterSpecObject>& filter) {
  if (FsoIsEmpty(filter, "GetDefaultConfigInstances")) return {};
  const ConfigStoreObjectId& id = filter->GetConfigStoreObjectId();
  LogOperation(kReadPriority, "GetDefaultConfigInstances", id, 0);
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoIdInstances(filter, schema);
  return GetDefaultConfigInstancesInternal(filter, connection_, schema);
}

std::vector<std::shared_ptr<ConfigStoreObject>> ConfigStoreImpl::GetInstances(
    const std::shared_ptr<FilterSpecObject>& filter) {
  if (FsoIsEmpty(filter, "GetInstances")) return {};
  const ConfigStoreObjectId& id = filter->GetConfigStoreObjectId();
  LogOperation(kReadPriority, "GetInstances", id, 0);
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoIdInstances(filter, schema);
  return GetConfigInstancesInternal(filter, connection_, schema);
}

int ConfigStoreImpl::GetRevision(const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "GetRevision", id, 0);
  CheckedSchema(id);
  return GetRevisionInternal(id, connection_);
}

std::vector<std::string> ConfigStoreImpl::GetInstanceIds(const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "GetInstanceIds", id, 0);
  CheckedInstancesSchema(id);
  return GetInstanceIdsInternal(id, connection_);
}

std::vector<std::pair<std::string, int>> ConfigStoreImpl::GetInstancesRevision(
    const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "GetInstancesRevision", id, 0);
  CheckedInstancesSchema(id);
  return GetInstancesRevisionInternal(id, connection_);
}

std::vector<ErrorInfo> ConfigStoreImpl::Validate(std::shared_ptr<ConfigStoreObject> object) {
  std::vector<ErrorInfo> errors;
  if (ObjIsEmpty(object, "Validate")) return errors;
  LogOperation(kWritePriority, "Validate", object->GetConfigStoreObjectId(), 0);
  ValidateCSO(LookupSchema(object->GetConfigStoreObjectId()), object, errors);
  return errors;
}

}  // namespace OrinConfigStore
