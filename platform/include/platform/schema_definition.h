#ifndef PLATFORM_SCHEMA_DEFINITION_H_
#define PLATFORM_SCHEMA_DEFINITION_H_

#include <memory>
#include <string>
#include <vector>

#include "configstore/json.h"
#include "platform/schema_migration.h"

namespace OrinSchemaStore {

using OrinConfigStore::JDoc;

// One object type as a component ships it:
//   {"component": "net", "group": "dns", "key": "servers", "version": "1.0",
//    "nonSingleton": true, "bootExempt": false, "smartnicShared": false,
//    "schema": {...}, "defaultConfig": {...} or [...],
//    "migrations": [...] (see schema_migration.h)}
struct SchemaDefinition {
  std::string component;
  std::string group;
  std::string key;
  std::string version;
  bool nonSingleton = false;
  bool bootExempt = false;
  bool smartnicShared = false;
  std::unique_ptr<JDoc> schema;
  // The shipped default object (an array of instances for a non-singleton
  // type); null when the definition has none.
  std::unique_ptr<JDoc> defaultConfig;
  // How data stored under earlier versions becomes data of this one.
  std::vector<Migration> migrations;

  // "component/group/key", for messages.
  std::string Name() const { return component + "/" + group + "/" + key; }
};

// Reads and checks every definition in `text` (one definition object, or an
// array of them). Refuses the whole text at the first fault with
// InvalidArgumentException 2000 "Invalid schema definition in <source>:
// <problem>", so that a bad file stores nothing:
// - text that is not JSON, or not an object or an array of objects;
// - "component", "group" or "key" missing, empty, or holding a quote;
// - "version" that is not text, flags that are not booleans;
// - a "schema" that is not an object schema or does not compile, top-level
//   "vital"/"cached" marks that are not booleans, an "instanceId" mark that is
//   neither true nor (on an array property) the name of a member its items
//   declare, a non-singleton type without exactly one top-level property
//   marked "instanceId": true;
// - a "defaultConfig" of the wrong shape (an object for a singleton type, an
//   array of instances with distinct, non-empty instance ids otherwise) or
//   that does not validate against the schema;
// - "migrations" that are malformed, or one from the definition's own
//   version;
// - the same type defined twice.
std::vector<SchemaDefinition> ReadSchemaDefinitions(const std::string& text,
                                                    const std::string& source);

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_DEFINITION_H_
