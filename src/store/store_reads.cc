// The store's read operations. None opens a transaction: they run on the
// store's connection inside whatever transaction the caller has open.

#include <cstdlib>
#include <cstring>

#include "config_store_impl.h"
#include "db/config_reads.h"
#include "db/sql_format.h"
#include "objects/object_helpers.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRevisionOfInstance =
    "select identifier, Revision from config where Name='%s' and ConfigGroup='%s' and "
    "Component='%s' and Identifier='%s';";
constexpr const char* kRevisionsOfKey =
    "select identifier, Revision from config where Name='%s' and ConfigGroup='%s' and "
    "Component='%s'; ";
constexpr const char* kInstanceIds =
    "select identifier from config where Name='%s' and ConfigGroup='%s' and Component='%s';";
constexpr const char* kRevisionFailed = "GetRevision command failed";
constexpr const char* kInstanceIdsFailed = "GetInstanceIds failed";
constexpr const char* kRevisionColumn = "Revision";
constexpr const char* kIdentifierColumn = "Identifier";

const char* Column(int columns, char** values, char** names, const char* name) {
  for (int i = 0; i < columns; ++i) {
    if (std::strcmp(names[i], name) == 0) return values[i];
  }
  return nullptr;
}

int StoreRevision(void* context, int columns, char** values, char** names) {
  if (const char* revision = Column(columns, values, names, kRevisionColumn)) {
    *static_cast<int*>(context) = std::atoi(revision);
  }
  return 0;
}

int AppendFirstColumn(void* context, int columns, char** values, char**) {
  if (columns > 0)
    static_cast<std::vector<std::string>*>(context)->push_back(values[0] ? values[0] : "");
  return 0;
}

int AppendRevision(void* context, int columns, char** values, char** names) {
  const char* id = Column(columns, values, names, kIdentifierColumn);
  const char* revision = Column(columns, values, names, kRevisionColumn);
  static_cast<std::vector<std::pair<std::string, int>>*>(context)->emplace_back(
      id ? id : "", revision ? std::atoi(revision) : 0);
  return 0;
}

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
  int revision = -1;
  if (DBStore::ExecuteV2(connection_, FormatSql(kRevisionOfInstance, IdentifierParts(id)),
                         StoreRevision, &revision, kStatementTimeoutMs) == 1) {
    throw ConfigStoreException(kRevisionFailed);
  }
  return revision;
}

std::vector<std::string> ConfigStoreImpl::GetInstanceIds(const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "GetInstanceIds", id, 0);
  CheckedInstancesSchema(id);
  std::vector<std::string> ids;
  if (DBStore::ExecuteV2(connection_, FormatSql(kInstanceIds, IdentifierParts(id, false)),
                         AppendFirstColumn, &ids, kStatementTimeoutMs) == 1) {
    throw ConfigStoreException(kInstanceIdsFailed);
  }
  return ids;
}

std::vector<std::pair<std::string, int>> ConfigStoreImpl::GetInstancesRevision(
    const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, "GetInstancesRevision", id, 0);
  CheckedInstancesSchema(id);
  const bool one = !id.instanceId.empty();
  std::vector<std::pair<std::string, int>> revisions;
  if (DBStore::ExecuteV2(
          connection_,
          FormatSql(one ? kRevisionOfInstance : kRevisionsOfKey, IdentifierParts(id, one)),
          AppendRevision, &revisions, kStatementTimeoutMs) == 1) {
    throw ConfigStoreException(kRevisionFailed);
  }
  return revisions;
}

std::vector<ErrorInfo> ConfigStoreImpl::Validate(std::shared_ptr<ConfigStoreObject> object) {
  std::vector<ErrorInfo> errors;
  if (ObjIsEmpty(object, "Validate")) return errors;
  LogOperation(kWritePriority, "Validate", object->GetConfigStoreObjectId(), 0);
  ValidateCSO(LookupSchema(object->GetConfigStoreObjectId()), object, errors);
  return errors;
}

}  // namespace OrinConfigStore
