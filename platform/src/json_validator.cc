// Validation against a schema with tags: running the checks the tags
// select, and writing their problems as the report callers get.

#include "platform/json_validator.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <set>
#include <utility>

#include "errors/format.h"
#include "json/document.h"
#include "json_validator_internal.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRootField = "/";

constexpr const char* kSchemaUnusable = "schema cannot be used: %s";
constexpr const char* kValidationFailed = "validation could not run: %s";
constexpr const char* kUnknownFailure = "unknown failure";
constexpr const char* kNotUtf8 = "text is not valid UTF-8";

std::size_t PointerDepth(const std::string& pointer) {
  return static_cast<std::size_t>(std::count(pointer.begin(), pointer.end(), '/'));
}

JVal ReportEntry(const ValidatorError& entry, JAllocator& allocator) {
  const std::string& field = entry.field.empty() ? std::string(kRootField) : entry.field;
  JVal object(rapidjson::kObjectType);
  object.AddMember("field", JVal(field, allocator), allocator);
  object.AddMember("error", JVal(entry.error, allocator), allocator);
  return object;
}

bool HasTag(const std::unordered_set<int>& tags, int tag) { return tags.count(tag) != 0; }

TagChecks ChecksFor(const std::unordered_set<int>& tags) {
  TagChecks checks;
  checks.strictMembers = HasTag(tags, 1);
  checks.userOnly = HasTag(tags, 3);
  checks.noDeprecated = HasTag(tags, 4);
  checks.vitalOnly = HasTag(tags, 5);
  checks.instanceKeys = HasTag(tags, 7);
  checks.cachedOnly = HasTag(tags, 9);
  return checks;
}

ValidatorErrors Unusable(const std::string& reason) {
  return {ValidatorError{std::string(), Str_Format(kSchemaUnusable, reason.c_str())}};
}

// The full schema is compiled whatever the tags, so that a broken schema is
// reported even when the reduced variant that the tags pick would hide the
// fault, and before the tag walk relies on its references.
ValidatorErrors CollectErrors(const JVal& schema, const std::string& text, const JVal& value,
                              const std::unordered_set<int>& tags) {
  // Text that is not UTF-8 never reaches valijson, whose string length
  // checks read past their tables on it. Parsing refuses such text, but a
  // setter can still put any bytes in a member.
  std::string notUtf8;
  if (!IsValidUtf8Text(value, &notUtf8)) return {ValidatorError{notUtf8, kNotUtf8}};
  const auto full = CompiledSchemaFor(schema, text, SchemaVariant::kAll);
  if (!full->error.empty()) return Unusable(full->error);
  ValidatorErrors errors;
  const bool standard = HasTag(tags, 0);
  const bool required = HasTag(tags, 8);
  if (standard || required) {
    const SchemaVariant variant = !required   ? SchemaVariant::kWithoutRequired
                                  : !standard ? SchemaVariant::kRequiredOnly
                                              : SchemaVariant::kAll;
    const auto compiled =
        variant == SchemaVariant::kAll ? full : CompiledSchemaFor(schema, text, variant);
    if (!compiled->error.empty()) return Unusable(compiled->error);
    errors = StandardErrors(compiled->schema, value);
  }
  CheckTags(schema, value, ChecksFor(tags), errors);
  return errors;
}

// The errors `collect` finds, or one error at the root saying why it could
// not run: a validation never throws.
template <typename Collect>
ValidatorErrors Guarded(const Collect& collect) {
  try {
    return collect();
  } catch (const std::exception& e) {
    return {ValidatorError{std::string(), Str_Format(kValidationFailed, e.what())}};
  } catch (...) {
    return {ValidatorError{std::string(), Str_Format(kValidationFailed, kUnknownFailure)}};
  }
}

}  // namespace

bool PointerWithin(const std::string& pointer, const std::string& ancestor) {
  return pointer.compare(0, ancestor.size(), ancestor) == 0 &&
         (pointer.size() == ancestor.size() || pointer[ancestor.size()] == '/');
}

void WriteReport(ValidatorErrors errors, JDoc& result) {
  std::stable_sort(errors.begin(), errors.end(),
                   [](const ValidatorError& a, const ValidatorError& b) {
                     return PointerDepth(a.field) > PointerDepth(b.field);
                   });
  result.SetArray();
  std::set<std::pair<std::string, std::string>> seen;
  for (const ValidatorError& entry : errors) {
    if (!seen.emplace(entry.field, entry.error).second) continue;
    result.PushBack(ReportEntry(entry, result.GetAllocator()), result.GetAllocator());
  }
}

void JsonValidator::Validate(const JVal& schema, const JVal& value, JDoc& result,
                             const std::unordered_set<int>& tags, const std::string& context) {
  static_cast<void>(context);
  WriteReport(Guarded([&] {
                std::string text;
                ConfigStoreDocument::SerializeValue(schema, text);
                return CollectErrors(schema, text, value, tags);
              }),
              result);
}

void JsonValidator::Validate(const JVal& schema, const std::string& schemaText, const JVal& value,
                             JDoc& result, const std::unordered_set<int>& tags) {
  WriteReport(Guarded([&] { return CollectErrors(schema, schemaText, value, tags); }), result);
}

bool JsonValidator::CheckSchema(const JVal& schema, std::string* error) {
  std::string reason;
  try {
    std::string text;
    ConfigStoreDocument::SerializeValue(schema, text);
    reason = CompiledSchemaFor(schema, text, SchemaVariant::kAll)->error;
  } catch (const std::exception& e) {
    reason = e.what();
  } catch (...) {
    reason = kUnknownFailure;
  }
  if (!reason.empty() && error != nullptr) *error = reason;
  return reason.empty();
}

}  // namespace OrinConfigStore
