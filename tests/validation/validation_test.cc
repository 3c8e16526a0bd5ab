// Validation: identifiers against their types, the walk that finds
// user-owned values, the boot-time refusal of the EXTERNAL context, the tag
// set and error code of each kind of write, the store's bulk check, and
// import documents checked against the schema generated for them.

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
const ConfigStoreObjectId kKernix("options", "kernix", "orin");
const ConfigStoreObjectId kProbe("probe", "types", "test");

JDoc Json(const std::string& text) {
  JDoc document;
  document.Parse(text.c_str());
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

// "field error" of each entry, in the order given, or the fields alone, sorted.
std::vector<std::string> Entries(const std::vector<ErrorInfo>& errors, bool fieldsOnly = false) {
  std::vector<std::string> entries;
  for (const ErrorInfo& error : errors)
    entries.push_back(fieldsOnly ? error.field : error.field + " " + error.error);
  if (fieldsOnly) std::sort(entries.begin(), entries.end());
  return entries;
}
using Found = std::vector<std::string>;

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
  EXPECT_CS_ERROR(ConfigStoreException, 1037, "Schema object not found: " + kResolver.toString(),
                  ValidateCsoId(kResolver, nullptr));
  EXPECT_NO_THROW(ValidateCsoId(kResolver, resolver_));
  EXPECT_NO_THROW(ValidateCsoId(kNic, nic_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Singleton object cannot contain instanceId",
                  ValidateCsoId(ConfigStoreObjectId("resolver", "dns", "net", "x"), resolver_));
  EXPECT_CS_ERROR(ValidationException, 2000, "Non-Singleton object should contain instanceId",
                  ValidateCsoId(ConfigStoreObjectId("nics", "interfaces", "net"), nic_));
  EXPECT_CS_ERROR(ValidationException, 2000,
                  "API called for singleton object, non-singleton expected",
                  ValidateCsoIdInstances(std::make_shared<FilterSpecObject>(kResolver), resolver_));
}

TEST(IsUserType, OnlyUnmarkedLeavesOtherThanInstanceIdsAreUserOwned) {
  const SchemaPtr schema = Schema(R"({"properties": {"name": {"instanceId": true}, "mtu": {},
    "mac": {"vital": true}, "notVital": {"vital": false}, "stats": {"cached": true},
    "hw": {"properties": {"serial": {"vital": true}, "label": {}}}, "tags": {"items": {}},
    "addresses": {"instanceId": "address", "items": {"properties": {
        "address": {"instanceId": true}, "gw": {"vital": true}}}}}})");
  const std::pair<const char*, bool> cases[] = {
      {R"({"name": "a", "tags": []})", false},
      // A mark counts by its presence, and nothing below it is looked at.
      {R"({"mac": "m", "notVital": "v", "stats": {"undeclared": [1]}})", false},
      {R"({"hw": {"serial": "s"}, "addresses": [{"address": "a", "gw": "g"}]})", false},
      {R"({"mac": "m", "mtu": 1})", true},
      {R"({"tags": ["x"]})", true},
  };
  for (const auto& [data, expected] : cases) {
    EXPECT_EQ(isUserType(Object(data, schema), schema), expected) << data;
  }
  // Data the schema does not describe is a fault, not "no user values".
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  isUserType(Object(R"({"undeclared": 1})", schema), schema));
}

TEST_F(StoredTypesTest, BootRefusesExternalWritesOfUserValues) {
  // The configuration database's key-value table, as the database layer creates it.
  ASSERT_EQ(DBStore::CreateDatabase(DBStore::CONFIG), 0);
  ASSERT_EQ(DBStore::ExecuteV2(DBStore::GetConnection(DBStore::CONFIG),
                               "CREATE TABLE KVTable(Key PRIMARY KEY, Value, CreationTime);",
                               nullptr, nullptr, DBStore::kStatementTimeoutMs),
            0);
  SetKeyValue("IS_BOOT", "true");
  const SchemaPtr kernix = LookupSchema(kKernix);
  EXPECT_CS_ERROR(
      ValidationException, 2000, "API cannot be invoked with EXTERNAL context during boot",
      CheckObjectUserContext(Object(R"({"bootDelay": 3})", kernix, kKernix), kernix, EXTERNAL));
  EXPECT_NO_THROW(
      CheckObjectUserContext(Object(R"({"maxVcpus": 4})", kernix, kKernix), kernix, EXTERNAL));
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

  // The exception carries every error, each logged as it is raised.
  cstest::LogCapture log;
  try {
    ValidateUpdate(Nic(), Object(R"({"mtu": "x", "bogus": 1})", Nic()));
  } catch (const ValidationException& e) {
    EXPECT_EQ(Entries(e.GetErrors(), true), (Found{"/bogus", "/mtu"}));
    for (const ErrorInfo& error : e.GetErrors())
      EXPECT_TRUE(log.Contains(0, "Validation Error: '" + error.field + "' " + error.error));
  }
}

TEST(ValidateCSO, ReportsEveryFaultInTheListWithTheTypesSourceTags) {
  std::vector<ErrorInfo> errors{{"earlier", "kept"}};
  ValidateCSO(nullptr, Object("{}", Nic()), errors);
  ValidateCSO(Nic(), Object("[]", Nic()), errors);
  ValidateCSO(Schema(R"({"properties": {}})", true), Object("{}", Nic()), errors);
  ValidateCSO(Nic(), Object("{}", Nic(), ConfigStoreObjectId("probe", "types", "test", "i")),
              errors);
  EXPECT_EQ(Entries(errors),
            (Found{"earlier kept", "/ Schema object not found: /test/types/probe",
                   "/ Invalid type, Expected JSON of type object.",
                   "/ Non-Singleton object should contain instanceId: /test/types/probe",
                   "/ Singleton object cannot contain instanceId: /test/types/probe"}));

  // A type of one source passes its own members, where {0, 1, 7, 8} would
  // demand "b" and the other source's set refuse "a"; other types get {0, 1, 7, 8}.
  errors.clear();
  for (const char* mark : {"vital", "cached"}) {
    const SchemaPtr type = Schema(std::string(R"({"required": ["b"], ")") + mark +
                                  R"(": true, "properties": {"a": {}, "b": {}}})");
    ValidateCSO(type, Object(R"({"a": 1})", type), errors);
  }
  ValidateCSO(Nic(), Object(R"({"mtu": 1})", Nic()), errors);
  EXPECT_EQ(Entries(errors, true), Found{"/name"});
}

TEST_F(StoredTypesTest, DocumentsAreCheckedAgainstTheirTypes) {
  // A non-singleton type whose schema refers to its own definitions, in a
  // group whose name must be escaped in a reference.
  cstest::LoadTypes(R"({"component": "test", "group": "disk pools", "key": "disks",
      "nonSingleton": true, "schema": {"type": "object",
      "definitions": {"size": {"type": "integer", "minimum": 1}},
      "properties": {"id": {"type": "string", "instanceId": true},
                     "sizeGb": {"$ref": "#/definitions/size"}}}})");
  const auto faults = [](const std::string& text) {
    std::vector<ErrorInfo> errors;
    const bool valid = ValidateImportDocument(Json(text), nullptr, errors);
    EXPECT_EQ(valid, errors.empty());
    return Entries(errors, true);
  };
  EXPECT_EQ(
      faults(
          R"({"net": {"interfaces": {"nics": [{"name": "nic0", "macAddress": "00:11:22:33:44:55"},
                                            {"name": "nic1", "addresses": [{"address": "a"}]}]}},
                   "test": {"disk pools": {"disks": [{"id": "d0", "sizeGb": 8}]}}})"),
      Found{});
  // Unknown types and components, and values of the wrong shape.
  EXPECT_EQ(faults(R"({"net": {"dns": {"resolver": {}, "nothing": {}},
                                     "interfaces": {"nics": {"name": "nic0"}}},
                             "nope": {"g": {"k": {}}}, "orin": 5})"),
            (Found{"/net/dns/nothing", "/net/interfaces/nics", "/nope/g/k", "/orin"}));
  EXPECT_EQ(faults(R"({"net": {"interfaces": {"nics": [{"name": "nic0"}, {"name": "nic0"}]}},
                       "test": {"disk pools": {"disks": [{"id": "d0", "sizeGb": 0}]}}})"),
            (Found{"/net/interfaces/nics/1/name", "/test/disk pools/disks/0/sizeGb"}));
  EXPECT_EQ(faults("[]"), Found{"/"});
  EXPECT_EQ(faults(R"({"net": {"dns": {"resolver": {"domain": "a", "domain": "b"}}}})"),
            Found{"/net/dns/resolver/domain"});
}

// The checkers no write calls: an object by its own identifier, a document
// with the user tags, and a file applied to the host.
TEST_F(StoredTypesTest, ObjectsDocumentsAndAppliedFiles) {
  std::vector<ErrorInfo> errors;
  const auto small = Object(R"({"name": "nic1", "mtu": 100})", nic_, kNic);
  EXPECT_TRUE(validateObject(small, ACTION_EXISTS, errors, ""));
  EXPECT_FALSE(validateObject(small, ACTION_VALIDATE, errors, ""));
  EXPECT_FALSE(validateObject(Object("{}", nullptr), ACTION_EXISTS, errors, ""));
  EXPECT_EQ(Entries(errors, true), (Found{"/mtu", "test/probe"}));
  errors.clear();
  const auto document = Object(R"({"net": {"dns": {"resolver": {"domain": 5}}}})", nullptr);
  EXPECT_FALSE(ValidateDocument(document, errors));
  EXPECT_EQ(Entries(errors, true), Found{"/net/dns/resolver/domain"});
  const JDoc schema = Json(R"({"properties": {"old": {"deprecated": true}, "new": {}},
                               "required": ["new"]})");
  EXPECT_TRUE(ValidateApplyFile(Json(R"({"new": 1})"), schema));
  EXPECT_CS_ERROR(ValidationException, 1091, "Failed to validate Apply JSON file",
                  ValidateApplyFile(Json(R"({"old": 1})"), schema));
}

}  // namespace
}  // namespace OrinConfigStore
