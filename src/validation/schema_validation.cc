// Validation of objects and documents against their types' schemas: the
// tag set and error code of each kind of write, the store's bulk check,
// imports, and files applied to the host.

#include "schema_validation.h"

#include <cstdarg>
#include <utility>

#include "configstore/logger.h"
#include "errors/format.h"
#include "identity_checks.h"
#include "json/document.h"
#include "platform/json_validator.h"
#include "platform/schema_document.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"
#include "platform/schema_walk.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRootField = "/";
constexpr const char* kExpectedObject = "Expected JSON of type object.";
constexpr const char* kFieldMember = "field";
constexpr const char* kErrorMember = "error";
using OrinSchemaStore::kCachedMark;
using OrinSchemaStore::kVitalMark;
constexpr int kErrorPriority = 0;

constexpr const char* kNotAnObject = "INCORRECT TYPE: expected object.";
constexpr const char* kRepeatedMember = "member name is repeated";
constexpr const char* kSchemaNotFound = "Schema not found.";
constexpr const char* kLogCompletedWithErrors = "validate completed with errors";
constexpr const char* kLogCompletedSuccessfully = "validate completed successfully";
constexpr int kNoticePriority = 2;

void LogValidationError(const ErrorInfo& error) {
  CSLogger::LogErrCode(kErrorPriority, CS_ERR_VALIDATION, error.field.c_str(), error.error.c_str());
}

std::string StringMember(const JVal& entry, const char* name) {
  const JVal& value = RequireMember(entry, name);
  return std::string(value.GetString(), value.GetStringLength());
}

// Whether the schema's top level carries `mark` as true. The mark, when
// present, must be a boolean ("Invalid JSON" otherwise).
bool HasTypeMark(const JVal& schema, const char* mark) {
  const auto found = schema.FindMember(mark);
  return found != schema.MemberEnd() && found->value.GetBool();
}

// A type owned by one source as a whole is checked with that source's tags.
const TagSet& TagsForType(const JVal& schema) {
  if (HasTypeMark(schema, kVitalMark)) return kVitalTags;
  if (HasTypeMark(schema, kCachedMark)) return kCachedTags;
  return kFullSetTags;
}

// The per-write validators differ only in their tags and their error code.
void ValidateWrite(const SchemaPtr& schema, const std::shared_ptr<ConfigStoreObject>& object,
                   const TagSet& tags, CSErrorCodes code) {
  std::vector<ErrorInfo> errors;
  if (!ValidateObjectData(schema, object, tags, errors, false)) ThrowValidation(code, errors);
}

// The validator's report, which must be an array ("Invalid JSON" otherwise).
void RunValidator(const JVal& schema, const JVal& value, const TagSet& tags, JDoc& result) {
  JsonValidator::Validate(schema, value, result, tags, std::string());
  RAPIDJSON_ASSERT(result.IsArray());
}

bool ChecksExistenceOnly(ACTION action) {
  return action == ACTION_EXISTS || action == ACTION_EXISTS_ONLY;
}

}  // namespace

const TagSet kUpdateTags{0, 1};
const TagSet kFullSetTags{0, 1, 7, 8};
const TagSet kUserTags{0, 1, 3, 7, 8};
const TagSet kPartialTags{0, 1, 7, 3};
const TagSet kVitalTags{0, 1, 5};
const TagSet kCachedTags{0, 1, 9};
const TagSet kApplyFileTags{0, 1, 4, 8};
const TagSet kReservedUserTags{0, 1, 3, 7, 8, 12};
const TagSet kReservedTags14{0, 13, 11, 14};
const TagSet kReservedTags15{0, 13, 11, 15};
const TagSet kReservedTags16{0, 13, 11, 16};

// Reads the whole result before appending, so that a malformed entry leaves
// the caller's list as it was.
void CollectValidationErrors(const JVal& result, std::vector<ErrorInfo>& errors, bool quiet) {
  std::vector<ErrorInfo> found;
  for (const JVal& entry : result.GetArray()) {
    found.push_back(
        ErrorInfo{StringMember(entry, kFieldMember), StringMember(entry, kErrorMember)});
  }
  for (ErrorInfo& error : found) {
    if (!quiet) LogValidationError(error);
    errors.push_back(std::move(error));
  }
}

// Data that is not an object never reaches the validator: its report would
// name the schema's expectations rather than the store's. The error is
// logged like the validator's own, since throwing callers promise a log
// line for every error they raise.
bool ValidateObjectData(const SchemaPtr& schema, const std::shared_ptr<ConfigStoreObject>& object,
                        const TagSet& tags, std::vector<ErrorInfo>& errors, bool quiet) {
  const JVal& data = ObjectData(object);
  CheckSchema(ObjectIdOf(object), schema);
  if (data.IsObject()) {
    JDoc result;
    JsonValidator::Validate(schema->GetSchemaJson(), schema->GetSchemaText(), data, result, tags);
    CollectValidationErrors(result, errors, quiet);
  } else {
    AddValidationError(kRootField, CS_ERR_INVALID_TYPE, errors, kExpectedObject);
    if (!quiet) LogValidationError(errors.back());
  }
  return errors.empty();
}

void ValidateUserConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object) {
  ValidateWrite(schema, object, kUserTags, CS_ERR_VALIDATE_USER);
}

void ValidateVitalConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object) {
  ValidateWrite(schema, object, kVitalTags, CS_ERR_VALIDATE_VITAL);
}

// 1084 is registered with the text of the default configuration; the
// message "Failed to validate Default config" is what callers see.
void ValidateCachedConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object) {
  ValidateWrite(schema, object, kCachedTags, CS_ERR_VALIDATE_CACHED);
}

void ValidatePartialConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object) {
  ValidateWrite(schema, object, kPartialTags, CS_ERR_VALIDATE_PARTIAL);
}

void ValidateSet(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object) {
  ValidateWrite(schema, object, kFullSetTags, CS_ERR_VALIDATE_SET);
}

void ValidateUpdate(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object) {
  ValidateWrite(schema, object, kUpdateTags, CS_ERR_VALIDATE_UPDATE);
}

// The store's bulk check: every problem becomes an error in the list, even a
// missing schema or a misaddressed instance, so one bad object does not hide
// the others.
void ValidateCSO(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object,
                 std::vector<ErrorInfo>& errors) {
  const ConfigStoreObjectId& id = ObjectIdOf(object);
  const std::string path = "/" + id.component + "/" + id.group + "/" + id.key;
  if (!schema) {
    AddValidationError(kRootField, CS_ERR_SCHEMA_NOT_FOUND, errors, path.c_str());
    return;
  }
  const bool hasInstanceId = !id.instanceId.empty();
  if (schema->IsNonSingleton() != hasInstanceId) {
    const CSErrorCodes code =
        hasInstanceId ? CS_ERR_INSTANCE_ID_FORBIDDEN : CS_ERR_INSTANCE_ID_REQUIRED;
    AddValidationError(kRootField, code, errors, path.c_str());
    return;
  }
  ValidateObjectData(schema, object, TagsForType(schema->GetSchemaJson()), errors, true);
}

// The error's field leaves the group out (component/key), while the log
// line names the whole identifier: callers match the field as it always was.
bool validateObject(std::shared_ptr<ConfigStoreObject> object, ACTION action,
                    std::vector<ErrorInfo>& errors, std::string /*unused*/) {
  const ConfigStoreObjectId& id = ObjectIdOf(object);
  const auto schema =
      OrinSchemaStore::SchemaStore::GetStore()->GetSchemaObject(id.component, id.group, id.key);
  if (!schema) {
    CSLogger::LogErrCode(kErrorPriority, CS_ERR_SCHEMA_NOT_FOUND, id.toString().c_str());
    errors.push_back(ErrorInfo{id.component + "/" + id.key, kSchemaNotFound});
    return false;
  }
  if (!ChecksExistenceOnly(action)) {
    JDoc result;
    RunValidator(schema->GetSchemaJson(), ObjectData(object), kUserTags, result);
    if (!result.Empty()) {
      CollectValidationErrors(result, errors, false);
      CSLogger::Log(kErrorPriority, "%s", kLogCompletedWithErrors);
      return false;
    }
  }
  CSLogger::Log(kNoticePriority, "%s", kLogCompletedSuccessfully);
  return true;
}

// A null cache is served by a fresh one: the memo only has to last for this
// one document.
bool ValidateDocumentWithCache(const JVal& document, const TagSet& tags,
                               std::shared_ptr<OrinSchemaStore::SchemaObjectCache> cache,
                               std::vector<ErrorInfo>& errors) {
  if (!document.IsObject()) {
    errors.push_back(ErrorInfo{kRootField, kNotAnObject});
    return false;
  }
  // A repeated member would show the validator one value and the writes
  // another.
  std::string repeated;
  if (FindRepeatedMember(document, &repeated)) {
    errors.push_back(ErrorInfo{repeated, kRepeatedMember});
    return false;
  }
  if (!cache) cache = OrinSchemaStore::SchemaStore::GetCache();
  JDoc schema;
  JDoc scratch;
  OrinSchemaStore::GenerateSchemaDocument(document, cache, schema, scratch);
  JDoc result;
  RunValidator(schema, document, tags, result);
  CollectValidationErrors(result, errors, false);
  return errors.empty();
}

bool ValidateImportDocument(const JVal& document,
                            std::shared_ptr<OrinSchemaStore::SchemaObjectCache> cache,
                            std::vector<ErrorInfo>& errors) {
  return ValidateDocumentWithCache(document, kFullSetTags, std::move(cache), errors);
}

bool ValidateDocument(std::shared_ptr<ConfigStoreObject> object, std::vector<ErrorInfo>& errors) {
  return ValidateDocumentWithCache(ObjectData(object), kUserTags,
                                   OrinSchemaStore::SchemaStore::GetCache(), errors);
}

bool ValidateApplyFile(const JVal& document, const JVal& schema) {
  JDoc result;
  RunValidator(schema, document, kApplyFileTags, result);
  if (result.Empty()) return true;
  std::vector<ErrorInfo> errors;
  CollectValidationErrors(result, errors, false);
  ThrowValidation(CS_ERR_VALIDATE_APPLY_FILE, errors);
}

}  // namespace OrinConfigStore
