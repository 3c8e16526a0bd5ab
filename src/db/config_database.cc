#include "config_database.h"

#include <memory>

#include "config_table.h"
#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "configstore/provisioning.h"
#include "history_schema.h"
#include "platform/db_store.h"
#include "platform/host.h"
#include "row_reader.h"

namespace OrinConfigStore {

namespace {

// Column fragments shared by the tables, in the order the statements use
// them. The irregular spacing is the database's own and is kept.
const std::string kIdentity = "Component TEXT,ConfigGroup TEXT,Name TEXT,";
const std::string kIdentityWithValue = kIdentity + "Value TEXT,";
const std::string kInstanceId = "Identifier TEXT NOT NULL DEFAULT '',";
const std::string kSource = "Source INTEGER,";
const std::string kTimes =
    "ModifiedTime DATETIME DEFAULT (datetime(CURRENT_TIMESTAMP)),CreationTime DATETIME,";
const std::string kVersionColumn = "Version TEXT DEFAULT '',";
const std::string kSuccessColumn = "Success BOOLEAN DEFAULT 1,";
const std::string kInstanceKey = "PRIMARY KEY(Component, ConfigGroup, Name, Identifier))";
const std::string kObjectKey = "PRIMARY KEY(Component, ConfigGroup, Name))";
const std::string kBootAction =
    "BootAction TEXT CHECK( BootAction IN ('SET','SET_DEFAULT','DELETE')) NOT NULL DEFAULT "
    "'DELETE', ";
const std::string kSchemaFlags =
    "NoRestore BOOLEAN DEFAULT 0,MutableDefaultConfig BOOLEAN DEFAULT 0,Singleton BOOLEAN "
    "DEFAULT 1,SchemaType INTEGER,DSPIntegrated BOOLEAN DEFAULT 0,PreserveNonUser BOOLEAN "
    "DEFAULT 0,";

const std::string kCreateKvTable =
    "CREATE TABLE IF NOT EXISTS KVTable(Key TEXT, Value TEXT, ModifiedTime DATETIME DEFAULT "
    "(datetime(CURRENT_TIMESTAMP)),CreationTime DATETIME,PRIMARY KEY(Key));";
const std::string kCreateConfig =
    "CREATE TABLE IF NOT EXISTS Config(" + kIdentity + kInstanceId + kTimes + kVersionColumn +
    kSuccessColumn +
    "AutoConfValue TEXT, UserValue TEXT, VitalValue TEXT, CachedValue TEXT, DesiredValue TEXT, "
    "Revision INTEGER DEFAULT 0, " +
    kInstanceKey;
const std::string kCreateDefaultConfig =
    "CREATE TABLE IF NOT EXISTS DefaultConfig(VitalValue "
    "TEXT, CachedValue TEXT, " +
    kIdentityWithValue + kInstanceId + kSource + kTimes + kVersionColumn + kSuccessColumn +
    kInstanceKey;
const std::string kCreateDesiredUserConfig =
    "CREATE TABLE IF NOT EXISTS DesiredUserConfig(" + kIdentityWithValue + kInstanceId +
    "VitalValue TEXT, CachedValue TEXT, " + kVersionColumn + kSuccessColumn + kBootAction +
    kInstanceKey;
const std::string kCreateUpgradeStatus =
    "CREATE TABLE IF NOT EXISTS UpgradeStatus(" + kIdentityWithValue + kInstanceId + kTimes +
    kVersionColumn + kSuccessColumn + " LibName TEXT, PRIMARY KEY(LibName))";
const std::string kCreateConfigSchema = "CREATE TABLE IF NOT EXISTS ConfigSchema(ParcelId TEXT," +
                                        kIdentityWithValue + kVersionColumn + kSuccessColumn +
                                        kSchemaFlags + kObjectKey;
const std::string kCreateDataFileSchema =
    "CREATE TABLE IF NOT EXISTS DataFileSchema (ParcelId TEXT NOT NULL,Component TEXT NOT "
    "NULL,Key TEXT NOT NULL,Version TEXT NOT NULL,PRIMARY KEY(Component, Key));";
const std::string kCreateDataFileMetadata =
    "CREATE TABLE IF NOT EXISTS DataFileMetadata (Component TEXT NOT NULL,Key TEXT NOT "
    "NULL,DirName TEXT NOT NULL,FileName TEXT NOT NULL,PRIMARY KEY (Component, Key, DirName, "
    "FileName));";

const std::string kUpdateRevisionTrigger =
    "CREATE TRIGGER IF NOT EXISTS updateRevision AFTER UPDATE OF "
    "AutoConfValue,UserValue,VitalValue,CachedValue ON Config BEGIN UPDATE Config SET "
    "Revision=OLD.Revision + 1 WHERE Name=NEW.Name and Component=NEW.Component and "
    "ConfigGroup=New.ConfigGroup and Identifier=NEW.Identifier; END;";
const std::string kUpdateModifiedTimeTrigger =
    "CREATE TRIGGER IF NOT EXISTS updateModifiedTime AFTER UPDATE ON Config BEGIN UPDATE Config "
    "SET ModifiedTime=(datetime(CURRENT_TIMESTAMP)) WHERE Name=NEW.Name and "
    "Component=NEW.Component and ConfigGroup=New.ConfigGroup and Identifier=NEW.Identifier; END;";

constexpr const char* kLogFailed = "InitializeDatabase: %s failed";
constexpr const char* kTableExists =
    "SELECT 1 AS Found FROM sqlite_master WHERE type='table' AND name='%s';";

void RunCreate(const std::shared_ptr<DBStore::StoreConnection>& connection,
               const std::string& statement, CSErrorCodes code) {
  if (DBStore::ExecuteV2(connection, statement, nullptr, nullptr, kStatementTimeoutMs) != 0) {
    CSLogger::Log(0, kLogFailed, statement.c_str());
    ThrowException<ConfigStoreException>(code);
  }
}

bool TableExists(const Connection& connection, const char* table) {
  bool found = false;
  auto visit = [&](const RowView&) { found = true; };
  if (VisitRows(connection, FormatSql(kTableExists, {table}), visit) != 0) {
    ThrowException<ConfigStoreException>(CS_ERR_CREATE_TABLE);
  }
  return found;
}

}  // namespace

const std::vector<std::string>& CreateTableStatements() {
  static const std::vector<std::string> statements{
      kCreateKvTable,       kCreateConfig,       kCreateDefaultConfig,  kCreateDesiredUserConfig,
      kCreateUpgradeStatus, kCreateConfigSchema, kCreateDataFileSchema, kCreateDataFileMetadata,
  };
  return statements;
}

const std::vector<std::pair<std::string, std::string>>& CreateTriggerStatements() {
  static const std::vector<std::pair<std::string, std::string>> triggers{
      {"updateRevision", kUpdateRevisionTrigger},
      {"updateModifiedTime", kUpdateModifiedTimeTrigger},
  };
  return triggers;
}

void InitializeDatabase() {
  const std::string path = HostPath(DBStore::kConfigDatabaseFile);
  if (DBStore::CreateDatabase(DBStore::CONFIG) != 0) {
    ThrowException<ConfigStoreException>(CS_ERR_DB_OPEN, path.c_str());
  }
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  if (!connection) ThrowException<ConfigStoreException>(CS_ERR_DB_OPEN, path.c_str());
  for (const std::string& statement : CreateTableStatements()) {
    RunCreate(connection, statement, CS_ERR_CREATE_TABLE);
  }
  for (const auto& trigger : CreateTriggerStatements()) {
    RunCreate(connection, trigger.second, CS_ERR_CREATE_TRIGGER);
  }
  for (const std::string& statement : HistoryStatements()) {
    RunCreate(connection, statement, CS_ERR_CREATE_TABLE);
  }
  if (TableExists(connection, kEarlierHistoryTable)) {
    for (const std::string& statement : EarlierHistoryStatements()) {
      RunCreate(connection, statement, CS_ERR_CREATE_TABLE);
    }
  }
  for (const std::string& statement : HistorySeedStatements()) {
    RunCreate(connection, statement, CS_ERR_CREATE_TABLE);
  }
}

}  // namespace OrinConfigStore
