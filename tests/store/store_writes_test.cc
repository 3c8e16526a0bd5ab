// The store's writes as callers use them: every source and context, the
// merge of Update, whole-set and per-source list writes, deletes, the
// boot-time refusal, and failures that leave the database as it was.

#include <gtest/gtest.h>

#include "configstore/config_store.h"
#include "configstore/host.h"
#include "configstore/provisioning.h"
#include "database_root.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

class StoreWritesTest : public ::testing::Test {
 protected:
  std::shared_ptr<ConfigStoreObject> Nic(const char* instance, const char* json) {
    return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", instance), json);
  }
  std::shared_ptr<ConfigStoreObject> Resolver(const char* json) {
    return CreateObject(kResolver, json);
  }
  std::string Columns(const char* columns, const char* where = "Name='resolver'") {
    std::string text;
    for (const auto& row : db_.Rows(std::string("SELECT ") + columns + " FROM Config WHERE " +
                                    where + " ORDER BY Name, Identifier;")) {
      text += (text.empty() ? "" : " | ") + row;
    }
    return text.empty() ? "none" : text;
  }
  std::string Data(const ConfigStoreObjectId& id) {
    const auto object = store_->Get(id);
    return object ? object->GetData() : "null";
  }
  std::vector<std::string> Ids() { return store_->GetInstanceIds(kNics); }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(StoreWritesTest, EachSourceLandsInItsColumnAndReadsMerge) {
  store_->SetUserData(Resolver(R"({"domain":"user.example"})"), EXTERNAL);
  store_->SetUserData(Resolver(R"({"searchDomains":["auto"]})"), INTERNAL);
  EXPECT_EQ(Columns("UserValue, AutoConfValue, Version, Revision"),
            R"(UserValue={"domain":"user.example"}, AutoConfValue={"searchDomains":["auto"]}, )"
            "Version=1.2, Revision=2");
  EXPECT_EQ(Data(kResolver), R"({"searchDomains":["auto"],"domain":"user.example"})");

  const ConfigStoreObjectId platform("platform", "hardware", "orin");
  store_->SetVitalData(CreateObject(platform, R"({"serialNumber":"SN1"})"));
  EXPECT_CS_ERROR(ValidationException, 1086, "Failed to validate Vital config",
                  store_->SetVitalData(CreateObject(platform, R"({"assetTag":"A"})")));
  const ConfigStoreObjectId pci("pciDevices", "inventory", "orin");
  store_->SetCachedData(CreateObject(pci, R"({"deviceCount":4})"));
  EXPECT_CS_ERROR(ValidationException, 1084, "Failed to validate Default config",
                  store_->SetCachedData(CreateObject(pci, R"({"deviceCount":-1})")));
  EXPECT_EQ(Columns("VitalValue, CachedValue", "Name IN ('platform', 'pciDevices')"),
            R"(VitalValue=NULL, CachedValue={"deviceCount":4} | )"
            R"(VitalValue={"serialNumber":"SN1"}, CachedValue=NULL)");
  EXPECT_CS_ERROR(ValidationException, 1087, "Failed to validate User config",
                  store_->SetUserData(CreateObject(platform, R"({"serialNumber":"x"})"), EXTERNAL));
}

TEST_F(StoreWritesTest, SetReplacesEverySourceOfTheRow) {
  store_->SetUserData(Resolver(R"({"domain":"a"})"), INTERNAL);
  store_->Set(Resolver(R"({"servers":["10.0.0.1"]})"), EXTERNAL);
  EXPECT_EQ(Columns("AutoConfValue, UserValue, Revision"),
            R"(AutoConfValue=NULL, UserValue={"servers":["10.0.0.1"]}, Revision=2)");
  EXPECT_CS_ERROR(ValidationException, 1089, "Failed to validate Set",
                  store_->Set(Resolver(R"({"options":{"timeout":0}})"), EXTERNAL));
  EXPECT_EQ(store_->GetRevision(kResolver), 2);
}

TEST_F(StoreWritesTest, UpdateMergesIntoTheStoredObjectByContext) {
  store_->Update(Resolver(R"({"domain":"lab","options":{"timeout":3}})"), EXTERNAL);  // as a set
  EXPECT_EQ(Columns("UserValue, Revision"),
            R"(UserValue={"domain":"lab","options":{"timeout":3}}, Revision=1)");
  store_->Update(Resolver(R"({"options":{"attempts":4}})"), EXTERNAL);
  EXPECT_EQ(Data(kResolver), R"({"domain":"lab","options":{"timeout":3,"attempts":4}})");
  db_.Sql("UPDATE Config SET DesiredValue='{}';");
  store_->Update(Resolver(R"({"domain":"auto.lab"})"), INTERNAL);  // the automatic value only
  EXPECT_EQ(Columns("UserValue, AutoConfValue, DesiredValue"),
            R"(UserValue={"domain":"lab","options":{"timeout":3,"attempts":4}}, )"
            R"(AutoConfValue={"domain":"auto.lab"}, DesiredValue={})");
  // A user update drops a staged desired value.
  store_->Update(Resolver(R"({"domain":"lab2"})"), EXTERNAL);
  EXPECT_EQ(Columns("DesiredValue"), "DesiredValue=NULL");
  EXPECT_CS_ERROR(ValidationException, 1090, "Failed to validate Update",
                  store_->Update(Resolver(R"({"unknown":1})"), EXTERNAL));

  // Repeated sub-objects merge instance by instance.
  store_->Set(Nic("nic1", R"({"addresses":[{"address":"a","prefixLength":24}]})"), EXTERNAL);
  store_->Update(Nic("nic1", R"({"addresses":[{"address":"a","gateway":"g"},{"address":"b"}]})"),
                 EXTERNAL);
  EXPECT_EQ(Data(ConfigStoreObjectId("nics", "interfaces", "net", "nic1")),
            R"({"addresses":[{"address":"a","prefixLength":24,"gateway":"g"},{"address":"b"}],)"
            R"("name":"nic1"})");
}

TEST_F(StoreWritesTest, InstanceListsReplaceTheSetOrOneSource) {
  store_->SetInstances({Nic("nic0", R"({"mtu":1500})"), Nic("nic1", R"({"mtu":9000})")}, EXTERNAL);
  store_->SetInstances({Nic("nic1", R"({"mtu":1500})"), Nic("nic2", R"({"mtu":1500})")}, EXTERNAL);
  EXPECT_EQ(Ids(), (std::vector<std::string>{"nic1", "nic2"}));

  store_->SetVitalDataInstances({Nic("nic1", R"({"macAddress":"02:00:00:00:00:01"})")});
  store_->SetVitalDataInstances({Nic("nic2", R"({"macAddress":"02:00:00:00:00:02"})")});
  EXPECT_EQ(Columns("Identifier, UserValue IS NOT NULL AS HasUser, VitalValue", "Name='nics'"),
            "Identifier=nic1, HasUser=1, VitalValue=NULL | Identifier=nic2, HasUser=1, "
            R"(VitalValue={"macAddress":"02:00:00:00:00:02","name":"nic2"})");

  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "ConfigStoreObject list cannot be empty",
                  store_->SetInstances({}, EXTERNAL));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "ConfigStoreObject list cannot be empty",
                  store_->SetCachedDataInstances({}));
  OrinSchemaStore::LoadSchemaDefinition(
      R"({"component": "net", "group": "interfaces", "key": "bonds", "nonSingleton": true,
          "schema": {"properties": {"name": {"type": "string", "instanceId": true}}}})");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  "All ConfigStoreObjects are not for the same schema.",
                  store_->SetInstances(
                      {Nic("nic5", "{}"),
                       CreateObject(ConfigStoreObjectId("bonds", "interfaces", "net", "b0"), "{}")},
                      EXTERNAL));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  store_->SetUserDataInstances({CreateObject(kNics, "{}")}, EXTERNAL));
  EXPECT_EQ(Ids(), (std::vector<std::string>{"nic1", "nic2"}));
}

TEST_F(StoreWritesTest, AFailureInTheMiddleOfAListRollsItAllBack) {
  store_->SetInstances({Nic("nic0", R"({"mtu":1500})")}, EXTERNAL);
  db_.Sql(
      "CREATE TRIGGER refuseBad BEFORE INSERT ON Config WHEN NEW.Identifier='nic99' "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "WriteComplete failed",
                  store_->SetInstances({Nic("nic1", "{}"), Nic("nic99", "{}")}, EXTERNAL));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Write config instances failed",
                  store_->SetUserDataInstances({Nic("nic2", "{}"), Nic("nic99", "{}")}, EXTERNAL));
  EXPECT_EQ(Ids(), std::vector<std::string>{"nic0"});
  EXPECT_EQ(Columns("UserValue", "Name='nics'"), R"(UserValue={"mtu":1500,"name":"nic0"})");
  // Other failures than the library's own are reported as the operation's.
  db_.Sql(
      "DROP TRIGGER refuseBad; CREATE TRIGGER refuseAll BEFORE UPDATE ON Config "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Database call to update configuration by context failed for: comp net grp "
                  "interfaces key nics id nic0",
                  store_->Update(Nic("nic0", R"({"mtu":9000})"), EXTERNAL));
  EXPECT_EQ(Columns("UserValue", "Name='nics'"), R"(UserValue={"mtu":1500,"name":"nic0"})");
}

TEST_F(StoreWritesTest, DeletingObjectsAndInstances) {
  store_->SetInstances({Nic("nic0", R"({"mtu":1500})"), Nic("nic1", R"({"mtu":9000})"),
                        Nic("nic2", R"({"mtu":9000})")},
                       EXTERNAL);
  auto jumbo = std::make_shared<FilterSpecObject>(kNics);
  jumbo->SetValue("mtu", 9000);
  store_->DeleteInstances(jumbo);
  EXPECT_EQ(Ids(), std::vector<std::string>{"nic0"});
  store_->SetInstances({Nic("nic0", "{}"), Nic("nic1", "{}")}, EXTERNAL);
  store_->DeleteInstances(
      std::make_shared<FilterSpecObject>(ConfigStoreObjectId("nics", "interfaces", "net", "nic1")));
  EXPECT_EQ(Ids(), std::vector<std::string>{"nic0"});
  store_->DeleteInstances(std::make_shared<FilterSpecObject>(kNics));  // empty filter: all
  EXPECT_TRUE(Ids().empty());

  store_->SetUserData(Resolver(R"({"domain":"a"})"), EXTERNAL);
  store_->Delete(kResolver);
  EXPECT_EQ(store_->Get(kResolver), nullptr);
}

TEST_F(StoreWritesTest, NullObjectsAreLoggedNotThrown) {
  cstest::LogCapture log;
  store_->Set(nullptr, EXTERNAL);
  store_->SetUserData(nullptr, EXTERNAL);
  store_->SetVitalData(nullptr);
  store_->SetCachedData(nullptr);
  store_->Update(nullptr, INTERNAL);
  store_->DeleteInstances(nullptr);
  EXPECT_TRUE(log.Contains(1, "Update: Configuration object is empty"));
  EXPECT_EQ(log.Lines().size(), 6u);
}

TEST_F(StoreWritesTest, ExternalUserWritesWaitForTheBootToEnd) {
  SetKeyValue("IS_BOOT", "true");
  const char* refused = "API cannot be invoked with EXTERNAL context during boot";
  EXPECT_CS_ERROR(ValidationException, 2000, refused,
                  store_->SetUserData(Resolver(R"({"domain":"a"})"), EXTERNAL));
  EXPECT_CS_ERROR(ValidationException, 2000, refused,
                  store_->Update(Resolver(R"({"domain":"a"})"), EXTERNAL));
  store_->SetUserData(Resolver(R"({"domain":"a"})"), INTERNAL);   // the host's own services may
  const ConfigStoreObjectId syslog("syslog", "logging", "orin");  // boot-exempt
  store_->Update(CreateObject(syslog, R"({"level":"debug"})"), EXTERNAL);
  SetUpgradeCtx(true);
  store_->SetUserData(Resolver(R"({"domain":"b"})"), EXTERNAL);
  SetUpgradeCtx(false);
  EXPECT_EQ(Columns("UserValue, AutoConfValue, Success"),
            R"(UserValue={"domain":"b"}, AutoConfValue={"domain":"a"}, Success=1)");
}

}  // namespace
}  // namespace OrinConfigStore
