// The writers: each fills its own source, keeps the other columns, the
// creation time and the revision count, and resets exactly what it names.

#include <gtest/gtest.h>

#include "configstore/host.h"
#include "database_root.h"
#include "db/config_writes.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic1("nics", "interfaces", "net", "nic1");

class ConfigWritesTest : public ::testing::Test {
 protected:
  std::shared_ptr<ConfigStoreObject> Nic(const char* json, const char* instance = "nic1") {
    return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", instance), json);
  }
  std::string Row(const char* columns, const char* identifier = "nic1") {
    const auto rows = db_.Rows(std::string("SELECT ") + columns +
                               " FROM Config WHERE Identifier='" + identifier + "';");
    return rows.empty() ? "none" : rows[0];
  }
  // A row with every source column and a desired value, revision 5.
  void Seed() {
    db_.Insert({"net", "interfaces", "nics", "nic1", R"({"a":1})", R"({"u":1})", R"({"v":1})",
                R"({"c":1})", R"({"d":1})", "0", "1.0", "5"});
  }

  cstest::DatabaseRoot db_;
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
  SchemaPtr schema_ = LookupSchema(kNic1);
};

TEST_F(ConfigWritesTest, PerSourceWritersKeepEverythingElse) {
  Seed();
  WriteVitalConfigInstances({Nic(R"({"macAddress":"aa"})")}, connection_);
  EXPECT_EQ(
      Row("AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue, Success, "
          "Revision, CreationTime"),
      R"(AutoConfValue={"a":1}, UserValue={"u":1}, VitalValue={"macAddress":"aa","name":"nic1"}, )"
      R"(CachedValue={"c":1}, DesiredValue={"d":1}, Success=0, Revision=6, )"
      "CreationTime=2026-01-01 00:00:00");
  WriteCachedConfigInstances({Nic(R"({"mtu":1})")}, connection_);
  WriteAutoConfConfigInstances({Nic(R"({"mtu":2})")}, connection_);
  EXPECT_EQ(Row("UserValue, DesiredValue, Success, Revision"),
            R"(UserValue={"u":1}, DesiredValue={"d":1}, Success=0, Revision=8)");
  // The ordinary user writer resets the desired value and the success flag.
  WriteUserConfigInstances({Nic(R"({"mtu":3})")}, connection_);
  EXPECT_EQ(Row("AutoConfValue, UserValue, DesiredValue, Success, Revision"),
            R"(AutoConfValue={"mtu":2,"name":"nic1"}, UserValue={"mtu":3,"name":"nic1"}, )"
            "DesiredValue=NULL, Success=1, Revision=9");
  // During an upgrade the success flag is kept (a new row gets 0).
  SetUpgradeCtx(true);
  WriteUserConfigInstances({Nic(R"({"mtu":4})"), Nic(R"({"mtu":4})", "nic9")}, connection_);
  SetUpgradeCtx(false);
  EXPECT_EQ(Row("Success, Revision"), "Success=1, Revision=10");
  EXPECT_EQ(Row("Success, Revision, Version", "nic9"), "Success=0, Revision=1, Version=");
  // An empty list writes nothing and succeeds.
  WriteVitalConfigInstances({}, connection_);
}

TEST_F(ConfigWritesTest, CompleteWriteReplacesEverySource) {
  Seed();
  const auto nic = Nic(R"({"mtu":9000,"macAddress":"aa"})");
  SetInternal(nic, schema_, EXTERNAL, connection_);
  EXPECT_EQ(Row("AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue, Revision, "
                "Version, CreationTime"),
            R"(AutoConfValue=NULL, UserValue={"mtu":9000,"name":"nic1"}, )"
            R"(VitalValue={"macAddress":"aa","name":"nic1"}, CachedValue=NULL, DesiredValue=NULL, )"
            "Revision=6, Version=2.0, CreationTime=2026-01-01 00:00:00");
  SetInstancesInternal({Nic(R"({"mtu":1})", "nic2"), Nic(R"({"mtu":2})", "nic3")}, schema_,
                       INTERNAL, connection_);
  EXPECT_EQ(Row("AutoConfValue, UserValue, Revision", "nic3"),
            R"(AutoConfValue={"mtu":2,"name":"nic3"}, UserValue=NULL, Revision=1)");
}

TEST_F(ConfigWritesTest, ContextWritersChooseTheirStatement) {
  Seed();
  const auto nic = Nic(R"({"mtu":1,"macAddress":"bb"})");
  UpdateByContextInternal(nic, schema_, UPDATE_AUTOMATIC, connection_);
  EXPECT_EQ(Row("AutoConfValue, UserValue, VitalValue, DesiredValue, Revision"),
            R"(AutoConfValue={"mtu":1,"name":"nic1"}, UserValue={"u":1}, )"
            R"(VitalValue={"macAddress":"bb","name":"nic1"}, DesiredValue={"d":1}, Revision=6)");
  UpdateByContextInternal(nic, schema_, UPDATE_USER_DROP_DESIRED, connection_);
  EXPECT_EQ(Row("UserValue, DesiredValue, Revision"),
            R"(UserValue={"mtu":1,"name":"nic1"}, DesiredValue=NULL, Revision=7)");

  SetByContextInternal(Nic(R"({"mtu":5})", "nic5"), schema_, UPDATE_USER_KEEP_SUCCESS, connection_);
  EXPECT_EQ(Row("UserValue, Success, Revision", "nic5"),
            R"(UserValue={"mtu":5,"name":"nic5"}, Success=1, Revision=1)");
  db_.Sql("UPDATE Config SET Success=0, DesiredValue='{}' WHERE Identifier='nic5';");
  SetByContextInternal(Nic(R"({"mtu":6})", "nic5"), schema_, UPDATE_AUTOMATIC, connection_);
  // The automatic insert keeps success and the user value, and names no
  // desired value, which so returns to its default.
  EXPECT_EQ(Row("AutoConfValue, UserValue, Success, DesiredValue, Revision", "nic5"),
            R"(AutoConfValue={"mtu":6,"name":"nic5"}, UserValue={"mtu":5,"name":"nic5"}, )"
            "Success=0, DesiredValue=NULL, Revision=2");
}

TEST_F(ConfigWritesTest, DeletesAndClears) {
  Seed();
  db_.Insert({"net", "interfaces", "nics", "nic2", "", R"({"u":2})", R"({"v":2})"});
  DeleteVitalConfigInstances(kNic1, connection_);
  EXPECT_EQ(db_.Rows("SELECT Identifier, VitalValue, UserValue FROM Config ORDER BY Identifier;"),
            (std::vector<std::string>{R"(Identifier=nic1, VitalValue=NULL, UserValue={"u":1})",
                                      R"(Identifier=nic2, VitalValue=NULL, UserValue={"u":2})"}));
  DeleteInternal(kNic1, connection_);
  EXPECT_EQ(Row("Identifier"), "none");
  DeleteInstancesInternal(kNic1, connection_);
  EXPECT_TRUE(db_.Rows("SELECT * FROM Config;").empty());
  db_.Sql("DROP TABLE Config;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Delete failed: comp net grp interfaces key nics id nic1",
                  DeleteInternal(kNic1, connection_));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to Delete in SetConfigInstancesInternal",
                  DeleteUserConfigInstances(kNic1, connection_));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Write config instances failed",
                  WriteUserConfigInstances({Nic("{}")}, connection_));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "WriteComplete failed",
                  SetInternal(Nic("{}"), schema_, EXTERNAL, connection_));
}

}  // namespace
}  // namespace OrinConfigStore
