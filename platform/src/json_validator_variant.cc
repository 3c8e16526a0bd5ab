#include "json_validator_variant.h"

#include <cstring>

#include "json_validator_schema.h"

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

}  // namespace

void BuildSchemaVariant(const JVal& schema, SchemaVariant variant, JDoc& out) {
  out.CopyFrom(schema, out.GetAllocator());
  VariantBuilder(out.GetAllocator()).Rewrite(out, variant);
}

}  // namespace OrinConfigStore
