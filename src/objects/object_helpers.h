#ifndef SRC_OBJECTS_OBJECT_HELPERS_H_
#define SRC_OBJECTS_OBJECT_HELPERS_H_

#include <memory>
#include <string>

#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"

namespace OrinSchemaStore {
class SchemaObject;
}

namespace OrinConfigStore {

// The instance id that `value` (an object's data) carries under the member
// that `schema` names for it; "" when the type names none or the member is
// absent. A member that is not text raises ConfigStoreException 1032
// "Invalid value for key <member>".
std::string GetInstanceIdFromValue(const JVal& value,
                                   const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema);

// True, with error 1040 ("<caller>: Configuration object is empty") logged
// at priority 1, when `obj` holds nothing.
bool ObjIsEmpty(std::shared_ptr<ConfigStoreObject>& obj, const char* caller);

// The same for filters, with error 1041.
bool FsoIsEmpty(const std::shared_ptr<FilterSpecObject>& fso, const char* caller);

// The type's schema from the schema store, or null.
std::shared_ptr<OrinSchemaStore::SchemaObject> LookupSchema(const ConfigStoreObjectId& id);

// Builds a configuration object over `document` shaped by `schema`. A null
// schema raises ConfigStoreException 1037 "Schema object not found: <id>";
// a document whose root is not an object raises InvalidArgumentException
// 1082 "Invalid JSON".
std::shared_ptr<ConfigStoreObject> CreateObject(
    const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document,
    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_OBJECT_HELPERS_H_
