// Schema definitions: read and stored the way types are loaded, read back
// from the schema store, then objects validated against each type with each
// of the store's tag sets.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"
#include "platform/json_validator.h"
#include "platform/schema_database.h"
#include "platform/schema_definition.h"
#include "platform/schema_store.h"
#include "platform/sqlite_db.h"
#include "validation/schema_validation.h"

namespace cfuzz {

namespace {

using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;
using OrinConfigStore::TagSet;
using OrinSchemaStore::SchemaDefinition;

constexpr std::size_t kMaxTypes = 8;
constexpr std::size_t kMaxObjects = 8;

const char* const kFixedObjects[] = {
    "{}",
    R"({"name":"nic0","network":"frontend","mtu":1500,"addresses":[{"address":"10.0.0.1"}]})",
    R"({"a":1,"b":"storage","c":[true,null,-2.5e3],"d":{"e":{}},"f":[{"g":"x"},{"g":"y"}]})",
};

const TagSet* const kTagSets[] = {
    &OrinConfigStore::kUpdateTags,    &OrinConfigStore::kFullSetTags, &OrinConfigStore::kUserTags,
    &OrinConfigStore::kPartialTags,   &OrinConfigStore::kVitalTags,   &OrinConfigStore::kCachedTags,
    &OrinConfigStore::kApplyFileTags,
};

// Empties the scratch schema store when an input is done with it, so that
// every input starts from nothing.
class StoredTypes {
 public:
  StoredTypes() = default;
  ~StoredTypes() {
    static const auto db = OrinConfigStore::SqliteDb::Open(
        OrinSchemaStore::SchemaStorePath(), OrinConfigStore::SqliteDb::Mode::kReadWrite, nullptr);
    if (db) db->Exec("DELETE FROM Schema; DELETE FROM SmartnicSchema;", nullptr);
  }
  StoredTypes(const StoredTypes&) = delete;
  StoredTypes& operator=(const StoredTypes&) = delete;
};

// The validator's report is an array of {"field": text, "error": text}.
void CheckReport(const JDoc& result, const SchemaDefinition& type) {
  bool wellFormed = result.IsArray();
  for (std::size_t i = 0; wellFormed && i < result.Size(); ++i) {
    const JVal& entry = result[static_cast<rapidjson::SizeType>(i)];
    wellFormed = entry.IsObject() && entry.HasMember("field") && entry["field"].IsString() &&
                 entry.HasMember("error") && entry["error"].IsString();
  }
  if (!wellFormed) Fail("a malformed validation report for " + type.Name());
}

void Validate(const SchemaDefinition& type, const OrinSchemaStore::SchemaObject& stored,
              const std::string& text) {
  JDoc value;
  value.Parse(text.c_str(), text.size());
  if (value.HasParseError()) return;
  for (const TagSet* tags : kTagSets) {
    JDoc result;
    OrinConfigStore::JsonValidator::Validate(stored.GetSchemaJson(), value, result, *tags, "");
    CheckReport(result, type);
  }
  // And as an object of the type, with its defaults and id map.
  Attempt([&] {
    const auto object = OrinConfigStore::CreateObject(
        OrinConfigStore::ConfigStoreObjectId(type.key, type.group, type.component), text);
    std::vector<OrinConfigStore::ErrorInfo> errors;
    OrinConfigStore::validateObject(object, OrinConfigStore::ACTION_VALIDATE_ALL, errors, "");
    object->GetData();
  });
}

}  // namespace

void SchemaDefinitions(const std::string& input) {
  EnterSchemaRoot();
  const std::vector<std::string> lines = SplitLines(input);
  if (lines.empty()) return;
  std::vector<SchemaDefinition> types;
  if (!Attempt([&] { types = OrinSchemaStore::ReadSchemaDefinitions(lines[0], "fuzz input"); })) {
    return;
  }
  std::vector<std::string> objects(std::begin(kFixedObjects), std::end(kFixedObjects));
  for (std::size_t i = 1; i < lines.size() && i <= kMaxObjects; ++i) objects.push_back(lines[i]);
  if (types.size() > kMaxTypes) types.resize(kMaxTypes);

  const StoredTypes stored;
  if (!Attempt([&] { OrinSchemaStore::StoreDefinitions(types); })) {
    Fail("definitions that were read could not be stored");
  }
  for (const SchemaDefinition& type : types) {
    const auto schema = OrinSchemaStore::SchemaStore::GetStore()->GetSchemaObject(
        type.component, type.group, type.key);
    if (!schema) Fail("a stored type is not found: " + type.Name());
    // Compared as text: a member named twice would make JSON values unequal to themselves.
    if (OrinConfigStore::SerializeJson(schema->GetSchemaJson()) !=
            OrinConfigStore::SerializeJson(*type.schema) ||
        schema->GetVersion() != type.version || schema->IsNonSingleton() != type.nonSingleton ||
        schema->IsBootExempt() != type.bootExempt) {
      Fail("a stored type reads back otherwise: " + type.Name());
    }
    for (const std::string& text : objects) Attempt([&] { Validate(type, *schema, text); });
  }
}

}  // namespace cfuzz
