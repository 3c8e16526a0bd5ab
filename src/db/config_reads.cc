#include "config_reads.h"

#include <cstdlib>

#include "configstore/host.h"
#include "configstore/logger.h"
#include "objects/filter_object_impl.h"
#include "platform/schema_object.h"
#include "platform/switches.h"
#include "sql_format.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kGetUpgrade =
    "SELECT Version, AutoConfValue, CASE WHEN DesiredValue IS NULL THEN UserValue ELSE "
    "DesiredValue END as UserValue, VitalValue, CachedValue, Success, CreationTime, ModifiedTime, "
    "Revision from Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' and "
    "Identifier='%s';";
constexpr const char* kGet =
    "SELECT Version, AutoConfValue, UserValue, VitalValue, CachedValue, Success, CreationTime, "
    "ModifiedTime, Revision from Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' "
    "and Identifier='%s';";
constexpr const char* kGetCurrent =
    "SELECT Version, AutoConfValue, UserValue, Success, CreationTime, ModifiedTime, Revision from "
    "Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' and Identifier='%s';";
constexpr const char* kGetUserPart =
    "SELECT Version, UserValue, VitalValue, CachedValue, Success, CreationTime, ModifiedTime, "
    "Revision from Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' and "
    "Identifier='%s';";
constexpr const char* kGetOtherParts =
    "SELECT Version, AutoConfValue, VitalValue, CachedValue, CreationTime, ModifiedTime, Revision "
    "from Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' and Identifier='%s';";
constexpr const char* kGetDesired =
    "SELECT Version, CASE Success WHEN 0 THEN UserValue ELSE DesiredValue END Value, "
    "CreationTime, ModifiedTime, Revision from Config WHERE Name='%s' and ConfigGroup='%s' and "
    "Component='%s' and Identifier='%s' and Value is not null;";
constexpr const char* kGetDefault =
    "select value, VitalValue, CachedValue, identifier, version from DefaultConfig where "
    "Name='%s' and ConfigGroup='%s' and Component='%s' and Identifier='%s';";
constexpr const char* kGetDefaults =
    "select value, VitalValue, CachedValue, identifier, version from DefaultConfig where "
    "Name='%s' and ConfigGroup='%s' and Component='%s';";
constexpr const char* kGetInstancesUpgrade =
    "select Version, Success, identifier, CASE WHEN DesiredValue IS NULL THEN UserValue ELSE "
    "DesiredValue END as UserValue, VitalValue, CachedValue, AutoConfValue, CreationTime, "
    "ModifiedTime, Revision from config where Name='%s' and ConfigGroup='%s' and Component='%s';";
constexpr const char* kGetInstances =
    "select Version, Success, identifier, UserValue, VitalValue, CachedValue, AutoConfValue, "
    "CreationTime, ModifiedTime, Revision from config where Name='%s' and ConfigGroup='%s' and "
    "Component='%s';";

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
constexpr const char* kRowsFailed = "Get store rows failed.";
constexpr const char* kLogNotFound = "Object not found: %s";

std::shared_ptr<ConfigStoreObject> MergedDefaultRow(const RowView& row,
                                                    const ConfigStoreObjectId& id,
                                                    const SchemaPtr& schema) {
  RowLayers layers(row, id, schema);
  return layers.Merged({layers.Text(kVitalValue), layers.Text(kCachedValue), layers.Text(kValue)});
}

// A column's text as a number, as atoi reads it; 0 for an absent column.
int Number(const char* text) { return text != nullptr ? std::atoi(text) : 0; }

}  // namespace

const char* ObjectRowStatement() { return GetUpgradeCtx() ? kGetUpgrade : kGet; }

// The layers are built in merge order: vital, cached, automatic, user.
std::shared_ptr<ConfigStoreObject> MergedRow(const RowView& row, const ConfigStoreObjectId& id,
                                             const SchemaPtr& schema) {
  RowLayers layers(row, id, schema);
  return layers.Merged({layers.Text(kVitalValue), layers.Text(kCachedValue),
                        layers.Text(kAutoConfValue), layers.AppliedUserText()});
}

std::shared_ptr<ConfigStoreObject> GetInternal(const ConfigStoreObjectId& id,
                                               const Connection& connection,
                                               const SchemaPtr& schema) {
  return ReadObject(ObjectRowStatement(), id, connection,
                    [&](const RowView& row) { return MergedRow(row, id, schema); });
}

std::shared_ptr<ConfigStoreObject> GetCurrentConfigInternal(const ConfigStoreObjectId& id,
                                                            const Connection& connection,
                                                            const SchemaPtr& schema) {
  return ReadObject(kGetCurrent, id, connection, [&](const RowView& row) {
    RowLayers layers(row, id, schema);
    return layers.Merged({layers.Text(kAutoConfValue), layers.AppliedUserText()});
  });
}

std::shared_ptr<ConfigStoreObject> GetConfigByBootAndContext(const ConfigStoreObjectId& id,
                                                             const SchemaPtr& schema,
                                                             const USERDATA_CONTEXT& context,
                                                             const Connection& connection) {
  const bool booting = IsBoot(connection);
  std::shared_ptr<ConfigStoreObject> user;
  if (context == EXTERNAL) {
    const bool asStored = booting && schema->IsBootExempt();
    user = ReadObject(kGetUserPart, id, connection, [&](const RowView& row) {
      RowLayers layers(row, id, schema);
      return asStored ? layers.Layer(kUserValue) : layers.UserLayer();
    });
  }
  return ReadObject(kGetOtherParts, id, connection, [&](const RowView& row) {
    RowLayers layers(row, id, schema);
    auto vital = layers.Layer(kVitalValue);
    auto cached = layers.Layer(kCachedValue);
    auto automatic = layers.Layer(kAutoConfValue);
    return MergeConfig(std::move(vital), std::move(cached), std::move(automatic), user);
  });
}

std::shared_ptr<ConfigStoreObject> GetDesiredInternal(const ConfigStoreObjectId& id,
                                                      const Connection& connection,
                                                      const SchemaPtr& schema) {
  return ReadObject(kGetDesired, id, connection,
                    [&](const RowView& row) { return RowLayers(row, id, schema).Layer(kValue); });
}

std::shared_ptr<ConfigStoreObject> GetDefaultConfigInternal(const ConfigStoreObjectId& id,
                                                            const Connection& connection,
                                                            const SchemaPtr& schema) {
  auto merged = ReadObject(kGetDefault, id, connection,
                           [&](const RowView& row) { return MergedDefaultRow(row, id, schema); });
  if (!merged) CSLogger::Log(0, kLogNotFound, id.toString().c_str());
  return merged;
}

std::vector<std::shared_ptr<ConfigStoreObject>> GetConfigInstancesInternal(
    const std::shared_ptr<FilterSpecObject>& filter, const Connection& connection,
    const SchemaPtr& schema) {
  const ConfigStoreObjectId& id = filter->GetConfigStoreObjectId();
  std::vector<std::shared_ptr<ConfigStoreObject>> objects;
  if (!id.instanceId.empty()) {
    if (auto object = GetInternal(id, connection, schema)) objects.push_back(std::move(object));
  } else {
    const char* statement = GetUpgradeCtx() ? kGetInstancesUpgrade : kGetInstances;
    objects = ReadInstances(IdentifierSql(statement, id, false), id, connection, schema, MergedRow,
                            kRowsFailed);
  }
  return FilterConfigStoreObjects(objects, filter);
}

std::vector<std::shared_ptr<ConfigStoreObject>> GetDefaultConfigInstancesInternal(
    const std::shared_ptr<FilterSpecObject>& filter, const Connection& connection,
    const SchemaPtr& schema) {
  const ConfigStoreObjectId& id = filter->GetConfigStoreObjectId();
  const bool one = !id.instanceId.empty();
  auto objects = ReadInstances(IdentifierSql(one ? kGetDefault : kGetDefaults, id, one), id,
                               connection, schema, MergedDefaultRow, kRowsFailed);
  return FilterConfigStoreObjects(objects, filter);
}

int GetRevisionInternal(const ConfigStoreObjectId& id, const Connection& connection) {
  int revision = -1;
  auto visit = [&](const RowView& row) {
    if (const char* text = row.Get(kRevision)) revision = Number(text);
  };
  if (VisitRows(connection, IdentifierSql(kRevisionOfInstance, id), visit) == 1) {
    throw ConfigStoreException(kRevisionFailed);
  }
  return revision;
}

std::vector<std::string> GetInstanceIdsInternal(const ConfigStoreObjectId& id,
                                                const Connection& connection) {
  std::vector<std::string> ids;
  auto visit = [&](const RowView& row) {
    const char* identifier = row.Get(kIdentifier);
    ids.push_back(identifier != nullptr ? identifier : "");
  };
  if (VisitRows(connection, IdentifierSql(kInstanceIds, id, false), visit) == 1) {
    throw ConfigStoreException(kInstanceIdsFailed);
  }
  return ids;
}

std::vector<std::pair<std::string, int>> GetInstancesRevisionInternal(
    const ConfigStoreObjectId& id, const Connection& connection) {
  const bool one = !id.instanceId.empty();
  std::vector<std::pair<std::string, int>> revisions;
  auto visit = [&](const RowView& row) {
    const char* identifier = row.Get(kIdentifier);
    revisions.emplace_back(identifier != nullptr ? identifier : "", Number(row.Get(kRevision)));
  };
  const std::string statement = IdentifierSql(one ? kRevisionOfInstance : kRevisionsOfKey, id, one);
  if (VisitRows(connection, statement, visit) == 1) throw ConfigStoreException(kRevisionFailed);
  return revisions;
}

}  // namespace OrinConfigStore
