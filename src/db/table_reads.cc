// Whole-table and row reads: export, boot handling and kernel options read
// rows rather than merged objects.

#include "config_reads.h"
#include "configstore/logger.h"
#include "platform/host.h"
#include "platform/schema_database.h"
#include "sql_format.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kContentsAll =
    "SELECT Name, Value, Component, Identifier, Version, ConfigGroup from '%s';";
constexpr const char* kContentsSuccessful =
    "SELECT Name, Value, Component, Identifier, Version, ConfigGroup from '%s' WHERE Success=1;";
constexpr const char* kContentsAllST =
    "SELECT Name, %1$s as Value, AutoConfValue, Component, Identifier, Version, ConfigGroup, "
    "CreationTime, ModifiedTime, Revision from 'Config' where %1$s is not null;";
constexpr const char* kContentsSuccessfulST =
    "SELECT Name, %1$s as Value, AutoConfValue, Component, Identifier, Version, ConfigGroup, "
    "CreationTime, ModifiedTime, Revision from 'Config' WHERE Success=1 and %1$s is not null;";
constexpr const char* kUserValueExpression = "UserValue";
constexpr const char* kDesiredExpression =
    "CASE Success WHEN 0 THEN UserValue ELSE DesiredValue END";
constexpr const char* kAttachSchemaStore = "ATTACH DATABASE '%s' AS ss;";
constexpr const char* kDetachSchemaStore = "DETACH DATABASE ss;";
constexpr const char* kSmartnicRows =
    "\n"
    "      SELECT Component, ConfigGroup, Name, Identifier,\n"
    "      CASE\n"
    "         WHEN DesiredValue is NULL THEN UserValue\n"
    "         ELSE DesiredValue\n"
    "      END AS Value\n"
    "      FROM Config\n"
    "      WHERE (Component, ConfigGroup, Name) IN (\n"
    "         SELECT Component, ConfigGroup, Name from ss.SmartnicSchema\n"
    "         WHERE ss.SmartnicSchema.ValueType = \"orin-shared\"\n"
    "      );\n"
    "   ";
constexpr const char* kReadAll =
    "SELECT Value, Version from'%s' WHERE Name='%s' and Component='%s' and ConfigGroup='%s';";
constexpr const char* kReadSuccessful =
    "SELECT Value, Version from'%s' WHERE Name='%s' and Component='%s' and Success=1 and "
    "ConfigGroup='%s';";
constexpr const char* kReadInstanceAll =
    "SELECT Value, Version from'%s' WHERE Name='%s' and Component='%s' and Identifier='%s' and "
    "ConfigGroup='%s';";
constexpr const char* kReadInstanceSuccessful =
    "SELECT Value, Version from'%s' WHERE Name='%s' and Component='%s' and Identifier='%s' and "
    "Success=1 and ConfigGroup='%s';";
constexpr const char* kConfigSchemaTable = "ConfigSchema";

constexpr const char* kRowsFailed = "Get store rows failed.";
constexpr const char* kAttachFailed = "Failed to attach schema store";
constexpr const char* kLogDetachFailed = "Failed to detach schema store";
constexpr const char* kQueryFailed = "Query failed on ";

}  // namespace

RowList GetStoreRows(const std::string& statement, const Connection& connection) {
  RowList rows;
  if (FetchRows(connection, statement, rows) == 1) throw ConfigStoreException(kRowsFailed);
  return rows;
}

RowList GetStoreContentsInternal(const std::string& table, const Connection& connection, bool all) {
  return GetStoreRows(FormatSql(all ? kContentsAll : kContentsSuccessful, {table}), connection);
}

// Only the user column is limited to rows whose user value was applied.
RowList GetStoreContentsInternalST(const std::string& expression, const Connection& connection,
                                   bool all) {
  if (!all && expression != kUserValueExpression) all = true;
  return GetStoreRows(
      FormatSql(all ? kContentsAllST : kContentsSuccessfulST, {expression}, SqlParts::kVerbatim),
      connection);
}

RowList GetUserConfigContents(const Connection& connection) {
  return GetStoreContentsInternalST(kUserValueExpression, connection, false);
}

RowList GetDesiredUserConfigContents(const Connection& connection) {
  return GetStoreContentsInternalST(kDesiredExpression, connection, true);
}

// On success the schema store stays attached to the connection, which its
// queries after this one may use; a second call on the same connection then
// fails to attach. The pool closes a connection released with a database
// attached, so no other holder ever sees the alias.
RowList GetSmartnicConfiguration(const Connection& connection) {
  const std::string attach =
      FormatSql(kAttachSchemaStore, {HostPath(OrinSchemaStore::kSchemaStoreFile)});
  if (DBStore::ExecuteV2(connection, attach, nullptr, nullptr, kStatementTimeoutMs) != 0) {
    throw ConfigStoreException(kAttachFailed);
  }
  try {
    return GetStoreRows(kSmartnicRows, connection);
  } catch (...) {
    if (DBStore::ExecuteV2(connection, kDetachSchemaStore, nullptr, nullptr, kStatementTimeoutMs) !=
        0) {
      CSLogger::Log(0, kLogDetachFailed);
    }
    throw;
  }
}

RowMap Read(const std::string& table, const ConfigStoreObjectId& id, const Connection& connection,
            bool all) {
  const bool withInstance = !id.instanceId.empty() && table != kConfigSchemaTable;
  std::string statement;
  if (withInstance) {
    statement = FormatSql(all ? kReadInstanceAll : kReadInstanceSuccessful,
                          {table, id.key, id.component, id.instanceId, id.group});
  } else {
    statement =
        FormatSql(all ? kReadAll : kReadSuccessful, {table, id.key, id.component, id.group});
  }
  RowMap row;
  if (FetchRow(connection, statement, row) == 1) {
    throw ConfigStoreException(kQueryFailed + table + " for " + id.toString());
  }
  return row;
}

}  // namespace OrinConfigStore
