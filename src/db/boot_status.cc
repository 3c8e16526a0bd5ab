// The desired configuration staged for the next boot, its application, and
// the kernel options object.

#include "boot_status.h"

#include <string>

#include "config_writes.h"
#include "configstore/exceptions.h"
#include "history_schema.h"
#include "history_writes.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "objects/filter_object_impl.h"
#include "objects/object_merge.h"
#include "platform/schema_object.h"
#include "platform/switches.h"
#include "source_split.h"
#include "sql_format.h"
#include "write_statements.h"

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
constexpr const char* kReadOrdinary =
    "SELECT Version, CASE WHEN DesiredValue IS NULL THEN UserValue ELSE DesiredValue END as "
    "Value, VitalValue from Config WHERE Name='options' and ConfigGroup='kernix' and "
    "Component='orin';";
constexpr const char* kReadDesiredBoot =
    "SELECT duc1.Version, duc1.Value, c1.VitalValue from DesiredUserConfig duc1 LEFT JOIN Config "
    "c1 ON duc1.Name = c1.Name and duc1.ConfigGroup = c1.ConfigGroup and duc1.Component = "
    "c1.Component WHERE duc1.Name='options' and duc1.ConfigGroup='kernix' and "
    "duc1.Component='orin' union SELECT duc2.Version, duc2.Value, c2.VitalValue from Config c2 "
    "LEFT JOIN DesiredUserConfig duc2 ON c2.Name = duc2.Name and c2.ConfigGroup = "
    "duc2.ConfigGroup and c2.Component = duc2.Component WHERE c2.Name='options' and "
    "c2.ConfigGroup='kernix' and c2.Component='orin';";
constexpr const char* kKernelWriteFailed =
    "Database call to update Kernel options configuration failed for: ";

// The object made of one column of the identifier's row, or null.
std::shared_ptr<ConfigStoreObject> ReadColumn(const char* statementTemplate, const char* column,
                                              const ConfigStoreObjectId& id,
                                              const SchemaPtr& schema,
                                              const Connection& connection) {
  return ReadObject(statementTemplate, id, connection,
                    [&](const RowView& row) { return RowLayers(row, id, schema).Layer(column); });
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
  RecordedWrite(connection, kMarkFailed, [&] {
    if (!ExecuteStatement(connection,
                          IdentifierSql(one ? kMarkAppliedInstance : kMarkAppliedKey, id, one))) {
      throw ConfigStoreException(kMarkFailed);
    }
    if (one) {
      RecordRow(connection, id, kChangeBoot, kMarkFailed);
    } else {
      RecordKeyRows(connection, id, kChangeBoot, kMarkFailed);
    }
  });
}

void SetPartialBootStatusInternal(const std::shared_ptr<ConfigStoreObject>& object,
                                  const SchemaPtr& schema, const Connection& connection) {
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  auto applied = ReadColumn(kReadApplied, kUserValue, id, schema, connection);
  if (!applied) {
    WriteRecordedRow(connection, id, IdentifierSql(kKeepUserAsDesired, id), {}, kChangeDesired,
                     kCopyFailed + id.toString());
  }
  const auto desired = ReadColumn(kReadDesired, kDesiredValue, id, schema, connection);
  if (!desired) throw ConfigStoreException(kDesiredEmpty);
  if (!IsSchemaSubset(Data(desired), Data(object), schema->GetSchemaJson())) {
    throw ConfigStoreException(kNotPartOfDesired);
  }
  // Without an applied value the restored part is all there is.
  if (!applied) {
    const std::string data = object->GetSerializedData();
    applied = CreateStoredObject(id, data, schema);
  } else
    UpdateConfigInternal(applied, object, &schema->GetInstanceKeyMap());
  WriteRecordedRow(connection, id, IdentifierSql(kWriteRestored, id),
                   {applied->GetSerializedData()}, kChangeBoot, kRestoreFailed + id.toString());
  if (Data(applied) == Data(desired)) {
    WriteRecordedRow(connection, id,
                     FormatSql(kDropDesired, {id.key, id.component, id.group, id.instanceId}), {},
                     kChangeDesired, kDropFailed);
  }
}

std::vector<std::shared_ptr<ConfigStoreObject>> GetDesiredInstancesInternal(
    const ConfigStoreObjectId& id, const Connection& connection, const SchemaPtr& schema) {
  auto desired = [](const RowView& row, const ConfigStoreObjectId& instance,
                    const SchemaPtr& type) { return RowLayers(row, instance, type).Layer(kValue); };
  return ReadInstances(IdentifierSql(kReadDesiredInstances, id, false), id, connection, schema,
                       desired, GetFailedMessage(id));
}

std::shared_ptr<ConfigStoreObject> GetKernelOptionsInternal(const ConfigStoreObjectId& id,
                                                            const Connection& connection,
                                                            const SchemaPtr& schema) {
  const char* statement =
      IsBootModeDesiredUserConfig(connection) ? kReadDesiredBoot : kReadOrdinary;
  std::shared_ptr<ConfigStoreObject> options;
  auto visit = [&](const RowView& row) {
    RowLayers layers(row, id, schema);
    auto value = layers.Layer(kValue);
    options = MergeConfig(std::move(value), layers.Layer(kVitalValue), nullptr, nullptr);
  };
  if (VisitRows(connection, statement, visit) == 1) {
    throw ConfigStoreException(GetFailedMessage(id));
  }
  return options;
}

void SetKernelOptionsInternal(const std::shared_ptr<ConfigStoreObject>& object,
                              const SchemaPtr& schema, const Connection& connection) {
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  const std::string statement =
      FormatSql(Statements().kernelOptions.c_str(),
                {id.instanceId, id.key, id.group, id.component, VersionToStore(*object, schema)});
  std::vector<std::string> values = SplitTexts(*object, schema);
  values.pop_back();  // the statement binds the user and vital parts only
  WriteRecordedRow(connection, id, statement, values, kChangeSet,
                   kKernelWriteFailed + id.toString());
}

}  // namespace OrinConfigStore
