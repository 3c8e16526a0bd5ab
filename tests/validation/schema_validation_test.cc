// Schema validation: the tag set and error code of each kind of write, the
// store's quiet bulk check, lookups by identifier, and whole documents
// checked against the schema generated for them.

#include "validation/schema_validation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "configstore/json_doc.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_store.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

using OrinSchemaStore::SchemaObject;

const ConfigStoreObjectId kProbe("probe", "types", "test");
const ConfigStoreObjectId kResolver("resolver", "dns", "net");

SchemaPtr Schema(const std::string& json, bool nonSingleton = false) {
  auto document = std::make_unique<JDoc>();
  document->Parse(json.c_str());
  EXPECT_FALSE(document->HasParseError()) << json;
  return std::make_shared<SchemaObject>("test", "types", "probe", "1.0", std::move(document),
                                        nonSingleton, false);
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
  JDoc schema;
  schema.Parse(R"({"required": ["a"], "properties": {"a": {}, "old": {"deprecated": true}}})");
  const auto check = [&](const char* text) {
    JDoc document;
    document.Parse(text);
    return ValidateApplyFile(document, schema);
  };
  EXPECT_TRUE(check(R"({"a": 1})"));
  const char* message = "Failed to validate Apply JSON file";
  EXPECT_CS_ERROR(ValidationException, 1091, message, check(R"({"a": 1, "old": true})"));
  EXPECT_CS_ERROR(ValidationException, 1091, message, check("{}"));
}

class StoredTypesTest : public ::testing::Test {
 protected:
  cstest::SampleSchemaRoot root_;
};

TEST_F(StoredTypesTest, ValidateObjectLooksTheTypeUp) {
  cstest::LogCapture log;
  std::vector<ErrorInfo> errors;
  EXPECT_FALSE(validateObject(Object("{}", Nic()), ACTION_VALIDATE, errors, ""));
  EXPECT_EQ(Pairs(errors), (Entries{{"test/probe", "Schema not found."}}));
  EXPECT_TRUE(log.Contains(0, "Schema object not found: comp test grp types key probe"));

  errors.clear();
  const auto bad = CreateObject(kResolver, R"({"options": {"timeout": 99}})");
  EXPECT_TRUE(validateObject(bad, ACTION_EXISTS, errors, ""));
  EXPECT_TRUE(validateObject(bad, ACTION_EXISTS_ONLY, errors, ""));
  EXPECT_TRUE(log.Contains(2, "validate completed successfully"));
  EXPECT_TRUE(errors.empty());
  EXPECT_FALSE(validateObject(bad, ACTION_VALIDATE, errors, ""));
  EXPECT_EQ(Fields(errors), std::vector<std::string>{"/options/timeout"});
  EXPECT_TRUE(log.Contains(0, "validate completed with errors"));
}

// A non-singleton, cached type whose schema refers to its own definitions,
// in a group whose name must be escaped in a reference.
constexpr const char* kDisks = R"({"component": "test", "group": "disk pools", "key": "disks",
  "version": "1.0", "nonSingleton": true, "schema": {"type": "object", "cached": true,
  "definitions": {"size": {"type": "integer", "minimum": 1}},
  "properties": {"id": {"type": "string", "instanceId": true},
                 "sizeGb": {"$ref": "#/definitions/size"}}}})";

std::vector<std::string> ImportFaults(const std::string& text) {
  JDoc document;
  document.Parse(text.c_str());
  std::vector<ErrorInfo> errors;
  const bool valid = ValidateImportDocument(document, nullptr, errors);
  EXPECT_EQ(valid, errors.empty());
  return Fields(errors);
}

std::vector<std::string> DocumentFaults(const std::string& text) {
  std::vector<ErrorInfo> errors;
  const bool valid = ValidateDocument(Object(text, Nic()), errors);
  EXPECT_EQ(valid, errors.empty());
  return Fields(errors);
}

TEST_F(StoredTypesTest, DocumentsAreCheckedAgainstTheirTypes) {
  cstest::LoadTypes(kDisks);
  using Faults = std::vector<std::string>;
  const std::pair<const char*, Faults> cases[] = {
      {R"({"net": {"dns": {"resolver": {"domain": "x"}},
                   "interfaces": {"nics": [{"name": "nic0", "macAddress": "00:11:22:33:44:55"},
                                            {"name": "nic1", "addresses": [{"address": "a"}]}]}},
           "orin": {"inventory": {"pciDevices": {"deviceCount": 1}}},
           "test": {"disk pools": {"disks": [{"id": "d0", "sizeGb": 8}]}}})",
       {}},
      {R"({"net": {"dns": {"resolver": {}, "nothing": {}}}, "nope": {"g": {"k": {}}}})",
       {"/net/dns/nothing", "/nope/g/k"}},
      {R"({"net": {"interfaces": {"nics": [{"name": "nic0"}, {"name": "nic0"}]}}})",
       {"/net/interfaces/nics/1/name"}},
      {R"({"net": {"interfaces": {"nics": {"name": "nic0"}}}, "orin": 5})",
       {"/net/interfaces/nics", "/orin"}},
      {R"({"test": {"disk pools": {"disks": [{"id": "d0", "sizeGb": 0}]}}})",
       {"/test/disk pools/disks/0/sizeGb"}},
  };
  for (const auto& [document, faults] : cases)
    EXPECT_EQ(ImportFaults(document), faults) << document;
  std::vector<ErrorInfo> errors;
  EXPECT_FALSE(ValidateImportDocument(JVal(rapidjson::kArrayType), nullptr, errors));
  EXPECT_EQ(Pairs(errors), (Entries{{"/", "INCORRECT TYPE: expected object."}}));

  // A user's document may hold no vital or cached members, at any level.
  EXPECT_EQ(DocumentFaults(R"({"net": {"interfaces": {"nics": [{"name": "nic0",
                                "macAddress": "00:11:22:33:44:55"}]}},
                               "orin": {"inventory": {"pciDevices": {"deviceCount": 1}}},
                               "test": {"disk pools": {"disks": [{"id": "d0"}]}}})"),
            (Faults{"/net/interfaces/nics/0/macAddress", "/orin/inventory/pciDevices",
                    "/test/disk pools/disks"}));
}

}  // namespace
}  // namespace OrinConfigStore
