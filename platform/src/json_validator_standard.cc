// The standard keywords: the variant of a schema that the tags select,
// compiled by valijson and cached, and valijson's findings as this layer
// reports them.

#include <cstddef>
#include <cstring>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "configstore/json.h"
#include "configstore/logger.h"
#include "json/document.h"
#include "json_validator_internal.h"
#include "schema_reading.h"

// valijson's rapidjson adapter, seen with this project's rapidjson settings.
// Built with exceptions, the adapter installs its own RAPIDJSON_ASSERT and
// warns when one is defined already. rapidjson is configured before this
// point, and the adapter's own code never asserts, so the project's hook is
// hidden while the adapter is read and restored right after: every rapidjson
// assertion still raises "Invalid JSON".
#pragma push_macro("RAPIDJSON_ASSERT")
#undef RAPIDJSON_ASSERT
#include <valijson/adapters/rapidjson_adapter.hpp>
#pragma pop_macro("RAPIDJSON_ASSERT")
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

namespace OrinConfigStore {

namespace {

// What a kRequiredOnly node keeps besides `required`: the ways to reach one.
constexpr const char* kRequiredPaths[] = {
    "$id",   "id",          "$schema",     "required", "properties", "patternProperties",
    "items", "allOf",       "anyOf",       "oneOf",    "if",         "then",
    "else",  "definitions", "dependencies"};
// Kept only when they hold a schema: `false` there refuses members or items,
// which is no business of `required`. For the same reason the lists of
// "dependencies" go, and only its schemas stay.
constexpr const char* kSchemaOnlyPaths[] = {"additionalProperties", "additionalItems"};

// A host has a few hundred object types at most; the bound only stops a
// stream of one-off schemas from growing the cache without end.
constexpr std::size_t kMaxCachedSchemas = 1024;
constexpr const char* kLogBadSchema = "JSON schema does not compile: %s";

// valijson's validator keeps each regular expression of "pattern" and
// "patternProperties" it has built, keyed by its text, and building one
// costs ten times a whole validation. Each thread keeps one validator, and
// renews it now and then so that the expressions of schemas no longer in use
// do not pile up.
constexpr unsigned kValidatorUses = 10000;

constexpr const char* kGenericError = "value does not match the schema";
constexpr const char* kMissingRequired = "required member is missing";

bool Listed(const char* name, const char* const* begin, const char* const* end) {
  for (const char* const* it = begin; it != end; ++it) {
    if (std::strcmp(name, *it) == 0) return true;
  }
  return false;
}

// "if" and "not" keep their whole schema in every variant.
SchemaVariant VariantBelow(const char* keyword, SchemaVariant variant) {
  const bool selector = std::strcmp(keyword, "if") == 0 || std::strcmp(keyword, "not") == 0;
  return selector ? SchemaVariant::kAll : variant;
}

class VariantBuilder {
 public:
  explicit VariantBuilder(JAllocator& allocator) : allocator_(allocator) {}

  void Rewrite(JVal& node, SchemaVariant variant) {
    if (!node.IsObject() || SchemaMember(node, "$ref") != nullptr) return;
    if (variant == SchemaVariant::kWithoutRequired) node.RemoveMember("required");
    if (variant == SchemaVariant::kRequiredOnly) KeepRequiredPaths(node);
    ForEachSubschema(node, [&](const char* keyword, JVal& sub) {
      Rewrite(sub, VariantBelow(keyword, variant));
    });
    if (variant != SchemaVariant::kAll) OneOfAsAnyOf(node);
    GuardFormat(node);
  }

 private:
  void KeepRequiredPaths(JVal& node) {
    for (auto it = node.MemberBegin(); it != node.MemberEnd();) {
      const char* name = it->name.GetString();
      const bool keep = Listed(name, std::begin(kRequiredPaths), std::end(kRequiredPaths)) ||
                        (Listed(name, std::begin(kSchemaOnlyPaths), std::end(kSchemaOnlyPaths)) &&
                         it->value.IsObject());
      it = keep ? it + 1 : node.EraseMember(it);
    }
    JVal* dependencies = SchemaMember(node, "dependencies");
    if (dependencies == nullptr || !dependencies->IsObject()) {
      node.RemoveMember("dependencies");
      return;
    }
    for (auto it = dependencies->MemberBegin(); it != dependencies->MemberEnd();) {
      it = it->value.IsArray() ? dependencies->EraseMember(it) : it + 1;
    }
  }

  void OneOfAsAnyOf(JVal& node) {
    const auto oneOf = node.FindMember("oneOf");
    if (oneOf == node.MemberEnd() || !CanExtendAllOf(node)) return;
    JVal anyOf(rapidjson::kObjectType);
    anyOf.AddMember("anyOf", oneOf->value, allocator_);
    node.RemoveMember(oneOf);
    AppendToAllOf(node, anyOf);
  }

  void GuardFormat(JVal& node) {
    const auto format = node.FindMember("format");
    if (format == node.MemberEnd() || !CanExtendAllOf(node)) return;
    JVal then(rapidjson::kObjectType);
    then.AddMember("format", format->value, allocator_);
    node.RemoveMember(format);
    JVal strings(rapidjson::kObjectType);
    strings.AddMember("type", "string", allocator_);
    JVal guard(rapidjson::kObjectType);
    guard.AddMember("if", strings, allocator_);
    guard.AddMember("then", then, allocator_);
    AppendToAllOf(node, guard);
  }

  // A malformed "allOf" is left for valijson to refuse.
  static bool CanExtendAllOf(const JVal& node) {
    const JVal* allOf = SchemaMember(node, "allOf");
    return allOf == nullptr || allOf->IsArray();
  }

  void AppendToAllOf(JVal& node, JVal& schema) {
    JVal* allOf = SchemaMember(node, "allOf");
    if (allOf == nullptr) {
      node.AddMember("allOf", JVal(rapidjson::kArrayType), allocator_);
      allOf = SchemaMember(node, "allOf");
    }
    allOf->PushBack(schema, allocator_);
  }

  JAllocator& allocator_;
};

std::shared_ptr<const CompiledSchema> Compile(const JVal& schema, SchemaVariant variant) {
  auto compiled = std::make_shared<CompiledSchema>();
  try {
    if (CheckSchemaRefs(schema, &compiled->error) &&
        CheckSchemaPatterns(schema, &compiled->error)) {
      JDoc prepared;
      BuildSchemaVariant(schema, variant, prepared);
      valijson::SchemaParser parser(valijson::SchemaParser::kDraft7);
      parser.populateSchema(valijson::adapters::RapidJsonAdapter(prepared), compiled->schema);
    }
  } catch (const std::exception& e) {
    compiled->error = e.what();
  }
  if (!compiled->error.empty()) CSLogger::Log(1, kLogBadSchema, compiled->error.c_str());
  return compiled;
}

// Least recently used schemas leave first, with all their variants.
class SchemaCache {
 public:
  std::shared_ptr<const CompiledSchema> Find(const std::string& text, SchemaVariant variant) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = index_.find(text);
    if (found == index_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->variants[Slot(variant)];
  }

  // Returns the variant already cached if another thread compiled it
  // meanwhile, else `compiled`.
  std::shared_ptr<const CompiledSchema> Insert(const std::string& text, SchemaVariant variant,
                                               std::shared_ptr<const CompiledSchema> compiled) {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto found = index_.find(text);
    if (found == index_.end()) {
      entries_.push_front(Entry{text, {}});
      found = index_.emplace(entries_.front().text, entries_.begin()).first;
      if (entries_.size() > kMaxCachedSchemas) {
        index_.erase(entries_.back().text);
        entries_.pop_back();
      }
    }
    auto& slot = found->second->variants[Slot(variant)];
    if (slot == nullptr) slot = std::move(compiled);
    return slot;
  }

 private:
  struct Entry {
    std::string text;
    std::shared_ptr<const CompiledSchema> variants[kSchemaVariants];
  };

  static std::size_t Slot(SchemaVariant variant) { return static_cast<std::size_t>(variant); }

  std::mutex mutex_;
  std::list<Entry> entries_;
  // Keys view the texts held by `entries_`.
  std::unordered_map<std::string_view, std::list<Entry>::iterator> index_;
};

SchemaCache& Cache() {
  static SchemaCache cache;
  return cache;
}

// A valijson message: the text around the variable part, and whether that
// part names the child (member or index) the message is about.
struct MessageShape {
  const char* prefix;
  const char* suffix;
  bool namesChild;
};

// Messages about one member, reworded and reported at that member.
struct MemberMessage {
  MessageShape shape;
  const char* error;
};

constexpr MemberMessage kMemberMessages[] = {
    {{"Missing required property '", "'.", true}, kMissingRequired},
    {{"Object contains a property that could not be validated using 'properties' or "
      "'additionalProperties' constraints: '",
      "'.", true},
     kMemberNotAllowed},
};

// Messages that only say that something below failed.
constexpr MessageShape kWrappers[] = {
    {"Failed to validate against schema associated with property name '", "'.", true},
    {"Failed to validate item #", " in array.", true},
    {"Failed to validate item #", " against additional items schema.", true},
    // Reported at the item itself already.
    {"Failed to validate item #", " against corresponding item schema.", false},
    {"Failed to validate against additional properties schema", "", false},
    {"Failed to validate against schema associated with pattern '", "'.", false},
    {"Failed to validate against child schema #", ".", false},
    {"Failed to validate against a conditional schema set by if-then-else constraints.", "", false},
    {"Failed to validate against dependent schema.", "", false},
};

// Whether `text` has the shape; `field` then becomes the pointer the message
// is about.
bool Matches(const std::string& text, const MessageShape& shape, std::string* field) {
  const std::size_t prefix = std::strlen(shape.prefix);
  const std::size_t suffix = std::strlen(shape.suffix);
  if (text.size() < prefix + suffix || text.compare(0, prefix, shape.prefix) != 0 ||
      text.compare(text.size() - suffix, suffix, shape.suffix) != 0) {
    return false;
  }
  if (shape.namesChild) {
    *field = ChildPointer(*field, text.substr(prefix, text.size() - prefix - suffix));
  }
  return true;
}

// valijson's context is "<root>" followed by "[member]" or "[index]".
std::string ContextPointer(const std::vector<std::string>& context) {
  std::string pointer;
  for (std::size_t i = 1; i < context.size(); ++i) {
    const std::string& step = context[i];
    pointer = ChildPointer(pointer, step.size() >= 2 ? step.substr(1, step.size() - 2) : step);
  }
  return pointer;
}

ValidatorError Reworded(const valijson::ValidationResults::Error& raw) {
  ValidatorError entry{ContextPointer(raw.context), raw.description};
  for (const MemberMessage& message : kMemberMessages) {
    if (Matches(raw.description, message.shape, &entry.field)) {
      entry.error = message.error;
      break;
    }
  }
  if (entry.error.empty()) entry.error = kGenericError;
  return entry;
}

valijson::Validator& ThreadValidator() {
  thread_local std::unique_ptr<valijson::Validator> validator;
  thread_local unsigned uses = 0;
  if (validator == nullptr || ++uses > kValidatorUses) {
    validator = std::make_unique<valijson::Validator>();
    uses = 0;
  }
  return *validator;
}

bool Explained(const ValidatorErrors& errors, const std::string& field) {
  for (const ValidatorError& entry : errors) {
    if (PointerWithin(entry.field, field)) return true;
  }
  return false;
}

}  // namespace

void BuildSchemaVariant(const JVal& schema, SchemaVariant variant, JDoc& out) {
  out.CopyFrom(schema, out.GetAllocator());
  VariantBuilder(out.GetAllocator()).Rewrite(out, variant);
}

std::shared_ptr<const CompiledSchema> CompiledSchemaFor(const JVal& schema, const std::string& text,
                                                        SchemaVariant variant) {
  if (auto cached = Cache().Find(text, variant)) return cached;
  // Compiled outside the lock: a slow parse must not stall other schemas.
  return Cache().Insert(text, variant, Compile(schema, variant));
}

ValidatorErrors StandardErrors(const valijson::Schema& schema, const JVal& value) {
  valijson::ValidationResults results;
  const bool valid =
      ThreadValidator().validate(schema, valijson::adapters::RapidJsonAdapter(value), &results);
  ValidatorErrors errors;
  std::vector<std::string> wrapped;
  for (const valijson::ValidationResults::Error& raw : results) {
    std::string field = ContextPointer(raw.context);
    bool wrapper = false;
    for (const MessageShape& shape : kWrappers) {
      if ((wrapper = Matches(raw.description, shape, &field))) break;
    }
    if (wrapper) {
      wrapped.push_back(field);
    } else {
      errors.push_back(Reworded(raw));
    }
  }
  for (const std::string& field : wrapped) {
    if (!Explained(errors, field)) errors.push_back({field, kGenericError});
  }
  if (!valid && errors.empty()) errors.push_back({std::string(), kGenericError});
  return errors;
}

}  // namespace OrinConfigStore
