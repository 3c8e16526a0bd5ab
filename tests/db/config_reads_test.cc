// Reading rows back into objects: the merge order of the sources, the
// Success rule, the upgrade and boot variants, instance, revision and
// instance id reads, the row-level reads, and their failures. Defaults are
// read through the store (store_test.cc).

#include <gtest/gtest.h>

#include "configstore/host.h"
#include "database_root.h"
#include "db/config_reads.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

ConfigStoreObjectId Nic(const char* instance) {
  return ConfigStoreObjectId("nics", "interfaces", "net", instance);
}

std::string Data(const std::shared_ptr<ConfigStoreObject>& object) {
  return object ? object->GetData() : "null";
}

std::string Instances(const std::vector<std::shared_ptr<ConfigStoreObject>>& list) {
  std::string text;
  for (const auto& object : list)
    text += object->GetConfigStoreObjectId().instanceId + Data(object);
  return text;
}

class ConfigReadsTest : public ::testing::Test {
 protected:
  std::string Get(const ConfigStoreObjectId& id) {
    return Data(GetInternal(id, connection_, LookupSchema(id)));
  }
  std::string Nics(const ConfigStoreObjectId& id = kNics) {
    return Instances(
        GetConfigInstancesInternal(std::make_shared<FilterSpecObject>(id), connection_, nics_));
  }
  // nic0 applied with a staged value, nic1 not applied, nic2 vital only.
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

// Vital, cached, automatic, then the user value once applied: later ones
// win. The current read (now) leaves out vital and cached values; the
// desired read takes the user value while it is not applied.
TEST_F(ConfigReadsTest, SourcesMergeInOrderAndTheUserValueCountsOnceApplied) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"a","z":3})", R"({"domain":"u"})",
              R"({"domain":"v","x":1})", R"({"domain":"c","y":2})", R"({"domain":"d"})", "0", "1.2",
              "7"});
  const auto schema = LookupSchema(kResolver);
  const auto now = [&] { return Data(GetCurrentConfigInternal(kResolver, connection_, schema)); };
  const auto desired = [&] { return Data(GetDesiredInternal(kResolver, connection_, schema)); };
  EXPECT_EQ(Get(kResolver) + now() + desired(),
            R"({"x":1,"y":2,"domain":"a","z":3}{"domain":"a","z":3}{"domain":"u"})");
  db_.Sql("UPDATE Config SET Success=1;");
  EXPECT_EQ(Get(kResolver) + now() + desired(),
            R"({"x":1,"y":2,"z":3,"domain":"u"}{"z":3,"domain":"u"}{"domain":"d"})");
  // Applied means a Success whose text is "1", however it is stored.
  db_.Sql("UPDATE Config SET Success=X'31';");
  EXPECT_EQ(now(), R"({"z":3,"domain":"u"})");
  db_.Sql("UPDATE Config SET Success=2;");
  EXPECT_EQ(now(), R"({"domain":"a","z":3})");
  db_.Sql("UPDATE Config SET Success=1;");
  const auto object = GetInternal(kResolver, connection_, schema);
  EXPECT_EQ(object->GetVersion() + " " + std::to_string(object->GetRevision()) + " " +
                object->GetCreationTime(),
            "1.2 7 2026-01-01 00:00:00");
  // In the upgrade context a staged desired value stands in for the user's.
  SetUpgradeCtx(true);
  EXPECT_EQ(Get(kResolver), R"({"x":1,"y":2,"z":3,"domain":"d"})");
  InsertNics();
  EXPECT_EQ(Nics(), R"(nic0{"mtu":1,"name":"nic0"}nic2{"macAddress":"aa","name":"nic2"})");
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
}

// Instances whose merge is empty (nic1, not applied) are left out.
TEST_F(ConfigReadsTest, InstancesRevisionsIdsAndFailedReads) {
  InsertNics();
  EXPECT_EQ(Nics(), R"(nic0{"mtu":1500,"name":"nic0"}nic2{"macAddress":"aa","name":"nic2"})");
  EXPECT_EQ(Nics(Nic("nic2")), R"(nic2{"macAddress":"aa","name":"nic2"})");
  EXPECT_EQ(GetRevisionInternal(Nic("nic0"), connection_), 4);
  EXPECT_EQ(GetRevisionInternal(kResolver, connection_), -1);
  EXPECT_EQ(GetInstanceIdsInternal(kNics, connection_),
            (std::vector<std::string>{"nic0", "nic1", "nic2"}));
  using Revisions = std::vector<std::pair<std::string, int>>;
  EXPECT_EQ(GetInstancesRevisionInternal(kNics, connection_),
            (Revisions{{"nic0", 4}, {"nic1", 1}, {"nic2", 1}}));
  EXPECT_EQ(GetInstancesRevisionInternal(Nic("nic2"), connection_), (Revisions{{"nic2", 1}}));
  // Quotes in an instance id are data, never SQL.
  db_.Insert({"net", "interfaces", "nics", "x' OR '1'='1", "", R"({"mtu":1})"});
  EXPECT_EQ(Get(Nic("x' OR '1'='1")), R"({"mtu":1,"name":"x' OR '1'='1"})");
  EXPECT_EQ(Get(Nic("y' OR '1'='1")), "null");

  db_.Sql("DROP TABLE Config;");  // a failed read raises, never reads as nothing stored
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Get failed: comp net grp dns key resolver",
                  Get(kResolver));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Get store rows failed.", Nics());
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "GetRevision command failed",
                  GetRevisionInternal(kResolver, connection_));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "GetInstanceIds failed",
                  GetInstanceIdsInternal(kNics, connection_));
}

// The row reads: each row as Identifier:Value, the column they select.
TEST_F(ConfigReadsTest, RowReadsSelectTheirColumnAndRows) {
  InsertNics();
  db_.Sql("UPDATE Config SET VitalValue='{}' WHERE Identifier='nic1';");
  const auto text = [](const RowList& rows) {
    std::string out;
    for (const auto& row : rows) {
      out += (*row)["Identifier"] + ":" + (row->count("Value") ? (*row)["Value"] : "NULL") + " ";
    }
    return out;
  };
  EXPECT_EQ(text(GetUserConfigContents(connection_)), R"(nic0:{"mtu":1500} )");
  EXPECT_EQ(text(GetDesiredUserConfigContents(connection_)),
            R"(nic0:{"mtu":1} nic1:{"mtu":9000} )");
  // Only the user column is limited to applied rows.
  EXPECT_EQ(text(GetStoreContentsInternalST("VitalValue", connection_, false)),
            R"(nic1:{} nic2:{"macAddress":"aa"} )");
  EXPECT_EQ(text(GetSmartnicConfiguration(connection_)),
            R"(nic0:{"mtu":1} nic1:{"mtu":9000} nic2:NULL )");
  db_.Sql("UPDATE DefaultConfig SET Success=0 WHERE Name='nics';");
  EXPECT_EQ(GetStoreContentsInternal("DefaultConfig", connection_, true).size(), 4u);
  EXPECT_EQ(GetStoreContentsInternal("DefaultConfig", connection_, false).size(), 3u);
  EXPECT_EQ(Read("DefaultConfig", Nic("nic0"), connection_, true)["Version"], "2.0");
}

}  // namespace
}  // namespace OrinConfigStore
