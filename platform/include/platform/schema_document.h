#ifndef PLATFORM_SCHEMA_DOCUMENT_H_
#define PLATFORM_SCHEMA_DOCUMENT_H_

#include <memory>

#include "configstore/json.h"
#include "platform/schema_store.h"

namespace OrinSchemaStore {

// Builds in `schemaOut` one JSON schema for an export document
//   {"<component>": {"<group>": {"<key>": <object data> | [<instance>, ...]}}}
// from the types' schemas, looked up through `cache`: a singleton type's
// schema for its object, an array of the instance schema (carrying the
// type's instance-id member as its "instanceId" mark) for a non-singleton
// type. Component and group levels list the names the document holds; a key
// without a schema is left out of its group's properties, so that a
// validation with strict members (tag 1) reports it at its own field.
// `scratch` is working space. False when `document` is not an object.
bool GenerateSchemaDocument(const OrinConfigStore::JVal& document,
                            const std::shared_ptr<SchemaObjectCache>& cache,
                            OrinConfigStore::JDoc& schemaOut, OrinConfigStore::JDoc& scratch);

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_DOCUMENT_H_
