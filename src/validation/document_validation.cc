// Validation of whole documents and of objects looked up by their own
// identifier: imports, the store's Validate, and files applied to the host.

#include <utility>

#include "configstore/logger.h"
#include "identity_checks.h"
#include "platform/json_validator.h"
#include "platform/schema_document.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"
#include "schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRootField = "/";
constexpr const char* kNotAnObject = "INCORRECT TYPE: expected object.";
constexpr const char* kSchemaNotFound = "Schema not found.";
constexpr const char* kLogCompletedWithErrors = "validate completed with errors";
constexpr const char* kLogCompletedSuccessfully = "validate completed successfully";
constexpr int kErrorPriority = 0;
constexpr int kNoticePriority = 2;

// The validator's report, which must be an array ("Invalid JSON" otherwise).
void RunValidator(const JVal& schema, const JVal& value, const TagSet& tags, JDoc& result) {
  JsonValidator::Validate(schema, value, result, tags, std::string());
  RAPIDJSON_ASSERT(result.IsArray());
}

bool ChecksExistenceOnly(ACTION action) {
  return action == ACTION_EXISTS || action == ACTION_EXISTS_ONLY;
}

}  // namespace

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
