// Reading rows back into objects: the merge order of the sources, the
// Success rule, the upgrade and boot variants, instance and default reads,
// and the row-level readers.

#include <gtest/gtest.h>

#include <map>

#include "configstore/host.h"
#include "database_root.h"
#include "db/config_reads.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");

class ConfigReadsTest : public ::testing::Test {
 protected:
  cstest::DatabaseRoot db_;  // first: the connection needs its database
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);

  std::string Data(const std::shared_ptr<ConfigStoreObject>& object) {
    return object ? object->GetData() : "null";
  }
  std::vector<std::string> Instances(const std::vector<std::shared_ptr<ConfigStoreObject>>& list) {
    std::vector<std::string> out;
    for (const auto& object : list) {
      out.push_back(object->GetConfigStoreObjectId().instanceId + " " + object->GetData());
    }
    return out;
  }
  std::shared_ptr<FilterSpecObject> Filter(const ConfigStoreObjectId& id) {
    return std::make_shared<FilterSpecObject>(id);
  }
};

TEST_F(ConfigReadsTest, LaterSourcesWinAndTheRowStampsTheObject) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"a","z":3})", R"({"domain":"u"})",
              R"({"domain":"v","x":1})", R"({"domain":"c","y":2})", "", "1", "1.2", "7"});
  const auto object = GetInternal(kResolver, connection_, LookupSchema(kResolver));
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->GetData(), R"({"x":1,"y":2,"z":3,"domain":"u"})");
  EXPECT_EQ(object->GetVersion(), "1.2");
  EXPECT_EQ(object->GetRevision(), 7u);
  EXPECT_EQ(object->GetCreationTime(), "2026-01-01 00:00:00");
  EXPECT_FALSE(object->GetModifiedTime().empty());
  EXPECT_EQ(
      GetInternal(ConfigStoreObjectId("other", "dns", "net"), connection_, LookupSchema(kResolver)),
      nullptr);
}

TEST_F(ConfigReadsTest, UserValueCountsOnlyWhenApplied) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"auto"})", R"({"domain":"user"})", "", "",
              R"({"domain":"desired"})", "0"});
  const auto schema = LookupSchema(kResolver);
  EXPECT_EQ(Data(GetInternal(kResolver, connection_, schema)), R"({"domain":"auto"})");
  EXPECT_EQ(Data(GetCurrentConfigInternal(kResolver, connection_, schema)), R"({"domain":"auto"})");
  EXPECT_EQ(Data(GetDesiredInternal(kResolver, connection_, schema)), R"({"domain":"user"})");
  db_.Sql("UPDATE Config SET Success=1;");
  EXPECT_EQ(Data(GetInternal(kResolver, connection_, schema)), R"({"domain":"user"})");
  EXPECT_EQ(Data(GetDesiredInternal(kResolver, connection_, schema)), R"({"domain":"desired"})");
  // In the upgrade context a staged desired value stands in for the user's.
  SetUpgradeCtx(true);
  EXPECT_EQ(Data(GetInternal(kResolver, connection_, schema)), R"({"domain":"desired"})");
  SetUpgradeCtx(false);
}

TEST_F(ConfigReadsTest, ContextAndBootDecideTheUserPart) {
  const ConfigStoreObjectId syslog("syslog", "logging", "orin");
  db_.Insert({"orin", "logging", "syslog", "", R"({"level":"error"})", R"({"level":"debug"})", "",
              "", "", "0"});
  const auto schema = LookupSchema(syslog);
  EXPECT_EQ(Data(GetConfigByBootAndContext(syslog, schema, INTERNAL, connection_)),
            R"({"level":"error"})");
  EXPECT_EQ(Data(GetConfigByBootAndContext(syslog, schema, EXTERNAL, connection_)),
            R"({"level":"error"})");
  SetKeyValue("IS_BOOT", "true");  // boot-exempt types take the user value as it stands
  EXPECT_EQ(Data(GetConfigByBootAndContext(syslog, schema, EXTERNAL, connection_)),
            R"({"level":"debug"})");
  EXPECT_EQ(Data(GetConfigByBootAndContext(syslog, schema, INTERNAL, connection_)),
            R"({"level":"error"})");
  db_.Insert({"net", "dns", "resolver", "", "", R"({"domain":"u"})", "", "", "", "0"});
  EXPECT_EQ(
      Data(GetConfigByBootAndContext(kResolver, LookupSchema(kResolver), EXTERNAL, connection_)),
      "null");
}

TEST_F(ConfigReadsTest, InstanceReadsSkipEmptyMergesAndApplyTheFilter) {
  db_.Insert({"net", "interfaces", "nics", "nic0", "", R"({"mtu":1500})"});
  db_.Insert({"net", "interfaces", "nics", "nic1", "", R"({"mtu":9000})", "", "", "", "0"});
  db_.Insert({"net", "interfaces", "nics", "nic2", "", "", R"({"macAddress":"aa"})"});
  const ConfigStoreObjectId nics("nics", "interfaces", "net");
  const auto schema = LookupSchema(nics);
  EXPECT_EQ(Instances(GetConfigInstancesInternal(Filter(nics), connection_, schema)),
            (std::vector<std::string>{R"(nic0 {"mtu":1500,"name":"nic0"})",
                                      R"(nic2 {"macAddress":"aa","name":"nic2"})"}));
  auto mtu = Filter(nics);
  mtu->SetValue("mtu", 1500);
  EXPECT_EQ(Instances(GetConfigInstancesInternal(mtu, connection_, schema)).size(), 1u);
  const ConfigStoreObjectId nic2("nics", "interfaces", "net", "nic2");
  EXPECT_EQ(Instances(GetConfigInstancesInternal(Filter(nic2), connection_, schema)),
            std::vector<std::string>{R"(nic2 {"macAddress":"aa","name":"nic2"})"});
}

TEST_F(ConfigReadsTest, DefaultsComeFromTheLoadedDefinitions) {
  const ConfigStoreObjectId options("options", "kernix", "orin");
  EXPECT_EQ(Data(GetDefaultConfigInternal(options, connection_, LookupSchema(options))),
            R"({"maxVcpus":128,"bootDelay":0,"console":"vga"})");
  EXPECT_EQ(db_.Rows("SELECT Value, VitalValue, CachedValue FROM DefaultConfig WHERE "
                     "Name='options';"),
            std::vector<std::string>{
                R"(Value={"bootDelay":0,"console":"vga"}, VitalValue={"maxVcpus":128}, )"
                "CachedValue=NULL"});
  const ConfigStoreObjectId nics("nics", "interfaces", "net");
  EXPECT_EQ(
      Instances(GetDefaultConfigInstancesInternal(Filter(nics), connection_, LookupSchema(nics))),
      std::vector<std::string>{
          R"(nic0 {"name":"nic0","network":"backend","mtu":1500,"enabled":true})"});
  cstest::LogCapture log;
  const ConfigStoreObjectId platform("platform", "hardware", "orin");
  EXPECT_EQ(GetDefaultConfigInternal(platform, connection_, LookupSchema(platform)), nullptr);
  EXPECT_TRUE(log.Contains(0, "Object not found: comp orin grp hardware key platform"));
}

TEST_F(ConfigReadsTest, QuotesInAnInstanceIdAreData) {
  const std::string tricky = "x' OR '1'='1";
  db_.Insert({"net", "interfaces", "nics", tricky, "", R"({"mtu":1})"});
  db_.Insert({"net", "interfaces", "nics", "x", "", R"({"mtu":2})"});
  const ConfigStoreObjectId id("nics", "interfaces", "net", tricky);
  const auto object = GetInternal(id, connection_, LookupSchema(id));
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(object->GetData(), R"({"mtu":1,"name":"x' OR '1'='1"})");
  EXPECT_EQ(GetInternal(ConfigStoreObjectId("nics", "interfaces", "net", "y' OR '1'='1"),
                        connection_, LookupSchema(id)),
            nullptr);
}

TEST_F(ConfigReadsTest, RowReaders) {
  db_.Insert({"net", "interfaces", "nics", "nic0", "", R"({"mtu":1})", "", "", R"({"mtu":2})"});
  db_.Insert({"net", "dns", "resolver", "", "", R"({"domain":"u"})", "", "", "", "0"});
  EXPECT_EQ(GetUserConfigContents(connection_).size(), 1u);  // applied user values only
  const auto desired = GetDesiredUserConfigContents(connection_);
  ASSERT_EQ(desired.size(), 2u);
  EXPECT_EQ(desired[0]->at("Value"), R"({"mtu":2})");
  EXPECT_EQ(GetStoreContentsInternal("DefaultConfig", connection_, true).size(), 4u);
  // A column expression is SQL, not a value: its quotes stay as written.
  const auto filled = GetStoreContentsInternalST("coalesce(DesiredValue, '{}')", connection_, true);
  std::map<std::string, std::string> valueByName;
  for (const auto& row : filled) valueByName[row->at("Name")] = row->at("Value");
  EXPECT_EQ(valueByName,
            (std::map<std::string, std::string>{{"resolver", "{}"}, {"nics", R"({"mtu":2})"}}));

  // The smart network card's share: only types marked for it; the schema
  // store stays attached afterwards.
  const auto shared = GetSmartnicConfiguration(connection_);
  ASSERT_EQ(shared.size(), 1u);
  EXPECT_EQ(shared[0]->at("Identifier"), "nic0");
  EXPECT_EQ(shared[0]->at("Value"), R"({"mtu":2})");
  RowList attached;
  ASSERT_EQ(FetchRows(connection_, "PRAGMA database_list;", attached), 0);
  EXPECT_EQ(attached.size(), 2u);

  // Read: a table's Value and Version; ConfigSchema has no instance ids.
  db_.Sql(
      "INSERT INTO ConfigSchema(Component, ConfigGroup, Name, Value, Version) VALUES('net', "
      "'interfaces', 'nics', '{}', '3');");
  const ConfigStoreObjectId nic0("nics", "interfaces", "net", "nic0");
  EXPECT_EQ(Read("ConfigSchema", nic0, connection_, true).at("Version"), "3");
  EXPECT_EQ(Read("DefaultConfig", nic0, connection_, false).at("Version"), "2.0");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Query failed on NoSuchTable for comp net grp interfaces key nics id nic0",
                  Read("NoSuchTable", nic0, connection_, true));
}

TEST(SmartnicRead, DetachesWhenTheQueryFails) {
  cstest::DatabaseRoot db;
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  db.Sql("DROP TABLE Config;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Get store rows failed.",
                  GetSmartnicConfiguration(connection));
  RowList attached;
  ASSERT_EQ(FetchRows(connection, "PRAGMA database_list;", attached), 0);
  EXPECT_EQ(attached.size(), 1u);
}

}  // namespace
}  // namespace OrinConfigStore
