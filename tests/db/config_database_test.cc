// The configuration database: its statements as the database defines them,
// initialisation, the triggers, the key-value functions and SQL formatting.

#include <gtest/gtest.h>

#include <filesystem>

#include "configstore/config_store.h"
#include "configstore/provisioning.h"
#include "database_root.h"
#include "db/config_database.h"
#include "db/sql_format.h"
#include "platform/db_store.h"
#include "platform/host.h"

namespace OrinConfigStore {
namespace {

TEST(ConfigDatabase, StatementsAreTheDatabasesDefinition) {
  const std::vector<std::string> tables{
      "CREATE TABLE IF NOT EXISTS KVTable(Key TEXT, Value TEXT, ModifiedTime DATETIME DEFAULT "
      "(datetime(CURRENT_TIMESTAMP)),CreationTime DATETIME,PRIMARY KEY(Key));",
      "CREATE TABLE IF NOT EXISTS Config(Component TEXT,ConfigGroup TEXT,Name TEXT,Identifier TEXT "
      "NOT NULL DEFAULT '',ModifiedTime DATETIME DEFAULT "
      "(datetime(CURRENT_TIMESTAMP)),CreationTime "
      "DATETIME,Version TEXT DEFAULT '',Success BOOLEAN DEFAULT 1,AutoConfValue TEXT, UserValue "
      "TEXT, VitalValue TEXT, CachedValue TEXT, DesiredValue TEXT, Revision INTEGER DEFAULT 0, "
      "PRIMARY KEY(Component, ConfigGroup, Name, Identifier))",
      "CREATE TABLE IF NOT EXISTS DefaultConfig(VitalValue TEXT, CachedValue TEXT, Component "
      "TEXT,ConfigGroup TEXT,Name TEXT,Value TEXT,Identifier TEXT NOT NULL DEFAULT '',Source "
      "INTEGER,ModifiedTime DATETIME DEFAULT (datetime(CURRENT_TIMESTAMP)),CreationTime "
      "DATETIME,Version TEXT DEFAULT '',Success BOOLEAN DEFAULT 1,PRIMARY KEY(Component, "
      "ConfigGroup, Name, Identifier))",
      "CREATE TABLE IF NOT EXISTS DesiredUserConfig(Component TEXT,ConfigGroup TEXT,Name "
      "TEXT,Value "
      "TEXT,Identifier TEXT NOT NULL DEFAULT '',VitalValue TEXT, CachedValue TEXT, Version TEXT "
      "DEFAULT '',Success BOOLEAN DEFAULT 1,BootAction TEXT CHECK( BootAction IN "
      "('SET','SET_DEFAULT','DELETE')) NOT NULL DEFAULT 'DELETE', PRIMARY KEY(Component, "
      "ConfigGroup, Name, Identifier))",
      "CREATE TABLE IF NOT EXISTS UpgradeStatus(Component TEXT,ConfigGroup TEXT,Name TEXT,Value "
      "TEXT,Identifier TEXT NOT NULL DEFAULT '',ModifiedTime DATETIME DEFAULT "
      "(datetime(CURRENT_TIMESTAMP)),CreationTime DATETIME,Version TEXT DEFAULT '',Success BOOLEAN "
      "DEFAULT 1, LibName TEXT, PRIMARY KEY(LibName))",
      "CREATE TABLE IF NOT EXISTS ConfigSchema(ParcelId TEXT,Component TEXT,ConfigGroup TEXT,Name "
      "TEXT,Value TEXT,Version TEXT DEFAULT '',Success BOOLEAN DEFAULT 1,NoRestore BOOLEAN DEFAULT "
      "0,MutableDefaultConfig BOOLEAN DEFAULT 0,Singleton BOOLEAN DEFAULT 1,SchemaType "
      "INTEGER,DSPIntegrated BOOLEAN DEFAULT 0,PreserveNonUser BOOLEAN DEFAULT 0,PRIMARY "
      "KEY(Component, ConfigGroup, Name))",
      "CREATE TABLE IF NOT EXISTS DataFileSchema (ParcelId TEXT NOT NULL,Component TEXT NOT "
      "NULL,Key TEXT NOT NULL,Version TEXT NOT NULL,PRIMARY KEY(Component, Key));",
      "CREATE TABLE IF NOT EXISTS DataFileMetadata (Component TEXT NOT NULL,Key TEXT NOT "
      "NULL,DirName TEXT NOT NULL,FileName TEXT NOT NULL,PRIMARY KEY (Component, Key, DirName, "
      "FileName));",
  };
  EXPECT_EQ(CreateTableStatements(), tables);
  const auto& triggers = CreateTriggerStatements();
  ASSERT_EQ(triggers.size(), 2u);
  EXPECT_EQ(triggers[0].first, "updateRevision");
  EXPECT_EQ(triggers[0].second,
            "CREATE TRIGGER IF NOT EXISTS updateRevision AFTER UPDATE OF "
            "AutoConfValue,UserValue,VitalValue,CachedValue ON Config BEGIN UPDATE Config SET "
            "Revision=OLD.Revision + 1 WHERE Name=NEW.Name and Component=NEW.Component and "
            "ConfigGroup=New.ConfigGroup and Identifier=NEW.Identifier; END;");
  EXPECT_EQ(triggers[1].first, "updateModifiedTime");
  EXPECT_EQ(triggers[1].second,
            "CREATE TRIGGER IF NOT EXISTS updateModifiedTime AFTER UPDATE ON Config BEGIN UPDATE "
            "Config SET ModifiedTime=(datetime(CURRENT_TIMESTAMP)) WHERE Name=NEW.Name and "
            "Component=NEW.Component and ConfigGroup=New.ConfigGroup and "
            "Identifier=NEW.Identifier; END;");
}

TEST(ConfigDatabase, InitializeCreatesTheFileOnce) {
  cstest::TempRoot root;
  EXPECT_EQ(DBStore::GetConnection(DBStore::CONFIG), nullptr);
  InitializeDatabase();
  InitializeDatabase();  // idempotent
  EXPECT_TRUE(std::filesystem::exists(HostPath(DBStore::kConfigDatabaseFile)));
  EXPECT_NE(DBStore::GetConnection(DBStore::CONFIG), nullptr);
}

TEST(ConfigDatabase, TriggersKeepRevisionAndModifiedTime) {
  cstest::DatabaseRoot db;
  const auto reset = [&] {
    db.Sql(
        "DELETE FROM Config; INSERT INTO Config(Component, ConfigGroup, Name, UserValue, "
        "Revision, ModifiedTime) VALUES('net', 'dns', 'resolver', '{}', 1, '2000-01-01');");
  };
  const std::string select = "SELECT Revision, ModifiedTime > '2000-01-01' AS Touched FROM Config;";
  reset();
  db.Sql("UPDATE Config SET UserValue='{}';");  // the same text still counts
  EXPECT_EQ(db.Rows(select), std::vector<std::string>{"Revision=2, Touched=1"});
  reset();
  db.Sql("UPDATE Config SET DesiredValue='{}';");  // not a source column
  EXPECT_EQ(db.Rows(select), std::vector<std::string>{"Revision=1, Touched=1"});
  reset();
  db.Sql("UPDATE Config SET AutoConfValue='{}', VitalValue='{}';");  // one statement, one step
  EXPECT_EQ(db.Rows(select), std::vector<std::string>{"Revision=2, Touched=1"});
}

TEST(ConfigDatabase, TablesKeepTheirRules) {
  cstest::DatabaseRoot db;
  db.Sql("INSERT INTO DesiredUserConfig(Component, ConfigGroup, Name) VALUES('a', 'b', 'c');");
  EXPECT_EQ(db.Rows("SELECT BootAction, Identifier FROM DesiredUserConfig;"),
            std::vector<std::string>{"BootAction=DELETE, Identifier="});
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  EXPECT_EQ(DBStore::ExecuteV2(connection,
                               "INSERT INTO DesiredUserConfig(Component, ConfigGroup, Name, "
                               "BootAction) VALUES('a', 'b', 'd', 'RESET');",
                               nullptr, nullptr, 3000),
            1);
  db.Sql(
      "INSERT INTO UpgradeStatus(Component, LibName) VALUES('x', 'lib');"
      "INSERT OR REPLACE INTO UpgradeStatus(Component, LibName) VALUES('y', 'lib');");
  EXPECT_EQ(db.Rows("SELECT Component FROM UpgradeStatus;"),
            std::vector<std::string>{"Component=y"});
}

TEST(KeyValue, RoundTripAndBootFlag) {
  {
    cstest::TempRoot none;
    cstest::LogCapture log;
    EXPECT_FALSE(IsBoot());  // a host without a database is not booting: nothing to report
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_CS_ERROR(ConfigStoreException, 1002,
                    "Failed to connect to database /etc/tessel/configstore/current-store-1",
                    SetKeyValue("k", "v"));
    EXPECT_CS_ERROR(ConfigStoreException, 1002,
                    "Failed to connect to database /etc/tessel/configstore/current-store-1",
                    GetKeyValue("k"));
  }
  cstest::DatabaseRoot db;
  EXPECT_EQ(GetKeyValue("missing"), "");
  EXPECT_FALSE(IsBoot());
  SetKeyValue("IS_BOOT", "true");
  EXPECT_TRUE(IsBoot());
  SetKeyValue("IS_BOOT", "TRUE");
  EXPECT_FALSE(IsBoot());
  SetKeyValue("k'ey", "it's");
  EXPECT_EQ(GetKeyValue("k'ey"), "it's");
  db.Sql("DROP TABLE KVTable;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to write KV table for key: k",
                  SetKeyValue("k", "v"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to read KV table for key: k",
                  GetKeyValue("k"));
  // A boot flag that cannot be read holds user writes back rather than
  // letting them through.
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to read value from database.", IsBoot());
}

TEST(SqlFormat, PartsAreQuotedSafely) {
  EXPECT_EQ(FormatSql("Name='%s' and Identifier='%s';", {"options", ""}),
            "Name='options' and Identifier='';");
  EXPECT_EQ(FormatSql("('%2$s', '%1$s', 100%%)", {"a", "b"}), "('b', 'a', 100%)");
  EXPECT_EQ(FormatSql("Identifier='%s'", {"x' OR '1'='1"}), "Identifier='x'' OR ''1''=''1'");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Statement template needs more parts",
                  FormatSql("'%s' '%s'", {"a"}));
}

}  // namespace
}  // namespace OrinConfigStore
