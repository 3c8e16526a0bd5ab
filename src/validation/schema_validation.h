#ifndef SRC_VALIDATION_SCHEMA_VALIDATION_H_
#define SRC_VALIDATION_SCHEMA_VALIDATION_H_

// Validation of objects and documents against their schemas, one tag set
// per kind of write. Throwing validators log every error and raise
// ValidationException with the write's code and the whole list. A null
// schema given to them raises ConfigStoreException 1037 with the object's
// identifier; a null object raises InvalidArgumentException 1100. A null
// schema cache is served by a fresh one for the call.

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/exceptions.h"
#include "configstore/json.h"
#include "errors/format.h"

namespace OrinSchemaStore {
class SchemaObject;
class SchemaObjectCache;
}  // namespace OrinSchemaStore

namespace OrinConfigStore {

using SchemaPtr = std::shared_ptr<OrinSchemaStore::SchemaObject>;

// The validator's tag sets, one per kind of write.
using TagSet = std::unordered_set<int>;

// Built once at load and never changed, so that concurrent validations read
// them without a lock. What each tag checks is the validator's business.
extern const TagSet kUpdateTags;     // {0, 1}
extern const TagSet kFullSetTags;    // {0, 1, 7, 8}: Set, imports, neither vital nor cached
extern const TagSet kUserTags;       // {0, 1, 3, 7, 8}: user writes and user documents
extern const TagSet kPartialTags;    // {0, 1, 3, 7}
extern const TagSet kVitalTags;      // {0, 1, 5}
extern const TagSet kCachedTags;     // {0, 1, 9}
extern const TagSet kApplyFileTags;  // {0, 1, 4, 8}
// Sets for tags that the validator accepts but gives no meaning to yet
// (11 to 16); built beside the others, passed by no write of this library.
extern const TagSet kReservedUserTags;  // {0, 1, 3, 7, 8, 12}
extern const TagSet kReservedTags14;    // {0, 13, 11, 14}
extern const TagSet kReservedTags15;    // {0, 13, 11, 15}
extern const TagSet kReservedTags16;    // {0, 13, 11, 16}

// What validateObject checks: 0 and 3 only that the schema exists; any other
// value a full validation.
enum ACTION : int {
  ACTION_EXISTS = 0,
  ACTION_VALIDATE = 1,
  ACTION_VALIDATE_ALL = 2,
  ACTION_EXISTS_ONLY = 3,
};

void ValidateUserConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object);
void ValidateVitalConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object);
void ValidateCachedConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object);
void ValidatePartialConfig(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object);
void ValidateSet(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object);
void ValidateUpdate(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object);
bool ValidateApplyFile(const JVal& document, const JVal& schema);
void ValidateCSO(SchemaPtr schema, std::shared_ptr<ConfigStoreObject> object,
                 std::vector<ErrorInfo>& errors);
bool validateObject(std::shared_ptr<ConfigStoreObject> object, ACTION action,
                    std::vector<ErrorInfo>& errors, std::string unused);
bool ValidateDocument(std::shared_ptr<ConfigStoreObject> object, std::vector<ErrorInfo>& errors);
bool ValidateImportDocument(const JVal& document,
                            std::shared_ptr<OrinSchemaStore::SchemaObjectCache> cache,
                            std::vector<ErrorInfo>& errors);

// The building blocks.
bool ValidateObjectData(const SchemaPtr& schema, const std::shared_ptr<ConfigStoreObject>& object,
                        const std::unordered_set<int>& tags, std::vector<ErrorInfo>& errors,
                        bool quiet);
bool ValidateDocumentWithCache(const JVal& document, const std::unordered_set<int>& tags,
                               std::shared_ptr<OrinSchemaStore::SchemaObjectCache> cache,
                               std::vector<ErrorInfo>& errors);
void CollectValidationErrors(const JVal& result, std::vector<ErrorInfo>& errors, bool quiet);

// Appends the error `code` for `field`, its message template filled with
// `args`. A template rather than C varargs: va_start after a reference
// parameter is undefined.
template <typename... Args>
void AddValidationError(const std::string& field, CSErrorCodes code, std::vector<ErrorInfo>& errors,
                        Args... args) {
  errors.push_back(ErrorInfo{field, Str_Format(GetErrorTemplate(code), args...)});
}

}  // namespace OrinConfigStore

#endif  // SRC_VALIDATION_SCHEMA_VALIDATION_H_
