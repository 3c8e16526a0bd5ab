// The store's writes: the source each operation and context fills and the
// validation it runs first, the merge of Update, whole sets and single
// sources of instance lists, the boot-time refusal, the boot-time entry
// points, and a sequence of writes and deletes, each announced once it
// stands.

#include <gtest/gtest.h>

#include <functional>

#include "configstore/boot.h"
#include "configstore/conditional.h"
#include "configstore/config_store.h"
#include "configstore/history.h"
#include "configstore/rollback.h"
#include "database_root.h"
#include "notify/notify.h"
#include "platform/socket_calls.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");
const ConfigStoreObjectId kPlatform("platform", "hardware", "orin");
const ConfigStoreObjectId kPci("pciDevices", "inventory", "orin");
const ConfigStoreObjectId kOptions("options", "kernix", "orin");

std::shared_ptr<ConfigStoreObject> Nic(const char* instance, const char* json) {
  return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", instance), json);
}
std::shared_ptr<ConfigStoreObject> Resolver(const char* json) {
  return CreateObject(kResolver, json);
}
std::shared_ptr<ConfigStoreObject> Options(const char* json) {
  return CreateObject(kOptions, json);
}

class StoreWritesTest : public ::testing::Test {
 protected:
  ~StoreWritesTest() override { HostSocketCalls() = SystemSocketCalls(); }
  // The columns of the rows `where` selects, rows joined by " | ".
  std::string Columns(const char* columns, const char* where = "Name='resolver'") {
    std::string text;
    for (const auto& row : db_.Rows(std::string("SELECT ") + columns + " FROM Config WHERE " +
                                    where + " ORDER BY Name, Identifier;")) {
      text += (text.empty() ? "" : " | ") + row;
    }
    return text;
  }
  std::vector<std::string> Ids() { return store_->GetInstanceIds(kNics); }

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

  const std::tuple<int, const char*, std::function<void()>> refused[] = {
      {1087, "User config",
       [&] { store_->SetUserData(CreateObject(kPlatform, R"({"serialNumber":"x"})"), EXTERNAL); }},
      {1086, "Vital config",
       [&] { store_->SetVitalData(CreateObject(kPlatform, R"({"assetTag":"A"})")); }},
      {1084, "Default config",
       [&] { store_->SetCachedData(CreateObject(kPci, R"({"deviceCount":-1})")); }},
      {1089, "Set", [&] { store_->Set(Resolver(R"({"options":{"timeout":0}})"), EXTERNAL); }},
      {1090, "Update", [&] { store_->Update(Resolver(R"({"unknown":1})"), EXTERNAL); }},
  };
  for (const auto& [code, kind, write] : refused) {
    EXPECT_CS_ERROR(ValidationException, code, std::string("Failed to validate ") + kind, write());
  }
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

// A refused list leaves the set as it was.
TEST_F(StoreWritesTest, InstanceListsReplaceTheSetOrOneSource) {
  store_->SetInstances({Nic("nic0", R"({"mtu":1500})"), Nic("nic1", R"({"mtu":9000})")}, EXTERNAL);
  store_->SetInstances({Nic("nic1", R"({"mtu":1500})"), Nic("nic2", R"({"mtu":1500})")}, EXTERNAL);
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
  cstest::LoadTypes(R"([{"component": "net", "group": "interfaces", "key": "bonds",
      "nonSingleton": true, "schema": {"properties": {"name": {"instanceId": true}}}}])");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  "All ConfigStoreObjects are not for the same schema.",
                  store_->SetInstances(
                      {Nic("nic5", "{}"),
                       CreateObject(ConfigStoreObjectId("bonds", "interfaces", "net", "b0"), "{}")},
                      EXTERNAL));
  EXPECT_EQ(Ids(), (std::vector<std::string>{"nic1", "nic2"}));
}

// During boot, user values come only from the host's own services (the
// exemptions are the validation suite's).
TEST_F(StoreWritesTest, ExternalUserWritesWaitForTheBootToEnd) {
  SetKeyValue("IS_BOOT", "true");
  const std::function<void()> refused[] = {
      [&] { store_->SetUserData(Resolver(R"({"domain":"a"})"), EXTERNAL); },
      [&] { store_->Set(Resolver(R"({"domain":"a"})"), EXTERNAL); },
      [&] { store_->Update(Resolver(R"({"domain":"a"})"), EXTERNAL); },
      [&] { store_->SetInstances({Nic("nic1", R"({"mtu":1500})")}, EXTERNAL); },
      [&] { store_->SetUserDataInstances({Nic("nic1", R"({"mtu":1500})")}, EXTERNAL); },
      [] { UpdateKernelOptions(Options("{}")); },
  };
  for (const auto& write : refused) {
    EXPECT_CS_ERROR(ValidationException, 2000,
                    "API cannot be invoked with EXTERNAL context during boot", write());
  }
  store_->SetUserData(Resolver(R"({"domain":"a"})"), INTERNAL);
}

// Only the kernel options object is staged; it waits for the boot.
TEST_F(StoreWritesTest, KernelOptionsAreStagedUntilTheBootAppliesThem) {
  store_->SetUserData(Options(R"({"bootDelay":1})"), EXTERNAL);
  UpdateKernelOptions(Options(R"({"console":"com1"})"));
  EXPECT_EQ(store_->Get(kOptions)->GetData(), R"({"bootDelay":1})");  // still in force
  EXPECT_EQ(GetKernelOptions(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  EXPECT_EQ(GetDesiredUserConfig(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  SetBootStatus(kOptions, true);
  EXPECT_EQ(store_->Get(kOptions)->GetData(), R"({"bootDelay":1,"console":"com1"})");
  EXPECT_EQ(GetDesiredUserConfig(kOptions), nullptr);
  EXPECT_TRUE(GetDesiredUserConfigInstances(kNics).empty());
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API should only be invoked for Kernel options configuration.",
                  UpdateKernelOptions(CreateObject(kResolver, "{}")));
}

TEST_F(StoreWritesTest, BootWritesValidateFirst) {
  db_.Insert(
      {"net", "dns", "resolver", "", "", R"({"domain":"old"})", "", "", R"({"domain":"lab"})"});
  EXPECT_CS_ERROR(ValidationException, 1088, "Failed to validate Partial config",
                  SetPartialBootStatus(CreateObject(kResolver, R"({"domain":7})")));
  SetPartialBootStatus(CreateObject(kResolver, R"({"domain":"lab"})"));
  EXPECT_EQ(store_->Get(kResolver)->GetData(), R"({"domain":"lab"})");
  EXPECT_EQ(GetDesiredUserConfig(kResolver), nullptr);

  EXPECT_CS_ERROR(ValidationException, 1090, "Failed to validate Update",
                  UpdateKernelOptions(Options(R"({"bootDelay":"soon"})")));
  // Inside the transaction the merged object must be valid as a whole; any
  // failure there is reported as the transaction's.
  db_.Insert({"orin", "kernix", "options", "", "", R"({"bootDelay":99})"});
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Transaction failedFailed to validate Set",
                  UpdateKernelOptions(Options(R"({"console":"com1"})")));
  EXPECT_EQ(GetDesiredUserConfig(kOptions), nullptr);
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

// Each change announces its type once it stands: what another connection
// sees then is the change committed. Refused and failed writes, which leave
// the database as it was (a failed list or rollback included), and deletes
// by a filter without data (all instances, or the one it names) announce
// nothing.
TEST_F(StoreWritesTest, EachChangeIsAnnouncedOnceItStands) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  db_.WriteFile(std::string(kNotifyAllowlistFile).substr(1),
                R"(["net.dns.resolver", "net.interfaces.nics", "orin.kernix.options"])");
  announced.clear();
  announcedRoot = &db_;
  HostSocketCalls().connect = [](int, const sockaddr*, socklen_t) { return 0; };
  HostSocketCalls().write = Announce;

  store_->Set(Resolver(R"({"domain":"b"})"), EXTERNAL);
  store_->Update(Resolver(R"({"domain":"c"})"), EXTERNAL);
  store_->SetInstances({Nic("nic0", R"({"mtu":1500})"), Nic("nic1", R"({"mtu":9000})"),
                        Nic("nic2", R"({"mtu":9000})")},
                       EXTERNAL);
  EXPECT_THROW(store_->SetUserData(Nic("nic0", R"({"mtu":"big"})"), EXTERNAL), ValidationException);
  db_.Sql(
      "CREATE TRIGGER refuse BEFORE INSERT ON Config WHEN NEW.Identifier='nic99' "
      "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  EXPECT_THROW(store_->SetInstances({Nic("nic3", "{}"), Nic("nic99", "{}")}, EXTERNAL),
               ConfigStoreException);
  store_->SetVitalDataInstances({Nic("nic1", R"({"macAddress":"02:00:00:00:00:01"})")});
  auto jumbo = std::make_shared<FilterSpecObject>(kNics);
  jumbo->SetValue("mtu", 9000);
  store_->DeleteInstances(jumbo);
  store_->DeleteInstances(
      std::make_shared<FilterSpecObject>(ConfigStoreObjectId("nics", "interfaces", "net", "nic0")));
  store_->SetInstances({Nic("nic5", "{}")}, EXTERNAL);
  store_->DeleteInstances(std::make_shared<FilterSpecObject>(kNics));
  EXPECT_TRUE(Ids().empty());
  store_->Delete(kResolver);
  store_->Import(CreateDocumentFromString(R"({"net":{"dns":{"resolver":{"domain":"d"}}}})"),
                 EXTERNAL);
  EXPECT_THROW(RollbackToRevision(store_, kResolver, 99), ConfigStoreException);
  RollbackToRevision(store_, kResolver, 1);
  UpdateKernelOptions(Options("{}"));
  EXPECT_EQ(announced, (std::vector<std::string>{
                           "net.dns.resolver :1", "net.dns.resolver :2",
                           "net.interfaces.nics nic0:1 nic1:1 nic2:1",
                           "net.interfaces.nics nic0:2 nic1:3 nic2:2", "net.interfaces.nics nic0:2",
                           "net.interfaces.nics nic5:1", "net.dns.resolver", "net.dns.resolver :1",
                           "net.dns.resolver :2", "orin.kernix.options :1"}));
}

}  // namespace
}  // namespace OrinConfigStore

namespace OrinConfigStore {
namespace {

// A conditional write happens only at the expected revision (-1: absent);
// a conflict names both revisions and writes nothing, inside or outside a
// caller's transaction; the history records exactly the writes that won.
TEST_F(StoreWritesTest, ConditionalWritesHappenOnlyAtTheExpectedRevision) {
  const ConfigStoreObjectId nic0("nics", "interfaces", "net", "nic0");
  SetUserDataIfRevision(store_, Nic("nic0", R"({"mtu":1500})"), EXTERNAL, -1);
  try {
    SetUserDataIfRevision(store_, Nic("nic0", R"({"mtu":9000})"), EXTERNAL, -1);
    ADD_FAILURE() << "no conflict";
  } catch (const RevisionConflictException& e) {
    EXPECT_EQ(e.GetErrorCode(), 2000);
    EXPECT_EQ(e.GetExpectedRevision(), -1);
    EXPECT_EQ(e.GetStoredRevision(), 1);
    EXPECT_EQ(std::string(e.what()), "Revision conflict on " + nic0.toString() +
                                         ": expected revision -1, stored revision 1");
  }
  UpdateIfRevision(store_, Nic("nic0", R"({"network":"frontend"})"), EXTERNAL, 1);
  SetIfRevision(store_, Nic("nic0", R"({"mtu":1400})"), EXTERNAL, 2);
  EXPECT_THROW(DeleteIfRevision(store_, nic0, 2), RevisionConflictException);
  {
    ConfigStoreTransaction outer(store_);
    EXPECT_THROW(UpdateIfRevision(store_, Nic("nic0", R"({"mtu":1})"), EXTERNAL, 9),
                 RevisionConflictException);
    outer.Commit();
  }
  EXPECT_EQ(store_->GetRevision(nic0), 3);
  DeleteIfRevision(store_, nic0, 3);
  EXPECT_EQ(store_->GetRevision(nic0), -1);
  std::string changes;
  for (const HistoryRecord& record : GetHistory(nic0)) changes += record.change + " ";
  EXPECT_EQ(changes, "delete replace update insert ");
}

}  // namespace
}  // namespace OrinConfigStore
