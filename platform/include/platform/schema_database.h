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

// Raises ConfigStoreException 2000 "Schema store unreadable: <path>:
// <cause>": the store is there but cannot be read, which is a failure, never
// the absence of the types.
[[noreturn]] void ThrowSchemaStoreUnreadable(const std::string& cause);

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
  // Null when the file holds no schema store yet (a loader has just created
  // it and not yet written its tables); ThrowSchemaStoreUnreadable when it
  // cannot be opened or read. It is never created here.
  static std::unique_ptr<SchemaReader> Open(const std::string& path);

  // The stored type, or null when there is none. A read that fails raises
  // ThrowSchemaStoreUnreadable.
  std::unique_ptr<SchemaObject> Read(const std::string& component, const std::string& group,
                                     const std::string& key);
  // Every stored type, ordered by component, group and key (or
  // ThrowSchemaStoreUnreadable).
  std::vector<SchemaName> Names();
  // SQLite's data version of the connection: it changes when another
  // connection commits to the database.
  long long DataVersion();
  // Whether the reader reads the file alone, without the -wal and -shm that
  // were missing when it opened (SqliteDb::OpenReader): it sees no commit
  // made since, and must be opened again once they are there.
  bool Immutable() const { return immutable_; }
  // The reader's mapping of the WAL index (SqliteDb::WalIndex).
  const volatile void* WalIndex() const { return db_->WalIndex(); }

 private:
  explicit SchemaReader(std::unique_ptr<OrinConfigStore::SqliteDb> db);

  std::unique_ptr<OrinConfigStore::SqliteDb> db_;
  OrinConfigStore::SqliteStatement select_;
  OrinConfigStore::SqliteStatement dataVersion_;
  bool immutable_ = false;
};

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_DATABASE_H_
