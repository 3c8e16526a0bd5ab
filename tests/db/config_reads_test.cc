// Reading rows back into objects: the merge order of the sources, the
// Success rule, the upgrade and boot variants, instance, default, revision
// and instance id reads, and their failures.

#include <gtest/gtest.h>

#include <functional>

#include "configstore/host.h"
#include "database_root.h"
#include "db/config_reads.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");
const ConfigStoreObjectId kNic2("nics", "interfaces", "net", "nic2");

class ConfigReadsTest : public ::testing::Test {
 protected:
  std::string Data(const std::shared_ptr<ConfigStoreObject>& object) {
    return object ? object->GetData() : "null";
  }
  std::string Get(const ConfigStoreObjectId& id) {
    return Data(GetInternal(id, connection_, LookupSchema(id)));
  }
  std::string Instances(const std::vector<std::shared_ptr<ConfigStoreObject>>& list) {
    std::string text;
    for (const auto& object : list) {
      text += object->GetConfigStoreObjectId().instanceId + object->GetData() + " ";
    }
    return text;
  }
  std::shared_ptr<FilterSpecObject> Filter(const ConfigStoreObjectId& id) {
    return std::make_shared<FilterSpecObject>(id);
  }
  void InsertNics() {
    db_.Insert({"net", "interfaces", "nics", "nic0", "", R"({"mtu":1500})", "", "", R"({"mtu":1})",
                "1", "2", "4"});
    db_.Insert({"net", "interfaces", "nics", "nic1", "", R"({"mtu":9000})", "", "", "", "0"});
    db_.Insert({"net", "interfaces", "nics", "nic2", "", "", R"({"macAddress":"aa"})"});
  }

  cstest::DatabaseRoot db_;  // first: the connection needs its database
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
  SchemaPtr nics_ = LookupSchema(kNics);
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
  EXPECT_EQ(Get(ConfigStoreObjectId("other", "dns", "net")), "null");
}

TEST_F(ConfigReadsTest, UserValueCountsOnlyWhenApplied) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"auto"})", R"({"domain":"user"})", "", "",
              R"({"domain":"desired"})", "0"});
  const auto schema = LookupSchema(kResolver);
  EXPECT_EQ(Get(kResolver), R"({"domain":"auto"})");
  EXPECT_EQ(Data(GetDesiredInternal(kResolver, connection_, schema)), R"({"domain":"user"})");
  db_.Sql("UPDATE Config SET Success=1;");
  EXPECT_EQ(Get(kResolver), R"({"domain":"user"})");
  EXPECT_EQ(Data(GetDesiredInternal(kResolver, connection_, schema)), R"({"domain":"desired"})");
  // In the upgrade context a staged desired value stands in for the user's.
  InsertNics();
  SetUpgradeCtx(true);
  EXPECT_EQ(Get(kResolver), R"({"domain":"desired"})");
  EXPECT_EQ(Instances(GetConfigInstancesInternal(Filter(kNics), connection_, nics_)),
            R"(nic0{"mtu":1,"name":"nic0"} nic2{"macAddress":"aa","name":"nic2"} )");
  SetUpgradeCtx(false);
}

TEST_F(ConfigReadsTest, ContextAndBootDecideTheUserPart) {
  const ConfigStoreObjectId syslog("syslog", "logging", "orin");
  db_.Insert({"orin", "logging", "syslog", "", R"({"level":"error"})", R"({"level":"debug"})", "",
              "", "", "0"});
  db_.Insert({"net", "dns", "resolver", "", "", R"({"domain":"u"})", "", "", "", "0"});
  const auto read = [&](const ConfigStoreObjectId& id, USERDATA_CONTEXT context) {
    return Data(GetConfigByBootAndContext(id, LookupSchema(id), context, connection_));
  };
  EXPECT_EQ(read(syslog, EXTERNAL), R"({"level":"error"})");
  SetKeyValue("IS_BOOT", "true");  // boot-exempt types take the user value as it stands
  EXPECT_EQ(read(syslog, EXTERNAL), R"({"level":"debug"})");
  EXPECT_EQ(read(syslog, INTERNAL), R"({"level":"error"})");
  EXPECT_EQ(read(kResolver, EXTERNAL), "null");
  db_.Sql("UPDATE Config SET Success=1;");
  EXPECT_EQ(read(kResolver, EXTERNAL), R"({"domain":"u"})");
  EXPECT_EQ(read(kResolver, INTERNAL), "null");
}

TEST_F(ConfigReadsTest, InstancesRevisionsAndIds) {
  InsertNics();
  EXPECT_EQ(Instances(GetConfigInstancesInternal(Filter(kNics), connection_, nics_)),
            R"(nic0{"mtu":1500,"name":"nic0"} nic2{"macAddress":"aa","name":"nic2"} )");
  auto mtu = Filter(kNics);
  mtu->SetValue("mtu", 1500);
  EXPECT_EQ(Instances(GetConfigInstancesInternal(mtu, connection_, nics_)),
            R"(nic0{"mtu":1500,"name":"nic0"} )");
  EXPECT_EQ(Instances(GetConfigInstancesInternal(Filter(kNic2), connection_, nics_)),
            R"(nic2{"macAddress":"aa","name":"nic2"} )");

  EXPECT_EQ(
      GetRevisionInternal(ConfigStoreObjectId("nics", "interfaces", "net", "nic0"), connection_),
      4);
  EXPECT_EQ(GetRevisionInternal(kResolver, connection_), -1);
  EXPECT_EQ(GetInstanceIdsInternal(kNics, connection_),
            (std::vector<std::string>{"nic0", "nic1", "nic2"}));
  EXPECT_EQ(GetInstancesRevisionInternal(kNics, connection_),
            (std::vector<std::pair<std::string, int>>{{"nic0", 4}, {"nic1", 1}, {"nic2", 1}}));
  EXPECT_EQ(GetInstancesRevisionInternal(kNic2, connection_),
            (std::vector<std::pair<std::string, int>>{{"nic2", 1}}));
}

TEST_F(ConfigReadsTest, DefaultsComeFromTheLoadedDefinitions) {
  const ConfigStoreObjectId options("options", "kernix", "orin");
  EXPECT_EQ(Data(GetDefaultConfigInternal(options, connection_, LookupSchema(options))),
            R"({"maxVcpus":128,"bootDelay":0,"console":"vga"})");
  EXPECT_EQ(Instances(GetDefaultConfigInstancesInternal(Filter(kNics), connection_, nics_)),
            R"(nic0{"name":"nic0","network":"backend","mtu":1500,"enabled":true} )");
  EXPECT_EQ(Instances(GetDefaultConfigInstancesInternal(Filter(kNic2), connection_, nics_)), "");
  cstest::LogCapture log;
  const ConfigStoreObjectId platform("platform", "hardware", "orin");
  EXPECT_EQ(GetDefaultConfigInternal(platform, connection_, LookupSchema(platform)), nullptr);
  EXPECT_TRUE(log.Contains(0, "Object not found: comp orin grp hardware key platform"));
}

TEST_F(ConfigReadsTest, QuotesInAnInstanceIdAreData) {
  db_.Insert({"net", "interfaces", "nics", "x' OR '1'='1", "", R"({"mtu":1})"});
  db_.Insert({"net", "interfaces", "nics", "x", "", R"({"mtu":2})"});
  EXPECT_EQ(Get(ConfigStoreObjectId("nics", "interfaces", "net", "x' OR '1'='1")),
            R"({"mtu":1,"name":"x' OR '1'='1"})");
  EXPECT_EQ(Get(ConfigStoreObjectId("nics", "interfaces", "net", "y' OR '1'='1")), "null");
}

TEST_F(ConfigReadsTest, FailedReadsRaise) {
  db_.Sql("DROP TABLE Config;");
  const std::pair<std::string, std::function<void()>> reads[] = {
      {"Get failed: comp net grp dns key resolver", [&] { Get(kResolver); }},
      {"Get store rows failed.",
       [&] { GetConfigInstancesInternal(Filter(kNics), connection_, nics_); }},
      {"GetRevision command failed", [&] { GetRevisionInternal(kNic2, connection_); }},
      {"GetRevision command failed", [&] { GetInstancesRevisionInternal(kNics, connection_); }},
      {"GetInstanceIds failed", [&] { GetInstanceIdsInternal(kNics, connection_); }},
  };
  for (const auto& [message, read] : reads)
    EXPECT_CS_ERROR(ConfigStoreException, 2000, message, read());
}

}  // namespace
}  // namespace OrinConfigStore
