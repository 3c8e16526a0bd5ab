// The kernel options object: its value in force is the desired one, and
// during a boot that applies the desired user configuration, the staged one.

#include "boot_status.h"
#include "config_writes.h"
#include "configstore/logger.h"
#include "notify/notify.h"
#include "objects/object_helpers.h"
#include "objects/object_merge.h"
#include "platform/schema_object.h"
#include "source_split.h"
#include "sql_format.h"
#include "store/config_store_impl.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"
#include "write_statements.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kComponent = "orin";
constexpr const char* kGroup = "kernix";
constexpr const char* kKey = "options";
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
constexpr const char* kWrongObject = "API should only be invoked for Kernel options configuration.";
constexpr const char* kGetFailed = "Get failed: ";
constexpr const char* kWriteFailed =
    "Database call to update Kernel options configuration failed for: ";
constexpr const char* kBeginFailed = "Begin Transaction failed for: ";
constexpr const char* kCommitFailed = "Commit transaction failed.";
constexpr const char* kTransactionFailed = "Transaction failed";
constexpr const char* kLogInvoked = "%s invoked";
constexpr const char* kValue = "Value";
constexpr const char* kVitalValue = "VitalValue";

void ValidateKernelOptionsCsoId(const ConfigStoreObjectId& id) {
  if (id.component != kComponent || id.group != kGroup || id.key != kKey) {
    throw ValidationException(CS_ERR_GENERIC, kWrongObject, {});
  }
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
    throw ConfigStoreException(kGetFailed + id.toString());
  }
  return options;
}

void SetKernelOptionsInternal(const std::shared_ptr<ConfigStoreObject>& object,
                              const SchemaPtr& schema, const Connection& connection) {
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  const std::string statement =
      FormatSql(Statements().kernelOptions.c_str(),
                {id.instanceId, id.key, id.group, id.component, VersionToStore(*object, schema)});
  const std::vector<std::string> values{
      GetDataIfNotNull(SplitObjectBySource(object, schema, ValueSource::kUser)),
      GetDataIfNotNull(SplitObjectBySource(object, schema, ValueSource::kVital))};
  if (DBStore::Execute(connection, statement, values, {}, kStatementTimeoutMs) != 0) {
    throw ConfigStoreException(kWriteFailed + id.toString());
  }
}

SchemaPtr CheckedSchema(const ConfigStoreObjectId& id) {
  ValidateKernelOptionsCsoId(id);
  SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  return schema;
}

}  // namespace

std::shared_ptr<ConfigStoreObject> GetKernelOptions(const ConfigStoreObjectId& id) {
  CSLogger::Log(4, kLogInvoked, "GetKernelOptions");
  const SchemaPtr schema = CheckedSchema(id);
  return GetKernelOptionsInternal(id, GetDBStore(DBStore::CONFIG, true), schema);
}

void UpdateKernelOptions(std::shared_ptr<ConfigStoreObject> object) {
  if (ObjIsEmpty(object, "UpdateKernelOptions")) return;
  CSLogger::Log(3, kLogInvoked, "UpdateKernelOptions");
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  const SchemaPtr schema = CheckedSchema(id);
  ValidateUpdate(schema, object);
  CheckBootContext(schema, true, EXTERNAL);
  const auto connection = GetDBStore(DBStore::CONFIG, true);
  if (DBStore::BeginTransaction(connection) != 0) {
    throw ConfigStoreException(std::string(kBeginFailed) + "UpdateKernelOptions");
  }
  try {
    auto options = GetKernelOptionsInternal(id, connection, schema);
    if (options) {
      UpdateConfigInternal(options, object, &schema->GetInstanceKeyMap());
    } else {
      options = object;
    }
    ValidateSet(schema, options);
    SetKernelOptionsInternal(options, schema, connection);
    if (DBStore::CommitTransaction(connection) != 0) throw ConfigStoreException(kCommitFailed);
    NotifyIfAllowlisted(id);
  } catch (const std::exception& e) {
    DBStore::CancelTransaction(connection);
    throw ConfigStoreException(std::string(kTransactionFailed) + e.what());
  }
}

}  // namespace OrinConfigStore
