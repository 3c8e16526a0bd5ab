#ifndef CONFIGSTORE_SCHEMA_EVOLUTION_H_
#define CONFIGSTORE_SCHEMA_EVOLUTION_H_

// A changed type definition as a checked, atomic step.
//
// Loading a definition whose version differs from the stored type's checks
// every stored object of the type (each source's value, and the desired
// values) against the new schema first, after running the definition's
// migration for the version the object was written under (the row's
// Version; see the migration format in platform's schema_migration.h and in
// README). The migrated values, their new Version, the shipped defaults and
// then the types are written only when every object fits: in one
// transaction of the configuration database, with each migrated object
// recorded in the change history as a "migrate" change. Otherwise the load
// is refused and nothing changes.
//
// A load stopped between the configuration's commit and the schema store's
// leaves objects of the new version beside the old type; loading the same
// file again completes it (objects already of the new version are checked,
// not migrated again).

#include <cstddef>
#include <string>
#include <vector>

#include "configstore/exceptions.h"
#include "configstore/export.h"
#include "configstore/object_id.h"

namespace OrinSchemaStore {

struct SchemaLoadOptions {
  // Loads a schema that differs from the stored one at the same version
  // (still checking the stored objects against it).
  bool force = false;
};

// A stored object that would not fit: which value (`source`: "automatic",
// "user", "vital", "cached", "desired", or in the desired boot state
// "desired user", "desired vital", "desired cached") and why, each member
// with its error; a migration step that cannot apply names itself.
struct RefusedObject {
  OrinConfigStore::ConfigStoreObjectId id{"", "", ""};
  std::string source;
  std::vector<OrinConfigStore::ErrorInfo> errors;
};

// What loading a definition does to its type.
struct TypeChange {
  std::string type;  // "component/group/key"
  // "new" (no stored type), "same" (same version and schema: only the
  // defaults are written again), "version" (another version: objects
  // checked, migrated where a migration is given) or "forced" (same
  // version, another schema, --force).
  std::string change;
  std::string fromVersion;
  std::string toVersion;
  long long objects = 0;   // stored rows checked
  long long migrated = 0;  // rows whose values a migration changed
  // Why the type cannot be loaded as it stands ("" when it can).
  std::string refusal;
  std::vector<RefusedObject> refused;
};

struct SchemaLoadReport {
  std::vector<TypeChange> types;
  CONFIGSTORE_API bool Refused() const;
};

// What loading the definitions in `path` would do, changing nothing:
// InvalidArgumentException for a malformed file, as LoadSchemaFile.
CONFIGSTORE_API SchemaLoadReport CheckSchemaFile(const std::string& path,
                                                 const SchemaLoadOptions& options = {});

// LoadSchemaFile and LoadSchemaDefinition (provisioning.h) with options. A
// load that the report refuses raises ValidationException 1083 "Schema load
// refused: <types>" with one error per problem: field "<type>" for a type's
// refusal, "<object id> <source> <member>" for an object's.
CONFIGSTORE_API std::size_t LoadSchemaFile(const std::string& path,
                                           const SchemaLoadOptions& options);
CONFIGSTORE_API std::size_t LoadSchemaDefinition(const std::string& jsonText,
                                                 const SchemaLoadOptions& options);

}  // namespace OrinSchemaStore

#endif  // CONFIGSTORE_SCHEMA_EVOLUTION_H_
