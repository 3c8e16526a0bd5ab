// Export and import of whole types: the document's shape and order, what
// filters select, and imports that replace types whole or write nothing.

#include <gtest/gtest.h>

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

std::string Text(const std::shared_ptr<JsonDoc>& document) {
  std::string text;
  ConfigStoreDocument::SerializeValue(document->GetDocument(), text);
  return text;
}

class BulkTransferTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store_->SetUserData(CreateObject(kResolver, R"({"domain":"example.org"})"), EXTERNAL);
    store_->SetVitalData(CreateObject(ConfigStoreObjectId("platform", "hardware", "orin"),
                                      R"({"serialNumber":"S"})"));
    store_->SetInstances({CreateObject(Nic("nic1"), R"({"name":"nic1","mtu":9000})"),
                          CreateObject(Nic("nic0"), R"({"name":"nic0"})")},
                         EXTERNAL);
  }

  std::string Export(const std::vector<std::shared_ptr<FilterSpecObject>>& filters = {}) {
    return Text(store_->Export(filters));
  }
  void Import(const std::string& json, USERDATA_CONTEXT context = EXTERNAL) {
    store_->Import(CreateDocumentFromString(json), context);
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

const char* const kEverything =
    R"({"net":{"dns":{"resolver":{"domain":"example.org"}},)"
    R"("interfaces":{"nics":[{"name":"nic0"},{"name":"nic1","mtu":9000}]}},)"
    R"("orin":{"hardware":{"platform":{"serialNumber":"S"}}}})";

TEST_F(BulkTransferTest, ExportOrdersEveryStoredTypeAndImportRestoresIt) {
  EXPECT_EQ(Export(), kEverything);

  store_->Delete(kResolver);
  store_->DeleteInstances(Filter(kNics));
  Import(kEverything);
  EXPECT_EQ(Export(), kEverything);
  // Vital members go back to their own column, the rest to the user's.
  EXPECT_EQ(db_.Rows("SELECT VitalValue, UserValue FROM Config WHERE Name = 'platform';"),
            std::vector<std::string>{R"(VitalValue={"serialNumber":"S"}, UserValue=NULL)"});
}

TEST_F(BulkTransferTest, FiltersSelectInstancesAndATypeAppearsOnce) {
  EXPECT_EQ(Export({Filter(Nic("nic1")), Filter(kNics, R"({"mtu":9000})"), Filter(kResolver)}),
            R"({"net":{"dns":{"resolver":{"domain":"example.org"}},)"
            R"("interfaces":{"nics":[{"name":"nic1","mtu":9000}]}}})");
  // Types with nothing stored are left out; a type the store does not know
  // is refused.
  EXPECT_EQ(Export({Filter(ConfigStoreObjectId("syslog", "logging", "orin"))}), "{}");
  EXPECT_CS_ERROR(ConfigStoreException, 1037,
                  "Schema object not found: comp net grp dns key nothing",
                  Export({Filter(ConfigStoreObjectId("nothing", "dns", "net"))}));
}

TEST_F(BulkTransferTest, ImportReplacesEachTypeItNamesWhole) {
  Import(R"({"net":{"interfaces":{"nics":[{"name":"nic7","mtu":1400}]}}})", INTERNAL);
  EXPECT_EQ(store_->GetInstanceIds(kNics), std::vector<std::string>{"nic7"});
  EXPECT_EQ(
      db_.Rows("SELECT AutoConfValue, UserValue FROM Config WHERE Identifier = 'nic7';"),
      std::vector<std::string>{R"(AutoConfValue={"name":"nic7","mtu":1400}, UserValue=NULL)"});
  EXPECT_NE(store_->Get(kResolver), nullptr);  // not named: untouched

  Import(R"({"net":{"interfaces":{"nics":[]}}})");
  EXPECT_TRUE(store_->GetInstanceIds(kNics).empty());
}

TEST_F(BulkTransferTest, ARefusedImportReportsEveryProblemAndWritesNothing) {
  const std::string before = Export();
  try {
    Import(R"({"net":{"dns":{"resolver":{"domain":7},"nothing":{}}}})");
    ADD_FAILURE() << "the import was accepted";
  } catch (const ValidationException& e) {
    EXPECT_EQ(e.GetErrors().size(), 2u);  // which ones is the validation suite's
  }
  EXPECT_CS_ERROR(ValidationException, 1055, "Import operation failed",
                  store_->Import(nullptr, EXTERNAL));

  SetKeyValue("IS_BOOT", "true");
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API cannot be invoked with EXTERNAL context during boot",
                  Import(R"({"net":{"dns":{"resolver":{"domain":"boot.example"}}}})"));
  EXPECT_EQ(Export(), before);
}

}  // namespace
}  // namespace OrinConfigStore
