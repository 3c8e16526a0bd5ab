// Validation: identifiers against their types, the walk that finds
// user-owned values, the boot-time refusal of the EXTERNAL context, the tag
// set and error code of each kind of write, the store's quiet bulk check,
// lookups by identifier, and whole documents checked against the schema
// generated for them.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "configstore/host.h"
#include "configstore/json_doc.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"
#include "platform/schema_object.h"
#include "test_support.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic1");
const ConfigStoreObjectId kNicWithoutId("nics", "interfaces", "net");
const ConfigStoreObjectId kKernix("options", "kernix", "orin");
const ConfigStoreObjectId kProbe("probe", "types", "test");
constexpr const char* kDuringBoot = "API cannot be invoked with EXTERNAL context during boot";

JDoc Json(const std::string& text) {
  JDoc document;
  document.Parse(text.c_str());
  EXPECT_FALSE(document.HasParseError()) << text;
  return document;
}

// The type test/types/probe with `json` as its schema.
SchemaPtr Schema(const std::string& json, bool nonSingleton = false) {
  return std::make_shared<OrinSchemaStore::SchemaObject>(
      "test", "types", "probe", "1.0", std::make_unique<JDoc>(Json(json)), nonSingleton, false);
}

// Any JSON as an object's data, arrays included.
std::shared_ptr<ConfigStoreObject> Object(const std::string& data, const SchemaPtr& schema,
                                          const ConfigStoreObjectId& id = kProbe) {
  return ConfigStoreObjectInternal::Wrap(
      std::make_shared<ConfigStoreObjectImpl>(id, CreateDocumentFromString(data), schema));
}

std::vector<std::string> Fields(const std::vector<ErrorInfo>& errors) {
  std::vector<std::string> fields;
  for (const ErrorInfo& error : errors) fields.push_back(error.field);
  std::sort(fields.begin(), fields.end());
  return fields;
}

using Entries = std::vector<std::pair<std::string, std::string>>;  // field, error

Entries Pairs(const std::vector<ErrorInfo>& errors) {
  Entries entries;
  for (const ErrorInfo& error : errors) entries.emplace_back(error.field, error.error);
  return entries;
}

const SchemaPtr& Nic() {
  static const SchemaPtr nic = Schema(R"({"type": "object", "required": ["name"], "properties": {
  "name": {"type": "string", "instanceId": true}, "mtu": {"type": "integer"},
  "mac": {"type": "string", "vital": true}, "stats": {"type": "integer", "cached": true},
  "addresses": {"type": "array", "instanceId": "address",
                "items": {"type": "object", "properties": {"address": {"type": "string"}}}}}})");
  return nic;
}

class StoredTypesTest : public ::testing::Test {
 protected:
  cstest::SampleSchemaRoot root_;
  SchemaPtr resolver_ = LookupSchema(kResolver);
  SchemaPtr nic_ = LookupSchema(kNic);
};

TEST_F(StoredTypesTest, IdentifiersMustFitTheTypesKind) {
  const ConfigStoreObjectId unknown("nothing", "dns", "net");
  const std::string message = "Schema object not found: comp net grp dns key nothing";
  EXPECT_CS_ERROR(ConfigStoreException, 1037, message, ValidateCsoId(unknown, nullptr));
  EXPECT_CS_ERROR(ConfigStoreException, 1037, message,
                  ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(unknown), nullptr));
  EXPECT_CS_ERROR(InvalidArgumentException, 1100, "Invalid Argument",
                  ValidateCsoId(std::shared_ptr<ConfigStoreObject>(), nic_));

  EXPECT_NO_THROW(ValidateCsoId(kResolver, resolver_));
  EXPECT_NO_THROW(ValidateCsoId(Object("{}", nic_, kNic), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  ValidateCsoId(ConfigStoreObjectId("resolver", "dns", "net", "x"), resolver_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  ValidateCsoId(Object("{}", nic_, kNicWithoutId), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  validateInstanceId(kResolver));
  EXPECT_NO_THROW(validateInstanceId(kNic));
  // The instance APIs take identifiers with and without an instance id.
  EXPECT_TRUE(ValidateCsoIdInstances(kNicWithoutId, nic_));
  EXPECT_TRUE(ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(kNic), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API called for singleton object, non-singleton expected",
                  ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(kResolver), resolver_));
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
    EXPECT_EQ(isUserType(Object(data, schema), schema), expected) << data;
  }
  // Data the schema does not describe is a fault, not "no user values".
  for (const char* data : {R"({"undeclared": 1})", R"({"free": {"x": 1}})", R"({"oddId": "v"})"}) {
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                    isUserType(Object(data, schema), schema));
  }
  const SchemaPtr vitalType = Schema(R"({"vital": true, "properties": {}})");
  EXPECT_FALSE(isUserType(Object(R"({"any": {"x": 1}})", vitalType), vitalType));
}

TEST_F(StoredTypesTest, BootRefusesExternalUserWritesOfTypesNotExempt) {
  const SchemaPtr kernix = LookupSchema(kKernix);
  const auto userWrite = Object(R"({"bootDelay": 3})", kernix, kKernix);
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
      CheckObjectUserContext(Object(R"({"maxVcpus": 4})", kernix, kKernix), kernix, EXTERNAL));
  EXPECT_NO_THROW(CheckBootContext(LookupSchema(ConfigStoreObjectId("syslog", "logging", "orin")),
                                   true, EXTERNAL));
  EXPECT_CS_ERROR(ValidationException, 2000, kDuringBoot,
                  CheckBootContext(nullptr, true, EXTERNAL));
  SetUpgradeCtx(true);
  EXPECT_NO_THROW(CheckBootContext(kernix, true, EXTERNAL));
  SetUpgradeCtx(false);
}

TEST(WriteValidators, EachKindOfWriteHasItsTagsAndCode) {
  using Validator = void (*)(SchemaPtr, std::shared_ptr<ConfigStoreObject>);
  const std::tuple<const char*, Validator, int, const char*> kinds[] = {
      {"user", ValidateUserConfig, 1087, "Failed to validate User config"},
      {"vital", ValidateVitalConfig, 1086, "Failed to validate Vital config"},
      {"cached", ValidateCachedConfig, 1084, "Failed to validate Default config"},
      {"partial", ValidatePartialConfig, 1088, "Failed to validate Partial config"},
      {"set", ValidateSet, 1089, "Failed to validate Set"},
      {"update", ValidateUpdate, 1090, "Failed to validate Update"},
  };
  const std::pair<const char*, std::set<std::string>> cases[] = {
      {R"({"name": "a", "mtu": 1})", {"user", "partial", "set", "update"}},
      {R"({"mtu": 1})", {"partial", "update"}},                       // required (8)
      {R"({"name": "a", "mac": "m"})", {"vital", "set", "update"}},   // vital (3, 5)
      {R"({"name": "a", "stats": 1})", {"cached", "set", "update"}},  // cached (3, 9)
      {R"({"name": "a", "addresses": [{}]})", {"update"}},            // instance keys (7)
      {R"({"name": "a", "bogus": 1})", {}},                           // strict members (1)
      {R"({"name": "a", "mtu": "x"})", {}},                           // keywords (0)
      {"[1]", {}},                                                    // not an object
  };
  for (const auto& [data, accepted] : cases) {
    for (const auto& [kind, validate, code, message] : kinds) {
      SCOPED_TRACE(std::string(kind) + " " + data);
      if (accepted.count(kind) != 0) {
        EXPECT_NO_THROW(validate(Nic(), Object(data, Nic())));
      } else {
        EXPECT_CS_ERROR(ValidationException, code, message, validate(Nic(), Object(data, Nic())));
      }
    }
  }
}

TEST(WriteValidators, CarryAndLogEveryError) {
  cstest::LogCapture log;
  try {
    ValidateUpdate(Nic(), Object(R"({"mtu": "x", "bogus": 1})", Nic()));
    ADD_FAILURE() << "accepted bad data";
  } catch (const ValidationException& e) {
    EXPECT_EQ(Fields(e.GetErrors()), (std::vector<std::string>{"/bogus", "/mtu"}));
    for (const ErrorInfo& error : e.GetErrors()) {
      EXPECT_TRUE(log.Contains(0, "Validation Error: '" + error.field + "' " + error.error));
    }
  }
}

TEST(ValidateCSO, CollectsQuietlyWithTheTypesSourceTags) {
  cstest::LogCapture log;
  std::vector<ErrorInfo> errors{{"earlier", "kept"}};
  ValidateCSO(nullptr, Object("{}", Nic()), errors);
  ValidateCSO(Nic(), Object("[]", Nic()), errors);
  ValidateCSO(Schema(R"({"properties": {}})", true), Object("{}", Nic()), errors);
  ValidateCSO(Nic(), Object("{}", Nic(), ConfigStoreObjectId("probe", "types", "test", "i")),
              errors);
  const Entries expected{{"earlier", "kept"},
                         {"/", "Schema object not found: /test/types/probe"},
                         {"/", "Invalid type, Expected JSON of type object."},
                         {"/", "Non-Singleton object should contain instanceId: /test/types/probe"},
                         {"/", "Singleton object cannot contain instanceId: /test/types/probe"}};
  EXPECT_EQ(Pairs(errors), expected);

  // Each source's set passes its own members, where {0, 1, 7, 8} would
  // demand "b" and the other source's set refuse "a".
  errors.clear();
  for (const char* mark : {"vital", "cached"}) {
    const SchemaPtr type = Schema(std::string(R"({"required": ["b"], ")") + mark +
                                  R"(": true, "properties": {"a": {}, "b": {}}})");
    ValidateCSO(type, Object(R"({"a": 1})", type), errors);
  }
  EXPECT_TRUE(errors.empty());
  ValidateCSO(Nic(), Object(R"({"mtu": 1})", Nic()), errors);
  EXPECT_EQ(Fields(errors), std::vector<std::string>{"/name"});
  for (const auto& line : log.Lines())
    EXPECT_EQ(line.second.find("Validation Error"), std::string::npos);

  const SchemaPtr odd = Schema(R"({"vital": "true", "properties": {}})");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  ValidateCSO(odd, Object("{}", odd), errors));
}

TEST(ValidateApplyFile, RefusesDeprecatedMembersAndMissingRequiredOnes) {
  const JDoc schema =
      Json(R"({"required": ["a"], "properties": {"a": {}, "old": {"deprecated": true}}})");
  EXPECT_TRUE(ValidateApplyFile(Json(R"({"a": 1})"), schema));
  const char* message = "Failed to validate Apply JSON file";
  EXPECT_CS_ERROR(ValidationException, 1091, message,
                  ValidateApplyFile(Json(R"({"a": 1, "old": true})"), schema));
  EXPECT_CS_ERROR(ValidationException, 1091, message, ValidateApplyFile(Json("{}"), schema));
}

TEST_F(StoredTypesTest, ValidateObjectLooksTheTypeUp) {
  cstest::LogCapture log;
  std::vector<ErrorInfo> errors;
  EXPECT_FALSE(validateObject(Object("{}", Nic()), ACTION_VALIDATE, errors, ""));
  EXPECT_EQ(Pairs(errors), (Entries{{"test/probe", "Schema not found."}}));
  EXPECT_TRUE(log.Contains(0, "Schema object not found: comp test grp types key probe"));

  errors.clear();
  const auto bad = Object(R"({"options": {"timeout": 99}})", resolver_, kResolver);
  EXPECT_TRUE(validateObject(bad, ACTION_EXISTS, errors, ""));
  EXPECT_TRUE(validateObject(bad, ACTION_EXISTS_ONLY, errors, ""));
  EXPECT_TRUE(errors.empty());
  EXPECT_FALSE(validateObject(bad, ACTION_VALIDATE, errors, ""));
  EXPECT_EQ(Fields(errors), std::vector<std::string>{"/options/timeout"});
}

// Fields of the errors, sorted, and that the answer agrees with them.
template <typename F>
std::vector<std::string> Faults(F validate) {
  std::vector<ErrorInfo> errors;
  const bool valid = validate(errors);
  EXPECT_EQ(valid, errors.empty());
  return Fields(errors);
}

TEST_F(StoredTypesTest, DocumentsAreCheckedAgainstTheirTypes) {
  // A non-singleton, cached type whose schema refers to its own
  // definitions, in a group whose name must be escaped in a reference.
  cstest::LoadTypes(R"({"component": "test", "group": "disk pools", "key": "disks",
      "nonSingleton": true, "schema": {"type": "object", "cached": true,
      "definitions": {"size": {"type": "integer", "minimum": 1}},
      "properties": {"id": {"type": "string", "instanceId": true},
                     "sizeGb": {"$ref": "#/definitions/size"}}}})");
  const auto import = [](const char* text) {
    return Faults(
        [&](auto& errors) { return ValidateImportDocument(Json(text), nullptr, errors); });
  };
  using Found = std::vector<std::string>;
  EXPECT_EQ(import(R"({"net": {"dns": {"resolver": {"domain": "x"}},
                   "interfaces": {"nics": [{"name": "nic0", "macAddress": "00:11:22:33:44:55"},
                                            {"name": "nic1", "addresses": [{"address": "a"}]}]}},
           "orin": {"inventory": {"pciDevices": {"deviceCount": 1}}},
           "test": {"disk pools": {"disks": [{"id": "d0", "sizeGb": 8}]}}})"),
            Found{});
  EXPECT_EQ(import(R"({"net": {"dns": {"resolver": {}, "nothing": {}},
                                     "interfaces": {"nics": {"name": "nic0"}}},
                             "nope": {"g": {"k": {}}}, "orin": 5})"),
            (Found{"/net/dns/nothing", "/net/interfaces/nics", "/nope/g/k", "/orin"}));
  EXPECT_EQ(import(R"({"net": {"interfaces": {"nics": [{"name": "nic0"}, {"name": "nic0"}]}},
                       "test": {"disk pools": {"disks": [{"id": "d0", "sizeGb": 0}]}}})"),
            (Found{"/net/interfaces/nics/1/name", "/test/disk pools/disks/0/sizeGb"}));
  std::vector<ErrorInfo> errors;
  EXPECT_FALSE(ValidateImportDocument(JVal(rapidjson::kArrayType), nullptr, errors));
  EXPECT_EQ(Pairs(errors), (Entries{{"/", "INCORRECT TYPE: expected object."}}));

  // A user's document may hold no vital or cached members, at any level.
  const auto user = Object(R"({"net": {"interfaces": {"nics": [{"name": "nic0",
                                "macAddress": "00:11:22:33:44:55"}]}},
                               "orin": {"inventory": {"pciDevices": {"deviceCount": 1}}},
                               "test": {"disk pools": {"disks": [{"id": "d0"}]}}})",
                           Nic());
  EXPECT_EQ(Faults([&](auto& found) { return ValidateDocument(user, found); }),
            (Found{"/net/interfaces/nics/0/macAddress", "/orin/inventory/pciDevices",
                   "/test/disk pools/disks"}));
}

}  // namespace
}  // namespace OrinConfigStore
