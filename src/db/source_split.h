#ifndef SRC_DB_SOURCE_SPLIT_H_
#define SRC_DB_SOURCE_SPLIT_H_

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/json.h"

namespace OrinSchemaStore {
class SchemaObject;
}

namespace OrinConfigStore {

// The sources an object's data is split into for the value columns.
enum class ValueSource { kUser, kVital, kCached };

// The part of `data` (an object) that belongs to `source`, by the marks of
// `schema` (an object schema): a member whose property is marked "vital":
// true or "cached": true (or inside such a member, or in a type marked so at
// its top level) belongs to that source, every other member to the user
// source. Objects and arrays without a mark are split member by member and
// element by element; members marked "instanceId": true go with every part
// so that each part keeps its identity. In the user part an instance id is
// content (an instance holding only its id exists); in the vital and cached
// parts a part holding nothing but ids counts as empty. An empty array is a
// user value. Null when nothing remains. Raises ConfigStoreException 2000 "Invalid field in schema:
// <name>" for a member the schema does not describe, "Schema error:Expected array type" for an
// array whose property is not of type "array", and "Invalid JSON" for data or schema nodes of the
// wrong shape.
std::unique_ptr<JDoc> SplitBySource(const JVal& data, const JVal& schema, ValueSource source);

// Every part serialised, indexed by ValueSource (user, vital, cached), ""
// for a part that is empty (a value column's NULL). One walk of the data
// serves all three.
std::vector<std::string> SplitTexts(const JVal& data, const JVal& schema);

// The same for a configuration object's data, by its type's schema.
std::vector<std::string> SplitTexts(const ConfigStoreObject& object,
                                    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema);

}  // namespace OrinConfigStore

#endif  // SRC_DB_SOURCE_SPLIT_H_
