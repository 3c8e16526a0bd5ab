// Identity and context checks: schema presence, the singleton rules, the
// walk that finds user-owned values, and the boot-time refusal of the
// EXTERNAL context.

#include "validation/identity_checks.h"

#include <gtest/gtest.h>

#include "configstore/host.h"
#include "configstore/json_doc.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"
#include "platform/schema_store.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

using OrinSchemaStore::SchemaObject;
using OrinSchemaStore::SchemaStore;

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic1");
const ConfigStoreObjectId kNicWithoutId("nics", "interfaces", "net");
const ConfigStoreObjectId kKernix("options", "kernix", "orin");
const ConfigStoreObjectId kProbe("probe", "types", "test");
constexpr const char* kSingletonExpected =
    "API called for singleton object, non-singleton expected";
constexpr const char* kDuringBoot = "API cannot be invoked with EXTERNAL context during boot";

SchemaPtr Stored(const ConfigStoreObjectId& id) {
  return SchemaStore::GetStore()->GetSchemaObject(id.component, id.group, id.key);
}

std::shared_ptr<ConfigStoreObject> Object(const ConfigStoreObjectId& id, const std::string& data,
                                          const SchemaPtr& schema) {
  return CreateObject(id, CreateDocumentFromString(data), schema);
}

class IdentityChecksTest : public ::testing::Test {
 protected:
  cstest::SampleSchemaRoot root_;
  SchemaPtr resolver_ = Stored(kResolver);
  SchemaPtr nic_ = Stored(kNic);
};

TEST_F(IdentityChecksTest, IdentifiersMustFitTheTypesKind) {
  const ConfigStoreObjectId unknown("nothing", "dns", "net");
  const std::string message = "Schema object not found: comp net grp dns key nothing";
  EXPECT_CS_ERROR(ConfigStoreException, 1037, message, ValidateCsoId(unknown, nullptr));
  EXPECT_CS_ERROR(ConfigStoreException, 1037, message,
                  ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(unknown), nullptr));
  EXPECT_CS_ERROR(InvalidArgumentException, 1100, "Invalid Argument",
                  ValidateCsoId(std::shared_ptr<ConfigStoreObject>(), nic_));

  EXPECT_NO_THROW(ValidateCsoId(kResolver, resolver_));
  EXPECT_NO_THROW(ValidateCsoId(Object(kNic, "{}", nic_), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  ValidateCsoId(ConfigStoreObjectId("resolver", "dns", "net", "x"), resolver_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  ValidateCsoId(Object(kNicWithoutId, "{}", nic_), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  validateInstanceId(kResolver));
  EXPECT_NO_THROW(validateInstanceId(kNic));
  // The instance APIs take identifiers with and without an instance id.
  EXPECT_TRUE(ValidateCsoIdInstances(kNicWithoutId, nic_));
  EXPECT_TRUE(ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(kNic), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000, kSingletonExpected,
                  ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(kResolver), resolver_));
}

SchemaPtr Schema(const std::string& json) {
  auto document = std::make_unique<JDoc>();
  document->Parse(json.c_str());
  EXPECT_FALSE(document->HasParseError()) << json;
  return std::make_shared<SchemaObject>("test", "types", "probe", "1.0", std::move(document), false,
                                        false);
}

TEST(IsUserType, OnlyUnmarkedLeavesOtherThanInstanceIdsAreUserOwned) {
  const SchemaPtr schema = Schema(R"({"type": "object", "properties": {
    "name": {"type": "string", "instanceId": true},
    "mtu": {"type": "integer"},
    "mac": {"type": "string", "vital": true},
    "notVital": {"type": "string", "vital": false},
    "stats": {"type": "object", "cached": true, "properties": {}},
    "hw": {"type": "object", "properties": {"serial": {"vital": true}, "label": {}}},
    "tags": {"type": "array", "items": {"type": "string"}},
    "addresses": {"type": "array", "instanceId": "address", "items": {"properties": {
        "address": {"instanceId": true}, "gw": {"vital": true}}}},
    "free": {"type": "object"},
    "oddId": {"type": "string", "instanceId": "x"}}})");
  const std::pair<const char*, bool> cases[] = {
      {"{}", false},
      {R"({"name": "a"})", false},
      // A mark counts by its presence, and nothing below it is looked at.
      {R"({"mac": "m", "notVital": "v", "stats": {"undeclared": [1]}})", false},
      {R"({"hw": {"serial": "s"}, "tags": [], "free": {}})", false},
      {R"({"addresses": [{"address": "a", "gw": "g"}, {"address": "b"}]})", false},
      {R"({"mac": "m", "mtu": 1})", true},
      {R"({"hw": {"serial": "s", "label": "l"}})", true},
      {R"({"tags": ["x"]})", true},
  };
  for (const auto& [data, expected] : cases) {
    EXPECT_EQ(isUserType(Object(kProbe, data, schema), schema), expected) << data;
  }
  // Data the schema does not describe is a fault, not "no user values".
  for (const char* data : {R"({"undeclared": 1})", R"({"free": {"x": 1}})", R"({"oddId": "v"})"}) {
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                    isUserType(Object(kProbe, data, schema), schema));
  }
  const SchemaPtr vitalType = Schema(R"({"vital": true, "properties": {}})");
  EXPECT_FALSE(isUserType(Object(kProbe, R"({"any": {"x": 1}})", vitalType), vitalType));
}

TEST_F(IdentityChecksTest, BootRefusesExternalUserWritesOfTypesNotExempt) {
  const SchemaPtr kernix = Stored(kKernix);
  const auto userWrite = Object(kKernix, R"({"bootDelay": 3})", kernix);
  EXPECT_NO_THROW(CheckObjectUserContext(userWrite, kernix, EXTERNAL));  // no database: no boot

  // The configuration database's key-value table, as the database layer creates it.
  ASSERT_EQ(DBStore::CreateDatabase(DBStore::CONFIG), 0);
  ASSERT_EQ(DBStore::ExecuteV2(DBStore::GetConnection(DBStore::CONFIG),
                               "CREATE TABLE IF NOT EXISTS KVTable(Key TEXT, Value TEXT, "
                               "ModifiedTime DATETIME DEFAULT (datetime(CURRENT_TIMESTAMP)), "
                               "CreationTime DATETIME, PRIMARY KEY(Key));",
                               nullptr, nullptr, DBStore::kStatementTimeoutMs),
            0);
  SetKeyValue("IS_BOOT", "true");
  EXPECT_CS_ERROR(ValidationException, 2000, kDuringBoot,
                  CheckObjectUserContext(userWrite, kernix, EXTERNAL));
  EXPECT_NO_THROW(CheckObjectUserContext(userWrite, kernix, INTERNAL));
  EXPECT_NO_THROW(
      CheckObjectUserContext(Object(kKernix, R"({"maxVcpus": 4})", kernix), kernix, EXTERNAL));
  EXPECT_NO_THROW(
      CheckBootContext(Stored(ConfigStoreObjectId("syslog", "logging", "orin")), true, EXTERNAL));
  EXPECT_CS_ERROR(ValidationException, 2000, kDuringBoot,
                  CheckBootContext(nullptr, true, EXTERNAL));
  SetUpgradeCtx(true);
  EXPECT_NO_THROW(CheckBootContext(kernix, true, EXTERNAL));
  SetUpgradeCtx(false);
}

}  // namespace
}  // namespace OrinConfigStore
