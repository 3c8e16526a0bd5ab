// The configuration database: initialisation, its triggers, the key-value
// functions over it, and SQL formatting.

#include <gtest/gtest.h>

#include <filesystem>

#include "configstore/config_store.h"
#include "configstore/provisioning.h"
#include "database_root.h"
#include "db/sql_format.h"
#include "platform/db_store.h"
#include "platform/host.h"

namespace OrinConfigStore {
namespace {

TEST(ConfigDatabase, InitializeCreatesTheFileOnce) {
  cstest::TempRoot root;
  EXPECT_EQ(DBStore::GetConnection(DBStore::CONFIG), nullptr);
  InitializeDatabase();
  InitializeDatabase();  // idempotent
  EXPECT_TRUE(std::filesystem::exists(HostPath(DBStore::kConfigDatabaseFile)));
  EXPECT_NE(DBStore::GetConnection(DBStore::CONFIG), nullptr);
}

// Every update touches the modified time; the revision counts updates of
// the source columns, one step per statement.
TEST(ConfigDatabase, TriggersKeepRevisionAndModifiedTime) {
  cstest::DatabaseRoot db;
  const std::pair<std::string, const char*> updates[] = {
      {"UserValue='{}'", "Revision=2, Touched=1"},  // the same text still counts
      {"DesiredValue='{}'", "Revision=1, Touched=1"},
      {"AutoConfValue='{}', VitalValue='{}'", "Revision=2, Touched=1"},
      {"CachedValue='{}'", "Revision=2, Touched=1"},
  };
  for (const auto& [columns, expected] : updates) {
    db.Sql(
        "DELETE FROM Config; INSERT INTO Config(Component, ConfigGroup, Name, UserValue, "
        "Revision, ModifiedTime) VALUES('net', 'dns', 'resolver', '{}', 1, '2000-01-01');"
        "UPDATE Config SET " +
        columns + ";");
    EXPECT_EQ(db.Rows("SELECT Revision, ModifiedTime > '2000-01-01' AS Touched FROM Config;"),
              std::vector<std::string>{expected})
        << columns;
  }
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
  }
  cstest::DatabaseRoot db;
  EXPECT_EQ(GetKeyValue("missing"), "");
  EXPECT_FALSE(IsBoot());
  SetKeyValue("IS_BOOT", "true");
  EXPECT_TRUE(IsBoot());
  SetKeyValue("IS_BOOT", "TRUE");
  EXPECT_FALSE(IsBoot());
  SetKeyValue("k", "v");
  EXPECT_EQ(GetKeyValue("k"), "v");
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
