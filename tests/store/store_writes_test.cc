// The store's writes: the source each operation and context fills and the
// validation it runs first, the merge of Update, whole sets and single
// sources of instance lists, the boot-time refusal, and a sequence of writes
// and deletes, each announced once it stands.

#include <gtest/gtest.h>

#include <functional>

#include "configstore/boot.h"
#include "configstore/config_store.h"
#include "configstore/host.h"
#include "configstore/provisioning.h"
#include "database_root.h"
#include "notify/notify.h"
#include "platform/socket_calls.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");
const ConfigStoreObjectId kPlatform("platform", "hardware", "orin");
const ConfigStoreObjectId kPci("pciDevices", "inventory", "orin");

class StoreWritesTest : public ::testing::Test {
 protected:
  ~StoreWritesTest() override { HostSocketCalls() = SystemSocketCalls(); }
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
    return text;
  }
  std::vector<std::string> Ids() { return store_->GetInstanceIds(kNics); }
  // Makes the database refuse rows of the instance nic99.
  void RefuseNic99() {
    db_.Sql(
        "CREATE TRIGGER refuse BEFORE INSERT ON Config WHEN NEW.Identifier='nic99' "
        "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(StoreWritesTest, EachWriteFillsItsSourceAfterItsOwnValidation) {
  store_->SetUserData(Resolver(R"({"domain":"user.example"})"), EXTERNAL);
  store_->SetUserData(Resolver(R"({"searchDomains":["auto"]})"), INTERNAL);
  EXPECT_EQ(Columns("UserValue, AutoConfValue, Version"),
            R"(UserValue={"domain":"user.example"}, AutoConfValue={"searchDomains":["auto"]}, )"
            "Version=1.2");
  store_->Set(Resolver(R"({"servers":["10.0.0.1"]})"), EXTERNAL);  // every source of the row
  EXPECT_EQ(Columns("AutoConfValue, UserValue"),
            R"(AutoConfValue=NULL, UserValue={"servers":["10.0.0.1"]})");
  store_->SetVitalData(CreateObject(kPlatform, R"({"serialNumber":"SN1"})"));
  store_->SetCachedData(CreateObject(kPci, R"({"deviceCount":4})"));
  EXPECT_EQ(Columns("VitalValue, CachedValue", "Name IN ('platform', 'pciDevices')"),
            R"(VitalValue=NULL, CachedValue={"deviceCount":4} | )"
            R"(VitalValue={"serialNumber":"SN1"}, CachedValue=NULL)");

  EXPECT_CS_ERROR(
      ValidationException, 1087, "Failed to validate User config",
      store_->SetUserData(CreateObject(kPlatform, R"({"serialNumber":"x"})"), EXTERNAL));
  EXPECT_CS_ERROR(ValidationException, 1086, "Failed to validate Vital config",
                  store_->SetVitalData(CreateObject(kPlatform, R"({"assetTag":"A"})")));
  EXPECT_CS_ERROR(ValidationException, 1084, "Failed to validate Default config",
                  store_->SetCachedData(CreateObject(kPci, R"({"deviceCount":-1})")));
  EXPECT_CS_ERROR(ValidationException, 1089, "Failed to validate Set",
                  store_->Set(Resolver(R"({"options":{"timeout":0}})"), EXTERNAL));
  EXPECT_CS_ERROR(ValidationException, 1090, "Failed to validate Update",
                  store_->Update(Resolver(R"({"unknown":1})"), EXTERNAL));
  EXPECT_EQ(Columns("Revision"), "Revision=3");
}

TEST_F(StoreWritesTest, UpdateMergesIntoTheStoredObjectByContext) {
  store_->Update(Resolver(R"({"domain":"lab","options":{"timeout":3}})"), EXTERNAL);  // as a set
  store_->Update(Resolver(R"({"options":{"attempts":4}})"), EXTERNAL);
  db_.Sql("UPDATE Config SET DesiredValue='{}';");
  store_->Update(Resolver(R"({"domain":"auto.lab"})"), INTERNAL);  // the automatic value only
  EXPECT_EQ(Columns("UserValue, AutoConfValue, DesiredValue"),
            R"(UserValue={"domain":"lab","options":{"timeout":3,"attempts":4}}, )"
            R"(AutoConfValue={"domain":"auto.lab"}, DesiredValue={})");
  store_->Update(Resolver(R"({"domain":"lab2"})"), EXTERNAL);  // drops a staged desired value
  EXPECT_EQ(Columns("DesiredValue"), "DesiredValue=NULL");

  // Repeated sub-objects merge instance by instance.
  store_->Set(Nic("nic1", R"({"addresses":[{"address":"a","prefixLength":24}]})"), EXTERNAL);
  store_->Update(Nic("nic1", R"({"addresses":[{"address":"a","gateway":"g"},{"address":"b"}]})"),
                 EXTERNAL);
  EXPECT_EQ(Columns("UserValue", "Name='nics'"),
            R"(UserValue={"addresses":[{"address":"a","prefixLength":24,"gateway":"g"},)"
            R"({"address":"b"}],"name":"nic1"})");
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
                  store_->SetCachedDataInstances({}));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  "ConfigStoreObject list cannot hold an empty object",
                  store_->SetInstances({Nic("nic5", "{}"), nullptr}, EXTERNAL));
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

// During boot, user values come only from the host's own services, from
// boot-exempt types, and from an upgrade.
TEST_F(StoreWritesTest, ExternalUserWritesWaitForTheBootToEnd) {
  SetKeyValue("IS_BOOT", "true");
  const std::function<void()> refused[] = {
      [&] { store_->SetUserData(Resolver(R"({"domain":"a"})"), EXTERNAL); },
      [&] { store_->Set(Resolver(R"({"domain":"a"})"), EXTERNAL); },
      [&] { store_->Update(Resolver(R"({"domain":"a"})"), EXTERNAL); },
      [&] { store_->SetInstances({Nic("nic1", R"({"mtu":1500})")}, EXTERNAL); },
      [&] { store_->SetUserDataInstances({Nic("nic1", R"({"mtu":1500})")}, EXTERNAL); },
      [] {
        UpdateKernelOptions(CreateObject(ConfigStoreObjectId("options", "kernix", "orin"), "{}"));
      },
  };
  for (const auto& write : refused) {
    EXPECT_CS_ERROR(ValidationException, 2000,
                    "API cannot be invoked with EXTERNAL context during boot", write());
  }
  store_->SetUserData(Resolver(R"({"domain":"a"})"), INTERNAL);
  store_->Update(
      CreateObject(ConfigStoreObjectId("syslog", "logging", "orin"), R"({"level":"debug"})"),
      EXTERNAL);
  SetUpgradeCtx(true);
  store_->SetUserData(Resolver(R"({"domain":"b"})"), EXTERNAL);
  SetUpgradeCtx(false);
  EXPECT_EQ(
      Columns("Name, UserValue", "Name IN ('resolver', 'syslog')"),
      R"(Name=resolver, UserValue={"domain":"b"} | Name=syslog, UserValue={"level":"debug"})");
}

// Stands in for the agent: each notification as the type it names and the
// instance:revision of its rows that another connection sees at that moment.
std::vector<std::string> announced;
const cstest::DatabaseRoot* announcedRoot = nullptr;

ssize_t Announce(int, const void* data, std::size_t size) {
  const std::string request(static_cast<const char*>(data), size);
  const std::size_t start = request.find(R"("identifiers":[")") + 16;
  std::string seen = request.substr(start, request.find('"', start) - start);
  for (const auto& row : announcedRoot->Rows(
           "SELECT Identifier || ':' || Revision AS R FROM Config WHERE Component || '.' || "
           "ConfigGroup || '.' || Name = '" +
           seen + "' ORDER BY Identifier;")) {
    seen += " " + row.substr(2);
  }
  announced.push_back(seen);
  return static_cast<ssize_t>(size);
}

int Reach(int, const sockaddr*, socklen_t) { return 0; }

// Each change announces its type once it stands: what another connection
// sees then is the change committed. Refused and failed writes, which leave
// the database as it was (a failed list included), and deletes by a filter
// without data (all instances, or the one it names) announce nothing.
TEST_F(StoreWritesTest, EachChangeIsAnnouncedOnceItStands) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  db_.WriteFile(std::string(kNotifyAllowlistFile).substr(1),
                R"(["net.dns.resolver", "net.interfaces.nics", "orin.hardware.platform",
                    "orin.inventory.pciDevices", "orin.kernix.options"])");
  announced.clear();
  announcedRoot = &db_;
  HostSocketCalls().connect = Reach;
  HostSocketCalls().write = Announce;

  store_->SetUserData(Resolver(R"({"domain":"a"})"), EXTERNAL);
  store_->Set(Resolver(R"({"domain":"b"})"), EXTERNAL);
  store_->Update(Resolver(R"({"domain":"c"})"), EXTERNAL);
  store_->SetVitalData(CreateObject(kPlatform, R"({"serialNumber":"SN1"})"));
  store_->SetCachedData(CreateObject(kPci, R"({"deviceCount":4})"));
  store_->SetInstances({Nic("nic0", R"({"mtu":1500})"), Nic("nic1", R"({"mtu":9000})"),
                        Nic("nic2", R"({"mtu":9000})")},
                       EXTERNAL);
  EXPECT_THROW(store_->SetUserData(Nic("nic0", R"({"mtu":"big"})"), EXTERNAL), ValidationException);
  RefuseNic99();
  EXPECT_THROW(store_->SetInstances({Nic("nic3", "{}"), Nic("nic99", "{}")}, EXTERNAL),
               ConfigStoreException);
  EXPECT_THROW(store_->SetUserDataInstances({Nic("nic3", "{}"), Nic("nic99", "{}")}, EXTERNAL),
               ConfigStoreException);
  store_->SetVitalDataInstances({Nic("nic1", R"({"macAddress":"02:00:00:00:00:01"})")});
  auto jumbo = std::make_shared<FilterSpecObject>(kNics);
  jumbo->SetValue("mtu", 9000);
  store_->DeleteInstances(jumbo);
  store_->DeleteInstances(
      std::make_shared<FilterSpecObject>(ConfigStoreObjectId("nics", "interfaces", "net", "nic0")));
  EXPECT_TRUE(Ids().empty());
  store_->SetInstances({Nic("nic5", "{}")}, EXTERNAL);
  store_->DeleteInstances(std::make_shared<FilterSpecObject>(kNics));
  EXPECT_TRUE(Ids().empty());
  store_->Delete(kResolver);
  store_->Import(CreateDocumentFromString(R"({"net":{"dns":{"resolver":{"domain":"d"}}}})"),
                 EXTERNAL);
  UpdateKernelOptions(CreateObject(ConfigStoreObjectId("options", "kernix", "orin"), "{}"));
  EXPECT_EQ(announced, (std::vector<std::string>{
                           "net.dns.resolver :1", "net.dns.resolver :2", "net.dns.resolver :3",
                           "orin.hardware.platform :1", "orin.inventory.pciDevices :1",
                           "net.interfaces.nics nic0:1 nic1:1 nic2:1",
                           "net.interfaces.nics nic0:2 nic1:3 nic2:2", "net.interfaces.nics nic0:2",
                           "net.interfaces.nics nic5:1", "net.dns.resolver", "net.dns.resolver :1",
                           "orin.kernix.options :1"}));
}

}  // namespace
}  // namespace OrinConfigStore
