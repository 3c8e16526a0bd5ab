#include "boot_status.h"

#include "key_value.h"

#include <string>

#include "config_reads.h"
#include "configstore/logger.h"
#include "key_value.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "objects/filter_match.h"
#include "objects/object_helpers.h"
#include "objects/object_merge.h"
#include "platform/schema_object.h"
#include "sql_format.h"
#include "store/config_store_impl.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kBootModeKey = "BOOT_MODE";
constexpr const char* kMarkAppliedInstance =
    "UPDATE Config SET UserValue = CASE WHEN DesiredValue IS NULL THEN UserValue ELSE "
    "DesiredValue END, DesiredValue=NULL, Success=1 WHERE Name ='%s' and ConfigGroup='%s' and "
    "Component='%s' and Identifier='%s';";
constexpr const char* kMarkAppliedKey =
    "UPDATE Config SET UserValue = CASE WHEN DesiredValue IS NULL THEN UserValue ELSE "
    "DesiredValue END, DesiredValue=NULL, Success=1 WHERE Name ='%s' and ConfigGroup='%s' and "
    "Component='%s';";
constexpr const char* kReadApplied =
    "SELECT Version, UserValue, CreationTime, ModifiedTime, Revision FROM Config WHERE Name='%s' "
    "and ConfigGroup='%s' and Component='%s' and Identifier='%s' and Success=1;";
constexpr const char* kKeepUserAsDesired =
    "update config set desiredvalue = uservalue where name='%s' and configgroup='%s' and "
    "component='%s' and identifier='%s';";
constexpr const char* kReadDesired =
    "SELECT Version, DesiredValue, CreationTime, ModifiedTime, Revision FROM Config WHERE "
    "Name='%s' and ConfigGroup='%s' and Component='%s' and Identifier='%s';";
constexpr const char* kWriteRestored =
    "UPDATE Config SET UserValue=?, Success=1 WHERE Name='%s' and ConfigGroup='%s' and "
    "Component='%s' and Identifier='%s';";
constexpr const char* kDropDesired =
    "UPDATE Config SET DesiredValue = null WHERE Name = '%s' and Component='%s' and "
    "ConfigGroup='%s' and Identifier='%s';";
constexpr const char* kReadDesiredInstances =
    "SELECT Version, identifier, CASE Success WHEN 0 THEN UserValue ELSE DesiredValue END Value, "
    "CreationTime, ModifiedTime, Revision from Config WHERE Name='%s' and ConfigGroup='%s' and "
    "Component='%s' and Value is not null;";

constexpr const char* kMarkFailed = "SetBootStatus: Failed to mark success status for given csoId.";
constexpr const char* kCopyFailed = "Failed to copy user config to desired config for: ";
constexpr const char* kDesiredEmpty = "desired config is empty";
constexpr const char* kNotPartOfDesired =
    "partial config being restored is not part of desired config";
constexpr const char* kRestoreFailed = "Database call to update configuration failed for: ";
constexpr const char* kDropFailed =
    "DeleteDesiredValue: Failed to delete DesiredValue for given csoId.";
constexpr const char* kGetFailed = "Get failed: ";
constexpr const char* kLogInvoked = "%s invoked";
constexpr const char* kUserValue = "UserValue";
constexpr const char* kDesiredValue = "DesiredValue";
constexpr const char* kValue = "Value";
constexpr const char* kIdentifier = "Identifier";

bool Run(const Connection& connection, const std::string& statement,
         const std::vector<std::string>& values = {}) {
  return DBStore::Execute(connection, statement, values, {}, kStatementTimeoutMs) == 0;
}

// The object made of one column of the identifier's row, or null.
std::shared_ptr<ConfigStoreObject> ReadColumn(const char* statementTemplate, const char* column,
                                              const ConfigStoreObjectId& id,
                                              const SchemaPtr& schema,
                                              const Connection& connection) {
  std::shared_ptr<ConfigStoreObject> object;
  auto visit = [&](const RowView& row) { object = RowLayers(row, id, schema).Layer(column); };
  if (VisitRows(connection, FormatSql(statementTemplate, IdentifierParts(id)), visit) == 1) {
    throw ConfigStoreException(kGetFailed + id.toString());
  }
  return object;
}

const JVal& Data(const std::shared_ptr<ConfigStoreObject>& object) {
  return ConfigStoreObjectInternal::Impl(*object).DataValue();
}

}  // namespace

bool IsBootModeDesiredUserConfig(const Connection& connection) {
  std::string value;
  if (DBStore::ReadKeyValue(kBootModeKey, value, connection) != 0) {
    throw ConfigStoreException(kReadValueFailed);
  }
  return !value.empty() && std::stoi(value) == 1;
}

void SetBootStatusInternal(const ConfigStoreObjectId& id, bool success,
                           const Connection& connection) {
  if (!success) return;
  const bool one = !id.instanceId.empty();
  if (!Run(connection,
           FormatSql(one ? kMarkAppliedInstance : kMarkAppliedKey, IdentifierParts(id, one)))) {
    throw ConfigStoreException(kMarkFailed);
  }
}

void SetPartialBootStatusInternal(const std::shared_ptr<ConfigStoreObject>& object,
                                  const SchemaPtr& schema, const Connection& connection) {
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  auto applied = ReadColumn(kReadApplied, kUserValue, id, schema, connection);
  if (!applied && !Run(connection, FormatSql(kKeepUserAsDesired, IdentifierParts(id)))) {
    throw ConfigStoreException(kCopyFailed + id.toString());
  }
  const auto desired = ReadColumn(kReadDesired, kDesiredValue, id, schema, connection);
  if (!desired) throw ConfigStoreException(kDesiredEmpty);
  if (!IsSchemaSubset(Data(desired), Data(object), schema->GetSchemaJson())) {
    throw ConfigStoreException(kNotPartOfDesired);
  }
  // Without an applied value the restored part is all there is.
  if (!applied)
    applied = CreateObject(id, CreateDocumentFromString(object->GetSerializedData()), schema);
  else
    UpdateConfigInternal(applied, object, &schema->GetInstanceKeyMap());
  if (!Run(connection, FormatSql(kWriteRestored, IdentifierParts(id)),
           {applied->GetSerializedData()})) {
    throw ConfigStoreException(kRestoreFailed + id.toString());
  }
  if (Data(applied) == Data(desired) &&
      !Run(connection, FormatSql(kDropDesired, {id.key, id.component, id.group, id.instanceId}))) {
    throw ConfigStoreException(kDropFailed);
  }
}

void SetBootStatus(const ConfigStoreObjectId& id, bool success) {
  SetBootStatusInternal(id, success, GetDBStore(DBStore::CONFIG, true));
}

void SetPartialBootStatus(std::shared_ptr<ConfigStoreObject> object) {
  if (ObjIsEmpty(object, "SetPartialBootStatus")) return;
  const SchemaPtr schema = LookupSchema(object->GetConfigStoreObjectId());
  ValidatePartialConfig(schema, object);
  SetPartialBootStatusInternal(object, schema, GetDBStore(DBStore::CONFIG, true));
}

std::shared_ptr<ConfigStoreObject> GetDesiredUserConfig(const ConfigStoreObjectId& id) {
  CSLogger::Log(4, kLogInvoked, "GetDesiredUserConfig");
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  return GetDesiredInternal(id, GetDBStore(DBStore::CONFIG, true), schema);
}

std::vector<std::shared_ptr<ConfigStoreObject>> GetDesiredUserConfigInstances(
    const ConfigStoreObjectId& id) {
  CSLogger::Log(4, kLogInvoked, "GetDesiredUserConfigInstances");
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoIdInstances(id, schema);
  std::vector<std::shared_ptr<ConfigStoreObject>> objects;
  ConfigStoreObjectId instance = id;
  auto visit = [&](const RowView& row) {
    const char* identifier = row.Get(kIdentifier);
    instance.instanceId = identifier != nullptr ? identifier : "";
    if (auto object = RowLayers(row, instance, schema).Layer(kValue)) {
      objects.push_back(std::move(object));
    }
  };
  if (VisitRows(GetDBStore(DBStore::CONFIG, true),
                FormatSql(kReadDesiredInstances, IdentifierParts(id, false)), visit) == 1) {
    throw ConfigStoreException(kGetFailed + id.toString());
  }
  return objects;
}

}  // namespace OrinConfigStore
