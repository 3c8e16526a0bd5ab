#ifndef SRC_DB_CONFIG_WRITES_H_
#define SRC_DB_CONFIG_WRITES_H_

// Writing configuration: every writer fills only the columns of its own
// source and carries the row's other columns, its creation time and its
// revision over (the revision rises by one per write). All run on the
// caller's connection, each in a savepoint of the caller's transaction or
// in a transaction of its own, together with the change history's records
// of what it changed. Failures are ConfigStoreException 2000 with the
// writer's message.

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "configstore/config_store.h"
#include "row_reader.h"

namespace OrinConfigStore {

// Which context statement a Set or an Update runs: a user write that drops
// the desired value (0), a user write that keeps the success flag (1), or
// an automatic write (2).
enum UPDATE_CONTEXT : int {
  UPDATE_USER_DROP_DESIRED = 0,
  UPDATE_USER_KEEP_SUCCESS = 1,
  UPDATE_AUTOMATIC = 2,
};

using ObjectList = std::vector<std::shared_ptr<ConfigStoreObject>>;
// Column name ("AutoConfValue", "UserValue", "VitalValue", "CachedValue",
// and "Version") to the text written there; "" writes NULL.
using ColumnValues = std::unordered_map<std::string, std::string>;
using CompleteRows = std::unordered_map<ConfigStoreObjectId, ColumnValues>;

void UpdateByContextInternal(const std::shared_ptr<ConfigStoreObject>& object,
                             const SchemaPtr& schema, UPDATE_CONTEXT context,
                             const Connection& connection);
void SetByContextInternal(const std::shared_ptr<ConfigStoreObject>& object, const SchemaPtr& schema,
                          UPDATE_CONTEXT context, const Connection& connection);

// One row per object, the object's whole data bound to the writer's column.
// The version stored is the object's own or, for an object a caller built,
// `schemaVersion`.
void WriteUserConfigInstances(const ObjectList& objects, const Connection& connection,
                              const std::string& schemaVersion = std::string());
void WriteAutoConfConfigInstances(const ObjectList& objects, const Connection& connection,
                                  const std::string& schemaVersion = std::string());
void WriteVitalConfigInstances(const ObjectList& objects, const Connection& connection,
                               const std::string& schemaVersion = std::string());
void WriteCachedConfigInstances(const ObjectList& objects, const Connection& connection,
                                const std::string& schemaVersion = std::string());
void WriteCompleteConfigInstances(const CompleteRows& rows, const Connection& connection);

void DeleteInternal(const ConfigStoreObjectId& id, const Connection& connection);
// Deletes every instance of the key. `rewritten`, the objects the caller
// writes to the key next in the same transaction, get no deletion record:
// their writes are recorded as replacing what was there.
void DeleteInstancesInternal(const ConfigStoreObjectId& id, const Connection& connection,
                             const ObjectList& rewritten = {});
// Sets one source column to NULL in every instance of the key.
void DeletePartialConfigInstances(const std::string& column, const ConfigStoreObjectId& id,
                                  const Connection& connection);
void DeleteVitalConfigInstances(const ConfigStoreObjectId& id, const Connection& connection);
void DeleteCachedConfigInstances(const ConfigStoreObjectId& id, const Connection& connection);
void DeleteUserConfigInstances(const ConfigStoreObjectId& id, const Connection& connection);
void DeleteAutoConfConfigInstances(const ConfigStoreObjectId& id, const Connection& connection);

// Writes every source of the object at once from its split by the schema's
// marks: the user part to UserValue (EXTERNAL) or AutoConfValue (INTERNAL),
// the other of the two NULL. A Set so replaces every source of the row.
void SetInternal(const std::shared_ptr<ConfigStoreObject>& object, const SchemaPtr& schema,
                 const USERDATA_CONTEXT& context, const Connection& connection);
// The same for a non-empty list of instances of one key, right after
// DeleteInstancesInternal of the key: the key's rows are then the list's.
void SetInstancesInternal(const ObjectList& objects, const SchemaPtr& schema,
                          const USERDATA_CONTEXT& context, const Connection& connection);

// Writes the five value columns (automatic, user, vital, cached, desired;
// "" writes NULL) and the version in one statement, creating the row when
// there is none: the revision rises by one (a new row gets 1) and the
// success flag stays.
void RestoreValuesInternal(const ConfigStoreObjectId& id, const std::string& version,
                           const std::vector<std::string>& values, const Connection& connection);

// The version stored with a written object: its own, or the schema's when
// the object was built by a caller and has none.
std::string VersionToStore(const ConfigStoreObject& object, const SchemaPtr& schema);

}  // namespace OrinConfigStore

#endif  // SRC_DB_CONFIG_WRITES_H_
