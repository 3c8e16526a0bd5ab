#ifndef PLATFORM_SRC_SCHEMA_READING_H_
#define PLATFORM_SRC_SCHEMA_READING_H_

// Reading a draft-07 schema document: where its subschemas sit, and what
// its local "$ref"s point to.

#include <cstring>
#include <string>

#include "configstore/json.h"

namespace OrinConfigStore {

// The member `key` of `node` when `node` is an object that has it.
template <typename V>
V* SchemaMember(V& node, const char* key) {
  if (!node.IsObject()) return nullptr;
  const auto found = node.FindMember(key);
  return found == node.MemberEnd() ? nullptr : &found->value;
}

// Calls `visit(keyword, subschema)` for every direct subschema of the schema
// object `node`: the values of the keywords that take one schema, each
// schema of the keywords that take a list or a map of them, and "items" in
// both forms. Values of other keywords ("enum", "const", "default", unknown
// keywords, and the member names inside "properties") are data, never
// schemas. A "$ref" replaces its siblings, so a node holding one has none.
// `refSiblings` visits the subschemas beside a "$ref" too, for walks that
// must reach every part of the document (rewriting references, say).
template <typename V, typename F>
void ForEachSubschema(V& node, F&& visit, bool refSiblings = false) {
  static constexpr const char* kSingle[] = {"additionalItems",
                                            "additionalProperties",
                                            "contains",
                                            "propertyNames",
                                            "not",
                                            "if",
                                            "then",
                                            "else",
                                            "items"};
  static constexpr const char* kMaps[] = {"properties", "patternProperties", "definitions",
                                          "dependencies"};
  static constexpr const char* kLists[] = {"allOf", "anyOf", "oneOf", "items"};
  if (!node.IsObject() || (!refSiblings && SchemaMember(node, "$ref") != nullptr)) return;
  for (auto& member : node.GetObject()) {
    const char* keyword = member.name.GetString();
    V& value = member.value;
    for (const char* single : kSingle) {
      if (std::strcmp(keyword, single) == 0 && (value.IsObject() || value.IsBool())) {
        visit(keyword, value);
      }
    }
    for (const char* map : kMaps) {
      if (std::strcmp(keyword, map) != 0 || !value.IsObject()) continue;
      for (auto& entry : value.GetObject()) {
        if (entry.value.IsObject() || entry.value.IsBool()) visit(keyword, entry.value);
      }
    }
    for (const char* list : kLists) {
      if (std::strcmp(keyword, list) != 0 || !value.IsArray()) continue;
      for (auto& element : value.GetArray()) visit(keyword, element);
    }
  }
}

// The node that the "$ref" text `ref` names within `root`, or null when it
// names none. Only references inside the document ("#...") resolve.
const JVal* ResolveSchemaRef(const JVal& root, const JVal& ref);

// `node`, or the node at the end of its chain of "$ref"s. The chain must be
// free of cycles (CheckSchemaRefs); an unresolvable link gives null.
const JVal* FollowSchemaRefs(const JVal& root, const JVal* node);

// Whether every "$ref" in `root` resolves inside it and no reference leads
// back to itself, directly or through the subschemas it names. valijson
// would recurse without end on a cycle, and this layer's own walks follow
// references too. On failure `error` receives the reason.
bool CheckSchemaRefs(const JVal& root, std::string* error);

// Whether every "pattern" and "patternProperties" key in `root` is a regular
// expression. valijson builds them only when a value reaches them, so a bad
// one would otherwise pass for a sound schema. On failure `error` receives
// the reason.
bool CheckSchemaPatterns(const JVal& root, std::string* error);

}  // namespace OrinConfigStore

#endif  // PLATFORM_SRC_SCHEMA_READING_H_
