#ifndef PLATFORM_SCHEMA_DATABASE_H_
#define PLATFORM_SCHEMA_DATABASE_H_

#include <memory>
#include <string>
#include <vector>

#include "platform/schema_definition.h"
#include "platform/schema_object.h"
#include "platform/sqlite_db.h"

namespace OrinSchemaStore {

// The schema store's SQLite database: one row per object type in Schema,
// and the types shared with the smart network card in SmartnicSchema.

constexpr const char* kSchemaStoreFile = "/etc/tessel/schemastore/schema-store-1";

// The database file resolved under the host root.
std::string SchemaStorePath();

// Creates the database file, its parent directories and its tables when
// missing; idempotent. Raises ConfigStoreException 1001 or 1015 on failure.
void CreateSchemaStore();

// Stores the definitions in one transaction (replacing earlier definitions
// of the same types): all of them or, on failure, none. Raises
// ConfigStoreException 1005 on failure.
void StoreDefinitions(const std::vector<SchemaDefinition>& definitions);

struct SchemaName {
  std::string component;
  std::string group;
  std::string key;
};

// A read-only connection on the schema store with its statements prepared
// once, for the lookups of the process-wide type cache. Not thread-safe.
class SchemaReader {
 public:
  // Null when the database cannot be opened (it is never created here).
  static std::unique_ptr<SchemaReader> Open(const std::string& path);

  // The stored type, or null when there is none.
  std::unique_ptr<SchemaObject> Read(const std::string& component, const std::string& group,
                                     const std::string& key);
  // Every stored type, ordered by component, group and key.
  std::vector<SchemaName> Names();
  // SQLite's data version of the connection: it changes when another
  // connection commits to the database.
  long long DataVersion();

 private:
  explicit SchemaReader(std::unique_ptr<OrinConfigStore::SqliteDb> db);

  std::unique_ptr<OrinConfigStore::SqliteDb> db_;
  OrinConfigStore::SqliteStatement select_;
  OrinConfigStore::SqliteStatement dataVersion_;
};

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_DATABASE_H_
