#ifndef CONFIGSTORE_PROVISIONING_H_
#define CONFIGSTORE_PROVISIONING_H_

// Setting up a host root: the schema store and the object types it holds.
// These calls create missing directories and database files under the host
// root (see host.h); nothing else in the library does.

#include <cstddef>
#include <memory>
#include <string>

#include "configstore/export.h"
#include "configstore/json_doc.h"

namespace OrinConfigStore {

// Creates the configuration database, its parent directories, its tables
// and its triggers under the host root; idempotent. Raises
// ConfigStoreException 1001, 1015 or 1016 when that fails.
CONFIGSTORE_API void InitializeDatabase();

}  // namespace OrinConfigStore

namespace OrinSchemaStore {

// Creates the schema store database and its tables; idempotent.
// Raises ConfigStoreException 1001 or 1015 when that fails.
CONFIGSTORE_API void InitializeSchemaStore();

// Loads the schema definitions of one file: a definition object, or an
// array of them, each
//   {"component": "...", "group": "...", "key": "...", "version": "...",
//    "nonSingleton": bool, "bootExempt": bool, "smartnicShared": bool,
//    "schema": {JSON Schema of one object}, "defaultConfig": {...} | [...]}
// The store is created when missing. A definition that is malformed, that
// names an empty or quote-bearing component, group or key, whose schema
// breaks the annotation rules, or whose defaultConfig does not fit its
// schema, refuses the whole file with InvalidArgumentException 2000
// "Invalid schema definition in <file>: <problem>", and nothing of the file
// is stored. Types already stored are replaced. The definitions' defaults
// go to the configuration database's DefaultConfig table, split into the
// user, vital and cached values by the schema's marks (the database is
// initialised first when missing); a type without defaults loses any it had.
// Returns the number of types stored.
CONFIGSTORE_API std::size_t LoadSchemaFile(const std::string& path);

// As LoadSchemaFile, from JSON text; errors name the source as "JSON text".
CONFIGSTORE_API std::size_t LoadSchemaDefinition(const std::string& jsonText);

// The stored types, ordered by component, group and key, as a JSON array of
//   {"component": "...", "group": "...", "key": "...", "version": "...",
//    "nonSingleton": bool, "bootExempt": bool, "schema": {...}}
// Empty when there is no schema store.
CONFIGSTORE_API std::shared_ptr<OrinConfigStore::JsonDoc> DescribeSchemas();

}  // namespace OrinSchemaStore

#endif  // CONFIGSTORE_PROVISIONING_H_
