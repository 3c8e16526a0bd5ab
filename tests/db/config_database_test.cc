// The configuration database: initialisation, its triggers, and the
// key-value functions over it.

#include <gtest/gtest.h>

#include "configstore/config_store.h"
#include "configstore/provisioning.h"
#include "database_root.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

// Every update touches the modified time; the revision counts updates of
// the source columns, one step per statement. Initialising again keeps the
// rows.
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
    InitializeDatabase();
    EXPECT_EQ(db.Rows("SELECT Revision, ModifiedTime > '2000-01-01' AS Touched FROM Config;"),
              std::vector<std::string>{expected})
        << columns;
  }
}

// A host without a database is not booting; a boot flag that cannot be read
// holds user writes back rather than letting them through.
TEST(KeyValue, RoundTripAndBootFlag) {
  {
    cstest::TempRoot none;
    EXPECT_FALSE(IsBoot());
    EXPECT_CS_ERROR(ConfigStoreException, 1002,
                    "Failed to connect to database /etc/tessel/configstore/current-store-1",
                    SetKeyValue("k", "v"));
  }
  cstest::DatabaseRoot db;
  EXPECT_EQ(GetKeyValue("it's"), "");
  SetKeyValue("it's", "v'1");
  EXPECT_EQ(GetKeyValue("it's"), "v'1");
  EXPECT_FALSE(IsBoot());
  SetKeyValue("IS_BOOT", "true");
  EXPECT_TRUE(IsBoot());
  SetKeyValue("IS_BOOT", "TRUE");
  EXPECT_FALSE(IsBoot());
  db.Sql("DROP TABLE KVTable;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to write KV table for key: k",
                  SetKeyValue("k", "v"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to read KV table for key: k",
                  GetKeyValue("k"));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to read value from database.", IsBoot());
}

}  // namespace
}  // namespace OrinConfigStore
