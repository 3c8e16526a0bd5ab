#include "platform/schema_definition.h"

#include <set>
#include <unordered_set>

#include "configstore/exceptions.h"
#include "json/document.h"
#include "platform/json_validator.h"
#include "platform/schema_walk.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ConfigStoreDocument;
using OrinConfigStore::InvalidArgumentException;
using OrinConfigStore::JsonValidator;
using OrinConfigStore::JVal;

constexpr const char* kErrorPrefix = "Invalid schema definition in ";
constexpr const char* kNotJson = "not valid JSON";
constexpr std::size_t kReportedValidationErrors = 3;
// Defaults hold members of every source, so they are checked as a full set.
const std::unordered_set<int> kDefaultConfigTags{0, 1, 7, 8};

// Raises the loader's error; `where` names the definition when known.
class DefinitionError {
 public:
  explicit DefinitionError(std::string source) : source_(std::move(source)) {}
  void At(std::size_t index, const std::string& name) {
    where_ = "definition " + std::to_string(index + 1) + (name.empty() ? "" : " (" + name + ")");
  }
  [[noreturn]] void Fail(const std::string& problem) const {
    std::string message = kErrorPrefix + source_ + ": ";
    if (!where_.empty()) message += where_ + ": ";
    throw InvalidArgumentException(message + problem);
  }

 private:
  std::string source_;
  std::string where_;
};

std::string Quoted(const char* name) { return std::string("\"") + name + "\""; }

const JVal* Member(const JVal& object, const char* name) {
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string RequireName(const JVal& definition, const char* field, const DefinitionError& error) {
  const JVal* value = Member(definition, field);
  if (value == nullptr || !value->IsString()) error.Fail(Quoted(field) + " is missing or not text");
  const std::string name(value->GetString(), value->GetStringLength());
  if (name.empty()) error.Fail(Quoted(field) + " is empty");
  if (name.find_first_of("'\"") != std::string::npos) {
    error.Fail(Quoted(field) + " contains a quote");
  }
  return name;
}

bool OptionalFlag(const JVal& object, const char* field, const DefinitionError& error) {
  const JVal* value = Member(object, field);
  if (value == nullptr) return false;
  if (!value->IsBool()) error.Fail(Quoted(field) + " is not a boolean");
  return value->GetBool();
}

std::unique_ptr<JDoc> CopyOf(const JVal& value) {
  auto document = std::make_unique<JDoc>();
  document->CopyFrom(value, document->GetAllocator());
  return document;
}

void CheckInstanceMarks(const JVal& schema, const DefinitionError& error) {
  WalkProperties(schema, [&](const std::string& pointer, const std::string&, const JVal& property) {
    const JVal* mark = SchemaAnnotation(schema, property, kInstanceIdMark);
    if (mark == nullptr || mark->IsTrue()) return;
    if (!mark->IsString()) {
      error.Fail("property " + pointer + " has an \"instanceId\" mark that is neither true nor " +
                 "a member name");
    }
    const JVal* items = SchemaAnnotation(schema, property, kItemsKeyword);
    const JVal* itemProperties = items != nullptr ? PropertiesOf(schema, *items) : nullptr;
    if (itemProperties == nullptr || !itemProperties->HasMember(mark->GetString())) {
      error.Fail("property " + pointer + " names the instance member \"" + mark->GetString() +
                 "\" that its items do not declare");
    }
  });
}

std::size_t CountTopLevelInstanceIds(const JVal& schema) {
  const JVal* properties = PropertiesOf(schema, schema);
  std::size_t count = 0;
  if (properties == nullptr) return count;
  for (const auto& member : properties->GetObject()) {
    count += IsInstanceIdMember(schema, member.value);
  }
  return count;
}

void CheckSchema(const SchemaDefinition& definition, const DefinitionError& error) {
  const JVal& schema = *definition.schema;
  const JVal* type = Member(schema, "type");
  if (type != nullptr && !(type->IsString() && std::string(type->GetString()) == "object")) {
    error.Fail("\"schema\" must describe a JSON object");
  }
  std::string reason;
  if (!JsonValidator::CheckSchema(schema, &reason)) {
    error.Fail("\"schema\" does not compile: " + reason);
  }
  OptionalFlag(schema, "vital", error);
  OptionalFlag(schema, "cached", error);
  CheckInstanceMarks(schema, error);
  const std::size_t instanceIds = CountTopLevelInstanceIds(schema);
  if (definition.nonSingleton && instanceIds != 1) {
    error.Fail(
        "a non-singleton type needs exactly one top-level property marked "
        "\"instanceId\": true, found " +
        std::to_string(instanceIds));
  }
}

void CheckDefaultAgainstSchema(const JVal& object, const JVal& schema, const std::string& label,
                               const DefinitionError& error) {
  JDoc result;
  JsonValidator::Validate(schema, object, result, kDefaultConfigTags, "");
  if (result.Empty()) return;
  std::string problems;
  for (rapidjson::SizeType i = 0; i < result.Size() && i < kReportedValidationErrors; ++i) {
    if (!problems.empty()) problems += "; ";
    problems += std::string(result[i]["field"].GetString()) + " " + result[i]["error"].GetString();
  }
  error.Fail(label + " does not fit the schema: " + problems);
}

void CheckDefaultConfig(const SchemaDefinition& definition, const DefinitionError& error) {
  const JVal& defaults = *definition.defaultConfig;
  const JVal& schema = *definition.schema;
  if (!definition.nonSingleton) {
    if (!defaults.IsObject()) error.Fail("\"defaultConfig\" of a singleton type must be an object");
    CheckDefaultAgainstSchema(defaults, schema, "\"defaultConfig\"", error);
    return;
  }
  if (!defaults.IsArray()) {
    error.Fail("\"defaultConfig\" of a non-singleton type must be an array of instances");
  }
  const std::string idMember = TopLevelInstanceIdMember(schema);
  std::set<std::string> seen;
  for (rapidjson::SizeType i = 0; i < defaults.Size(); ++i) {
    const std::string label = "\"defaultConfig\" instance " + std::to_string(i + 1);
    const JVal& instance = defaults[i];
    if (!instance.IsObject()) error.Fail(label + " is not an object");
    const JVal* id = Member(instance, idMember.c_str());
    if (id == nullptr || !id->IsString() || id->GetStringLength() == 0) {
      error.Fail(label + " lacks its instance id \"" + idMember + "\"");
    }
    if (!seen.insert(id->GetString()).second) {
      error.Fail(label + " repeats the instance id \"" + id->GetString() + "\"");
    }
    CheckDefaultAgainstSchema(instance, schema, label, error);
  }
}

SchemaDefinition ReadDefinition(const JVal& object, DefinitionError& error, std::size_t index) {
  error.At(index, "");
  if (!object.IsObject()) error.Fail("not a JSON object");
  SchemaDefinition definition;
  definition.component = RequireName(object, "component", error);
  definition.group = RequireName(object, "group", error);
  definition.key = RequireName(object, "key", error);
  error.At(index, definition.Name());
  if (const JVal* version = Member(object, "version")) {
    if (!version->IsString()) error.Fail("\"version\" is not text");
    definition.version = version->GetString();
  }
  definition.nonSingleton = OptionalFlag(object, "nonSingleton", error);
  definition.bootExempt = OptionalFlag(object, "bootExempt", error);
  definition.smartnicShared = OptionalFlag(object, "smartnicShared", error);
  const JVal* schema = Member(object, "schema");
  if (schema == nullptr || !schema->IsObject())
    error.Fail("\"schema\" is missing or not an object");
  definition.schema = CopyOf(*schema);
  CheckSchema(definition, error);
  if (const JVal* defaults = Member(object, "defaultConfig")) {
    definition.defaultConfig = CopyOf(*defaults);
    CheckDefaultConfig(definition, error);
  }
  if (const JVal* migrations = Member(object, "migrations")) {
    std::string problem;
    definition.migrations = ReadMigrations(*migrations, problem);
    if (!problem.empty()) error.Fail(problem);
    for (const Migration& migration : definition.migrations) {
      if (migration.from == definition.version)
        error.Fail("a migration from the type's own version");
    }
  }
  return definition;
}

}  // namespace

std::vector<SchemaDefinition> ReadSchemaDefinitions(const std::string& text,
                                                    const std::string& source) {
  DefinitionError error(source);
  JDoc document;
  std::string problem;
  if (!ConfigStoreDocument::Parse(document, text.data(), text.size(), &problem)) {
    error.Fail(problem.empty() ? kNotJson : problem);
  }
  if (!document.IsObject() && !document.IsArray()) {
    error.Fail("expected a definition object or an array of them");
  }
  std::vector<SchemaDefinition> definitions;
  std::set<std::string> names;
  const auto read = [&](const JVal& object) {
    definitions.push_back(ReadDefinition(object, error, definitions.size()));
    if (!names.insert(definitions.back().Name()).second) error.Fail("the type is defined twice");
  };
  if (document.IsObject()) {
    read(document);
  } else {
    for (const JVal& object : document.GetArray()) read(object);
  }
  return definitions;
}

}  // namespace OrinSchemaStore
