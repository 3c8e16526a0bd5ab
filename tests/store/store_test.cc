// The store as callers use it: obtaining it, the identity checks, empty
// arguments, the read operations passing their arguments on, its
// transactions and their guard, and export and import of whole types.

#include <gtest/gtest.h>

#include "configstore/boot.h"
#include "configstore/config_store.h"
#include "database_root.h"
#include "json/document.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNics("nics", "interfaces", "net");

ConfigStoreObjectId Nic(const char* name) {
  return ConfigStoreObjectId("nics", "interfaces", "net", name);
}

std::shared_ptr<FilterSpecObject> Filter(const ConfigStoreObjectId& id, const char* data = "") {
  auto filter = std::make_shared<FilterSpecObject>(id);
  if (*data != '\0') filter->SetData(data);
  return filter;
}

// What Seed() stores, as Export() shows it.
const char* const kEverything =
    R"({"net":{"dns":{"resolver":{"domain":"example.org"}},)"
    R"("interfaces":{"nics":[{"name":"nic0"},{"name":"nic1","mtu":9000}]}},)"
    R"("orin":{"hardware":{"platform":{"serialNumber":"S"}}}})";

class StoreTest : public ::testing::Test {
 protected:
  void Seed() {
    store_->SetUserData(CreateObject(kResolver, R"({"domain":"example.org"})"), EXTERNAL);
    store_->SetVitalData(CreateObject(ConfigStoreObjectId("platform", "hardware", "orin"),
                                      R"({"serialNumber":"S"})"));
    store_->SetInstances({CreateObject(Nic("nic1"), R"({"name":"nic1","mtu":9000})"),
                          CreateObject(Nic("nic0"), R"({"name":"nic0"})")},
                         EXTERNAL);
  }
  std::string Export(const std::vector<std::shared_ptr<FilterSpecObject>>& filters = {}) {
    std::string text;
    ConfigStoreDocument::SerializeValue(store_->Export(filters)->GetDocument(), text);
    return text;
  }
  void Import(const std::string& json, USERDATA_CONTEXT context = EXTERNAL) {
    store_->Import(CreateDocumentFromString(json), context);
  }
  void Write(const char* nic) {
    store_->SetUserData(CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", nic), "{}"),
                        EXTERNAL);
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST(GetStore, OnlyTheGlobalNamespaceOfAnInitialisedHost) {
  cstest::TempRoot empty;
  EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Invalid value for namespace.",
                  ConfigStore::GetStore(" "));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to connect to database",
                  ConfigStore::GetStore(""));
}

// Each read hands its arguments to the read it stands for, after the
// identifier's check.
TEST_F(StoreTest, ReadsCheckAndPassTheirArgumentsOn) {
  db_.Insert({"net", "dns", "resolver", "", R"({"domain":"a"})", "", "", "", "", "1", "1.2", "3"});
  db_.Insert({"net", "interfaces", "nics", "nic0", "", R"({"mtu":1500})"});
  db_.Insert({"net", "interfaces", "nics", "nic1", "", R"({"mtu":9000})"});
  EXPECT_EQ(store_->Get(kResolver)->GetData(), R"({"domain":"a"})");
  EXPECT_EQ(store_->GetRevision(kResolver), 3);
  EXPECT_EQ(store_->GetInstanceIds(kNics), (std::vector<std::string>{"nic0", "nic1"}));
  auto jumbo = Filter(kNics);
  jumbo->SetValue("mtu", 9000);
  EXPECT_EQ(store_->GetInstances(jumbo).size(), 1u);
  EXPECT_EQ(store_->GetInstancesRevision(Nic("nic1")).size(), 1u);
  // Defaults: the shipped values with their vital part merged in, or none.
  EXPECT_EQ(store_->GetDefaultConfig(ConfigStoreObjectId("options", "kernix", "orin"))->GetData(),
            R"({"maxVcpus":128,"bootDelay":0,"console":"vga"})");
  EXPECT_EQ(store_->GetDefaultConfig(ConfigStoreObjectId("platform", "hardware", "orin")), nullptr);
  EXPECT_EQ(store_->GetDefaultConfigInstances(Filter(kNics)).at(0)->GetData(),
            R"({"name":"nic0","network":"backend","mtu":1500,"enabled":true})");
  EXPECT_EQ(store_->Validate(CreateObject(kResolver, R"({"extra":1})")).size(), 1u);

  EXPECT_CS_ERROR(ConfigStoreException, 1037, "Schema object not found: comp net grp dns key none",
                  store_->Get(ConfigStoreObjectId("none", "dns", "net")));
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  store_->Get(ConfigStoreObjectId("resolver", "dns", "net", "x")));
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API called for singleton object, non-singleton expected",
                  store_->GetInstanceIds(kResolver));
}

// A null object or filter is logged and ignored, never thrown.
TEST_F(StoreTest, EmptyArgumentsAreIgnored) {
  store_->Set(nullptr, EXTERNAL);
  store_->SetUserData(nullptr, EXTERNAL);
  store_->SetVitalData(nullptr);
  store_->SetCachedData(nullptr);
  store_->Update(nullptr, INTERNAL);
  EXPECT_TRUE(store_->Validate(nullptr).empty());
  SetPartialBootStatus(nullptr);
  UpdateKernelOptions(nullptr);
  EXPECT_TRUE(store_->GetInstances(nullptr).empty());
  EXPECT_TRUE(store_->GetDefaultConfigInstances(nullptr).empty());
  store_->DeleteInstances(nullptr);
}

// Store operations run on the store's connection, so they take part in its
// transactions; a nested guard left uncommitted rolls back its level only.
TEST_F(StoreTest, TheGuardCommitsOrCancels) {
  {
    ConfigStoreTransaction outer(store_);
    Write("nic1");
    {
      ConfigStoreTransaction inner(store_);
      Write("nic2");
    }
    EXPECT_EQ(outer.Commit(), 0);
  }
  {
    ConfigStoreTransaction dropped(store_);
    Write("nic3");
  }
  EXPECT_EQ(store_->GetInstanceIds(kNics), std::vector<std::string>{"nic1"});

  // A write SQLite answers by rolling the whole transaction back: begin and
  // commit are refused until the level is cancelled.
  db_.Sql(
      "CREATE TRIGGER lose BEFORE INSERT ON Config WHEN NEW.Identifier='nic9' "
      "BEGIN SELECT RAISE(ROLLBACK, 'lost'); END;");
  {
    ConfigStoreTransaction refused(store_);
    EXPECT_THROW(Write("nic9"), ConfigStoreException);
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to start a transaction.",
                    ConfigStoreTransaction{store_});
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Commit transaction failed.", refused.Commit());
  }
  EXPECT_NE(store_->CancelTransaction(), 0);  // none open: a failure code, not an exception
  std::shared_ptr<ConfigStore> none;
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Failed to use NULL as the store",
                  ConfigStoreTransaction{none});
}

TEST_F(StoreTest, ExportOrdersWhatFiltersSelectAndImportRestoresIt) {
  Seed();
  EXPECT_EQ(Export(), kEverything);

  store_->Delete(kResolver);
  store_->DeleteInstances(Filter(kNics));
  Import(kEverything);
  EXPECT_EQ(Export(), kEverything);
  // Vital members go back to their own column, the rest to the user's.
  EXPECT_EQ(db_.Rows("SELECT VitalValue, UserValue FROM Config WHERE Name = 'platform';"),
            std::vector<std::string>{R"(VitalValue={"serialNumber":"S"}, UserValue=NULL)"});
  // Filters select instances; a type appears once.
  EXPECT_EQ(Export({Filter(Nic("nic1")), Filter(kNics, R"({"mtu":9000})"), Filter(kResolver)}),
            R"({"net":{"dns":{"resolver":{"domain":"example.org"}},)"
            R"("interfaces":{"nics":[{"name":"nic1","mtu":9000}]}}})");
  // A type the store does not know is refused.
  EXPECT_CS_ERROR(ConfigStoreException, 1037,
                  "Schema object not found: comp net grp dns key nothing",
                  Export({Filter(ConfigStoreObjectId("nothing", "dns", "net"))}));
}

TEST_F(StoreTest, ImportWritesNothingOrReplacesEachTypeItNamesWhole) {
  Seed();
  const std::string before = Export();
  // Which problems are reported is the validation suite's.
  EXPECT_THROW(Import(R"({"net":{"dns":{"resolver":{"domain":7}}}})"), ValidationException);
  EXPECT_CS_ERROR(ValidationException, 1055, "Import operation failed",
                  store_->Import(nullptr, EXTERNAL));

  SetKeyValue("IS_BOOT", "true");
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API cannot be invoked with EXTERNAL context during boot",
                  Import(R"({"net":{"dns":{"resolver":{"domain":"boot.example"}}}})"));
  EXPECT_EQ(Export(), before);
  SetKeyValue("IS_BOOT", "false");

  // An accepted import replaces each type it names whole.
  Import(R"({"net":{"interfaces":{"nics":[{"name":"nic7","mtu":1400}]}}})", INTERNAL);
  EXPECT_EQ(store_->GetInstanceIds(kNics), std::vector<std::string>{"nic7"});
  EXPECT_EQ(
      db_.Rows("SELECT AutoConfValue, UserValue FROM Config WHERE Identifier = 'nic7';"),
      std::vector<std::string>{R"(AutoConfValue={"name":"nic7","mtu":1400}, UserValue=NULL)"});
  EXPECT_NE(store_->Get(kResolver), nullptr);  // not named: untouched

  Import(R"({"net":{"interfaces":{"nics":[]}}})");
  EXPECT_TRUE(store_->GetInstanceIds(kNics).empty());
}

}  // namespace
}  // namespace OrinConfigStore
