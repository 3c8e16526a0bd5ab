#include "config_writes.h"

#include "configstore/host.h"
#include "history_schema.h"
#include "history_writes.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_object.h"
#include "source_split.h"
#include "sql_format.h"
#include "write_statements.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kContextWriteFailed =
    "Database call to update configuration by context failed for: ";
constexpr const char* kInstancesWriteFailed = "Write config instances failed";
constexpr const char* kCompleteWriteFailed = "WriteComplete failed";
constexpr const char* kDeleteFailed = "Delete failed: ";
constexpr const char* kDeleteInstancesFailed = "Delete instances failed: ";
constexpr const char* kRestoreValuesFailed = "Restore failed: ";
constexpr const char* kClearFailed = "Failed to Delete in SetConfigInstancesInternal";

// The identifier and version in the order of the positional placeholders.
std::vector<std::string> RowParts(const ConfigStoreObjectId& id, const std::string& version) {
  return {id.instanceId, id.key, id.group, id.component, version};
}

const std::string& Column(const ColumnValues& values, const char* column) {
  static const std::string kNone;
  const auto found = values.find(column);
  return found == values.end() ? kNone : found->second;
}

void WriteInstances(const ObjectList& objects, const std::string& prefix, const std::string& row,
                    const Connection& connection, const std::string& schemaVersion) {
  RecordedWrite(connection, kInstancesWriteFailed, [&] {
    for (const auto& object : objects) {
      const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
      std::string version = object->GetVersion();
      if (version.empty()) version = schemaVersion;
      const std::string statement = prefix + FormatSql(row.c_str(), RowParts(id, version));
      if (!ExecuteStatement(connection, statement, {object->GetSerializedData()})) {
        throw ConfigStoreException(kInstancesWriteFailed);
      }
      RecordRow(connection, id, kChangeSet, kInstancesWriteFailed);
    }
  });
}

// Writes each row, unrecorded: the callers record what they wrote.
void WriteCompleteRows(const CompleteRows& rows, const Connection& connection) {
  const WriteStatements& s = Statements();
  for (const auto& [id, values] : rows) {
    const std::string statement =
        s.completePrefix + FormatSql(s.completeRow.c_str(), RowParts(id, Column(values, kVersion)));
    if (!ExecuteStatement(connection, statement,
                          {Column(values, kAutoConfValue), Column(values, kUserValue),
                           Column(values, kVitalValue), Column(values, kCachedValue)})) {
      throw ConfigStoreException(kCompleteWriteFailed);
    }
  }
}

void AddCompleteRow(const std::shared_ptr<ConfigStoreObject>& object, const SchemaPtr& schema,
                    const USERDATA_CONTEXT& context, CompleteRows& rows) {
  const std::vector<std::string> parts = SplitTexts(*object, schema);
  const bool external = context == EXTERNAL;
  rows[object->GetConfigStoreObjectId()] = ColumnValues{
      {kUserValue, external ? parts[0] : std::string()},
      {kAutoConfValue, external ? std::string() : parts[0]},
      {kVitalValue, parts[1]},
      {kCachedValue, parts[2]},
      {kVersion, VersionToStore(*object, schema)},
  };
}

}  // namespace

std::string VersionToStore(const ConfigStoreObject& object, const SchemaPtr& schema) {
  std::string version = object.GetVersion();
  if (version.empty() && schema) version = schema->GetVersion();
  return version;
}

void UpdateByContextInternal(const std::shared_ptr<ConfigStoreObject>& object,
                             const SchemaPtr& schema, UPDATE_CONTEXT context,
                             const Connection& connection) {
  const WriteStatements& s = Statements();
  const std::string& statement = context == UPDATE_USER_DROP_DESIRED ? s.updateUserDroppingDesired
                                 : context == UPDATE_AUTOMATIC       ? s.updateAutomatic
                                                                     : s.updateUser;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  WriteRecordedRow(connection, id, IdentifierSql(statement.c_str(), id),
                   SplitTexts(*object, schema), kChangeUpdate, kContextWriteFailed + id.toString());
}

void SetByContextInternal(const std::shared_ptr<ConfigStoreObject>& object, const SchemaPtr& schema,
                          UPDATE_CONTEXT context, const Connection& connection) {
  const WriteStatements& s = Statements();
  const std::string& statement = context == UPDATE_USER_DROP_DESIRED ? s.userDroppingDesired
                                 : context == UPDATE_AUTOMATIC       ? s.automatic
                                                                     : s.userKeepingSuccess;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  WriteRecordedRow(connection, id,
                   FormatSql(statement.c_str(), RowParts(id, VersionToStore(*object, schema))),
                   SplitTexts(*object, schema), kChangeSet, kContextWriteFailed + id.toString());
}

void RestoreValuesInternal(const ConfigStoreObjectId& id, const std::string& version,
                           const std::vector<std::string>& values, const Connection& connection) {
  WriteRecordedRow(connection, id, FormatSql(Statements().restore.c_str(), RowParts(id, version)),
                   values, kChangeSet, kRestoreValuesFailed + id.toString());
}

void WriteUserConfigInstances(const ObjectList& objects, const Connection& connection,
                              const std::string& schemaVersion) {
  const WriteStatements& s = Statements();
  const bool upgrade = GetUpgradeCtx();
  WriteInstances(objects, upgrade ? s.userUpgradePrefix : s.userPrefix,
                 upgrade ? s.userUpgradeRow : s.userRow, connection, schemaVersion);
}

void WriteAutoConfConfigInstances(const ObjectList& objects, const Connection& connection,
                                  const std::string& schemaVersion) {
  WriteInstances(objects, Statements().automaticPrefix, Statements().automaticRow, connection,
                 schemaVersion);
}

void WriteVitalConfigInstances(const ObjectList& objects, const Connection& connection,
                               const std::string& schemaVersion) {
  WriteInstances(objects, Statements().vitalPrefix, Statements().vitalRow, connection,
                 schemaVersion);
}

void WriteCachedConfigInstances(const ObjectList& objects, const Connection& connection,
                                const std::string& schemaVersion) {
  WriteInstances(objects, Statements().cachedPrefix, Statements().cachedRow, connection,
                 schemaVersion);
}

void WriteCompleteConfigInstances(const CompleteRows& rows, const Connection& connection) {
  RecordedWrite(connection, kCompleteWriteFailed, [&] {
    WriteCompleteRows(rows, connection);
    for (const auto& row : rows) RecordRow(connection, row.first, kChangeSet, kCompleteWriteFailed);
  });
}

void DeleteInternal(const ConfigStoreObjectId& id, const Connection& connection) {
  const std::string statement =
      FormatSql(Statements().deleteOne.c_str(), {id.key, id.component, id.instanceId, id.group});
  const std::string failure = kDeleteFailed + id.toString();
  RecordedWrite(connection, failure, [&] {
    RecordDeletion(connection, id, failure);
    if (!ExecuteStatement(connection, statement)) throw ConfigStoreException(failure);
  });
}

void DeleteInstancesInternal(const ConfigStoreObjectId& id, const Connection& connection,
                             const ObjectList& rewritten) {
  const std::string statement =
      FormatSql(Statements().deleteInstances.c_str(), {id.key, id.component, id.group});
  const std::string failure = kDeleteInstancesFailed + id.toString();
  std::vector<std::string> kept;
  for (const auto& object : rewritten) kept.push_back(object->GetConfigStoreObjectId().instanceId);
  RecordedWrite(connection, failure, [&] {
    RecordKeyDeletions(connection, id, kept, failure);
    if (!ExecuteStatement(connection, statement)) throw ConfigStoreException(failure);
  });
}

void DeletePartialConfigInstances(const std::string& column, const ConfigStoreObjectId& id,
                                  const Connection& connection) {
  const std::string statement =
      FormatSql(Statements().clearSource.c_str(), {column, id.key, id.group, id.component});
  RecordedWrite(connection, kClearFailed, [&] {
    if (!ExecuteStatement(connection, statement)) throw ConfigStoreException(kClearFailed);
    RecordKeyRows(connection, id, kChangeUpdate, kClearFailed);
  });
}

void DeleteVitalConfigInstances(const ConfigStoreObjectId& id, const Connection& connection) {
  DeletePartialConfigInstances(kVitalValue, id, connection);
}
void DeleteCachedConfigInstances(const ConfigStoreObjectId& id, const Connection& connection) {
  DeletePartialConfigInstances(kCachedValue, id, connection);
}
void DeleteUserConfigInstances(const ConfigStoreObjectId& id, const Connection& connection) {
  DeletePartialConfigInstances(kUserValue, id, connection);
}
void DeleteAutoConfConfigInstances(const ConfigStoreObjectId& id, const Connection& connection) {
  DeletePartialConfigInstances(kAutoConfValue, id, connection);
}

void SetInternal(const std::shared_ptr<ConfigStoreObject>& object, const SchemaPtr& schema,
                 const USERDATA_CONTEXT& context, const Connection& connection) {
  CompleteRows rows;
  AddCompleteRow(object, schema, context, rows);
  WriteCompleteConfigInstances(rows, connection);
}

void SetInstancesInternal(const ObjectList& objects, const SchemaPtr& schema,
                          const USERDATA_CONTEXT& context, const Connection& connection) {
  CompleteRows rows;
  for (const auto& object : objects) AddCompleteRow(object, schema, context, rows);
  // The key holds just these rows now, recorded in one statement.
  RecordedWrite(connection, kCompleteWriteFailed, [&] {
    WriteCompleteRows(rows, connection);
    RecordKeyRows(connection, objects.front()->GetConfigStoreObjectId(), kChangeSet,
                  kCompleteWriteFailed);
  });
}

}  // namespace OrinConfigStore
