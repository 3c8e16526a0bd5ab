#ifndef PLATFORM_SCHEMA_WALK_H_
#define PLATFORM_SCHEMA_WALK_H_

#include <functional>
#include <string>

#include "configstore/json.h"

namespace OrinSchemaStore {

using OrinConfigStore::JVal;

// Marks that the schema store reads from a schema.
constexpr const char* kInstanceIdMark = "instanceId";
constexpr const char* kPropertiesKeyword = "properties";
constexpr const char* kItemsKeyword = "items";
constexpr const char* kDefaultKeyword = "default";

// Calls `visit` for every property declared anywhere in `schema`: the
// properties of the top-level object, of nested object properties and of
// array items, parents before children. `pointer` is the JSON pointer of the
// property inside the schema ("/properties/nics/items/properties/id").
// Nodes of other shapes are skipped.
using PropertyVisitor =
    std::function<void(const std::string& pointer, const std::string& name, const JVal& property)>;
void WalkProperties(const JVal& schema, const PropertyVisitor& visit);

// The "properties" object of a schema node, or null.
const JVal* PropertiesOf(const JVal& schema);

// The member name that a repeated sub-object's "instanceId" mark names, or
// null when `property` is not marked as one.
const char* RepeatedInstanceKey(const JVal& property);

// Whether `property` carries "instanceId": true.
bool IsInstanceIdMember(const JVal& property);

// The first top-level property of `schema` marked "instanceId": true, or "".
std::string TopLevelInstanceIdMember(const JVal& schema);

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_WALK_H_
