#ifndef CONFIGSTORE_CONFIG_STORE_H_
#define CONFIGSTORE_CONFIG_STORE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/exceptions.h"
#include "configstore/export.h"
#include "configstore/filter_object.h"
#include "configstore/json_doc.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// Who makes a change: a user or an outside client (EXTERNAL; user-owned data
// goes to the user value, and is refused while the host boots), or the
// host's own services (INTERNAL; the same data goes to the automatic value).
enum USERDATA_CONTEXT : int {
  EXTERNAL = 0,
  INTERNAL = 1,
};

// The configuration store: reads merge an object's sources (vital, cached,
// automatic, user, later ones winning); writes validate against the type's
// schema and fill their own source only.
//
// Obtain one with GetStore(""). Each store has its own database connection,
// which all its operations use; reads open no transaction, and nested
// transactions are counted per connection. A store may be used from several
// threads only one at a time. Failures are exceptions (see exceptions.h);
// absence is not: Get answers null, GetRevision -1, lists come back empty.
//
// The order of the virtual operations is part of the library's binary
// interface.
class CONFIGSTORE_API ConfigStore {
 public:
  // A new store on the configuration database. Only the global namespace,
  // the empty string, is served (InvalidArgumentException 2000 "Invalid
  // value for namespace." otherwise); a missing database raises
  // ConfigStoreException 2000 "Failed to connect to database".
  static std::shared_ptr<ConfigStore> GetStore(const std::string& ns);

  // The merged object, or null when nothing is stored for it.
  virtual std::shared_ptr<ConfigStoreObject> Get(const ConfigStoreObjectId& id) = 0;
  // The shipped default object, or null.
  virtual std::shared_ptr<ConfigStoreObject> GetDefaultConfig(const ConfigStoreObjectId& id) = 0;
  virtual std::vector<std::shared_ptr<ConfigStoreObject>> GetDefaultConfigInstances(
      const std::shared_ptr<FilterSpecObject>& filter) = 0;
  virtual std::vector<std::string> GetInstanceIds(const ConfigStoreObjectId& id) = 0;
  virtual void Set(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) = 0;
  virtual void SetUserData(std::shared_ptr<ConfigStoreObject> object,
                           const USERDATA_CONTEXT& context) = 0;
  virtual void SetVitalData(std::shared_ptr<ConfigStoreObject> object) = 0;
  virtual void SetCachedData(std::shared_ptr<ConfigStoreObject> object) = 0;
  virtual void Update(std::shared_ptr<ConfigStoreObject> object,
                      const USERDATA_CONTEXT& context) = 0;
  virtual void Delete(const ConfigStoreObjectId& id) = 0;
  virtual void DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) = 0;
  // The instances matching the filter's identifier and data.
  virtual std::vector<std::shared_ptr<ConfigStoreObject>> GetInstances(
      const std::shared_ptr<FilterSpecObject>& filter) = 0;
  virtual void SetInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects,
                            const USERDATA_CONTEXT& context) = 0;
  virtual void SetUserDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects,
                                    const USERDATA_CONTEXT& context) = 0;
  virtual void SetCachedDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects) = 0;
  virtual void SetVitalDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects) = 0;
  // The stored revision, or -1 when nothing is stored.
  virtual int GetRevision(const ConfigStoreObjectId& id) = 0;
  // (instance id, revision) of every instance, or of the one the identifier
  // names.
  virtual std::vector<std::pair<std::string, int>> GetInstancesRevision(
      const ConfigStoreObjectId& id) = 0;
  // Transactions on the store's connection; they nest. 0 is success.
  virtual int BeginTransaction() = 0;
  // Raises ConfigStoreException 2000 "Commit transaction failed." when the
  // database refuses.
  virtual int CommitTransaction() = 0;
  // Raises ConfigStoreException 2000 "Failed to cancel nested transaction"
  // when the level cancelled was nested in another.
  virtual int CancelTransaction() = 0;
  // The object's problems against its schema; nothing is written.
  virtual std::vector<ErrorInfo> Validate(std::shared_ptr<ConfigStoreObject> object) = 0;
  virtual ~ConfigStore();

  // Bulk transfer of whole types, as one export document:
  //   {"<component>": {"<group>": {"<key>": <data> | [<instance data>, ...]}}}
  // a singleton type's object as an object, a non-singleton type's instances
  // as an array, each instance carrying its instance-id member.
  //
  // Export reads the objects the filters name (a filter's identifier and
  // data select as for GetInstances; a type named twice appears once) in one
  // transaction, ordered by component, group, key and instance id; with no
  // filters, every type of the schema store. Types with nothing stored are
  // left out. A type without a schema raises its identifier check's error; a
  // failed read ConfigStoreException 1056 "Export operation failed".
  virtual std::shared_ptr<JsonDoc> Export(
      const std::vector<std::shared_ptr<FilterSpecObject>>& filters) = 0;
  // Import writes an export document: each singleton as Set would, each
  // non-singleton's array replacing the type's instances as SetInstances
  // would (an empty array removes them all), all in one transaction, and
  // announces each type after the commit. The document is validated whole
  // first: every problem (an unknown type included) is reported at once in
  // ValidationException 1055 "Import operation failed", and nothing is
  // written.
  virtual void Import(const std::shared_ptr<JsonDoc>& document,
                      const USERDATA_CONTEXT& context) = 0;
};

// Groups a caller's store operations into one transaction: begun on
// construction, cancelled on destruction unless Commit or Cancel ran (the
// destructor never throws; a failed cancel there is logged). Keeps a
// reference to the caller's pointer, which must outlive the guard. A Commit
// that throws leaves the guard active, so that its destruction cancels.
class CONFIGSTORE_API ConfigStoreTransaction {
 public:
  // Raises ConfigStoreException 2000 "Failed to use NULL as the store" for a
  // null store and "Failed to start a transaction." when the begin fails.
  explicit ConfigStoreTransaction(std::shared_ptr<ConfigStore>& store);
  ~ConfigStoreTransaction();
  ConfigStoreTransaction(const ConfigStoreTransaction&) = delete;
  ConfigStoreTransaction& operator=(const ConfigStoreTransaction&) = delete;

  int Commit();
  int Cancel();

 private:
  std::shared_ptr<ConfigStore>& store_;
  bool active_;
};

// The key-value table of the configuration database. Each call takes a
// connection of its own. No database raises ConfigStoreException 1002
// "Failed to connect to database <path>"; a refused write or read raises
// ConfigStoreException 2000 "Failed to write KV table for key: <key>" or
// "Failed to read KV table for key: <key>". A missing key reads as "".
CONFIGSTORE_API void SetKeyValue(const std::string& key, const std::string& value);
CONFIGSTORE_API std::string GetKeyValue(const std::string& key);

// Whether the host is booting: the key "IS_BOOT" holds "true". Read afresh
// on every call; a missing database or key means not booting. A database
// that cannot be read raises ConfigStoreException 2000 "Failed to read value
// from database.": boot-time protection fails closed.
CONFIGSTORE_API bool IsBoot();

// The cause behind the library's fixed failure texts ("Write config
// instances failed", "Commit transaction failed.", "Failed to connect to
// database", ...): what the database said of the last failure of a database
// call on the calling thread. `code` is SQLite's result code (5 busy: try
// again later; 8 read-only; 11 damaged; 13 disk full; 14 cannot open) and 0
// when no call of this thread has failed. Read it right after catching the
// exception: only the next failure replaces it.
struct DatabaseFailure {
  int code = 0;
  std::string message;
};
CONFIGSTORE_API DatabaseFailure GetLastDatabaseFailure();

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_CONFIG_STORE_H_
