#ifndef PLATFORM_SCHEMA_STORE_H_
#define PLATFORM_SCHEMA_STORE_H_

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "platform/schema_object.h"

namespace OrinSchemaStore {

// A memo of lookups for one operation that reads many types (an import or
// an export): every lookup of the same type during the operation answers
// with the same schema object, even if the store changes meanwhile.
// Not thread-safe.
class SchemaObjectCache {
 public:
  std::shared_ptr<SchemaObject> Get(const std::string& component, const std::string& group,
                                    const std::string& key);

 private:
  std::map<std::tuple<std::string, std::string, std::string>, std::shared_ptr<SchemaObject>> memo_;
};

// Lookups of object types by component, group and key.
//
// A schema store that is there but cannot be read (no permission, not a
// database, damaged) raises ConfigStoreException 2000 "Schema store
// unreadable: <path>: <cause>" from every lookup: it never passes for a
// store without the type.
//
// Parsed types are cached process-wide, so a lookup costs a map search plus
// a comparison of the header of the database's WAL index with the copy kept
// at the last check (SQLite's data version is asked only when it moved); a
// type loaded since, by this process or another, is seen by the next
// lookup. A database deleted and made anew is noticed within a second.
// Lookups never create the database: a missing database knows no types.
// Thread-safe.
class SchemaStore {
 public:
  static std::shared_ptr<SchemaStore> GetStore();
  static std::shared_ptr<SchemaObjectCache> GetCache();

  // The type, or null when the store does not know it.
  std::shared_ptr<SchemaObject> GetSchemaObject(const std::string& component,
                                                const std::string& group,
                                                const std::string& key) const;

  // Every stored type, ordered by component, group and key.
  std::vector<std::shared_ptr<SchemaObject>> GetSchemaObjects() const;

  // Raises ConfigStoreException 2000 "Schema store unreadable: <path>:
  // <cause>" when there is no schema store to read (no file, or a file
  // without its tables): for callers to whom an empty list of types would be
  // a silent loss, such as an export of every type.
  void RequireSchemaStore() const;
};

// In a child of fork(), closes the schema store connection inherited from
// the parent; the writers call it before they open their own.
void ReleaseInheritedSchemaReader();

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_STORE_H_
