#ifndef PLATFORM_SCHEMA_WALK_H_
#define PLATFORM_SCHEMA_WALK_H_

// Reading a type's schema for the store's own marks. A schema node may be a
// "$ref" to a node elsewhere in the same schema: its structure ("properties",
// "items") comes from the node the reference leads to, and a mark is read
// where it is written or, failing that, on that node.

#include <functional>
#include <string>

#include "configstore/json.h"

namespace OrinSchemaStore {

using OrinConfigStore::JVal;

// Marks that the schema store reads from a schema.
constexpr const char* kInstanceIdMark = "instanceId";
constexpr const char* kVitalMark = "vital";
constexpr const char* kCachedMark = "cached";
constexpr const char* kDeprecatedMark = "deprecated";
constexpr const char* kPropertiesKeyword = "properties";
constexpr const char* kItemsKeyword = "items";
constexpr const char* kDefaultKeyword = "default";
constexpr const char* kTypeKeyword = "type";

// Calls `visit` for every property declared anywhere in `root`: the
// properties of the top-level object, of nested object properties and of
// array items, parents before children, through references. `pointer` is
// the JSON pointer of the property as written in the schema
// ("/properties/nics/items/properties/id"). Nodes of other shapes are
// skipped; a walk deeper than the schema could sensibly nest (a reference
// cycle) stops there.
using PropertyVisitor =
    std::function<void(const std::string& pointer, const std::string& name, const JVal& property)>;
void WalkProperties(const JVal& root, const PropertyVisitor& visit);

// The member `name` of `node` as written, or else of the node its "$ref"
// leads to; null when neither has it.
const JVal* SchemaAnnotation(const JVal& root, const JVal& node, const char* name);

// The "properties" object of a schema node, or null.
const JVal* PropertiesOf(const JVal& root, const JVal& node);

// The member name that a repeated sub-object's "instanceId" mark names, or
// null when `property` is not marked as one.
const char* RepeatedInstanceKey(const JVal& root, const JVal& property);

// Whether `property` carries "instanceId": true.
bool IsInstanceIdMember(const JVal& root, const JVal& property);

// The first top-level property of `root` marked "instanceId": true, or "".
std::string TopLevelInstanceIdMember(const JVal& root);

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_WALK_H_
