#ifndef SRC_STORE_CONFIG_STORE_IMPL_H_
#define SRC_STORE_CONFIG_STORE_IMPL_H_

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/config_store.h"
#include "db/config_writes.h"
#include "platform/db_store.h"

namespace OrinConfigStore {

// The one namespace the library serves.
extern const std::string sGlobalNamespace;

// A connection on the database of `type`; null when there is none and
// `throwOnFailure` is false, else ConfigStoreException 2000 "Failed to
// connect to database".
std::shared_ptr<DBStore::StoreConnection> GetDBStore(DBStore::Type type, bool throwOnFailure);

// The store: every operation runs on its one connection.
class ConfigStoreImpl : public ConfigStore {
 public:
  explicit ConfigStoreImpl(std::shared_ptr<DBStore::StoreConnection> connection);
  ~ConfigStoreImpl() override;

  std::shared_ptr<ConfigStoreObject> Get(const ConfigStoreObjectId& id) override;
  std::shared_ptr<ConfigStoreObject> GetDefaultConfig(const ConfigStoreObjectId& id) override;
  std::vector<std::shared_ptr<ConfigStoreObject>> GetDefaultConfigInstances(
      const std::shared_ptr<FilterSpecObject>& filter) override;
  std::vector<std::string> GetInstanceIds(const ConfigStoreObjectId& id) override;
  void Set(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) override;
  void SetUserData(std::shared_ptr<ConfigStoreObject> object,
                   const USERDATA_CONTEXT& context) override;
  void SetVitalData(std::shared_ptr<ConfigStoreObject> object) override;
  void SetCachedData(std::shared_ptr<ConfigStoreObject> object) override;
  void Update(std::shared_ptr<ConfigStoreObject> object, const USERDATA_CONTEXT& context) override;
  void Delete(const ConfigStoreObjectId& id) override;
  void DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) override;
  std::vector<std::shared_ptr<ConfigStoreObject>> GetInstances(
      const std::shared_ptr<FilterSpecObject>& filter) override;
  void SetInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects,
                    const USERDATA_CONTEXT& context) override;
  void SetUserDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects,
                            const USERDATA_CONTEXT& context) override;
  void SetCachedDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects) override;
  void SetVitalDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects) override;
  int GetRevision(const ConfigStoreObjectId& id) override;
  std::vector<std::pair<std::string, int>> GetInstancesRevision(
      const ConfigStoreObjectId& id) override;
  int BeginTransaction() override;
  int CommitTransaction() override;
  int CancelTransaction() override;
  std::vector<ErrorInfo> Validate(std::shared_ptr<ConfigStoreObject> object) override;
  std::shared_ptr<JsonDoc> Export(
      const std::vector<std::shared_ptr<FilterSpecObject>>& filters) override;
  void Import(const std::shared_ptr<JsonDoc>& document, const USERDATA_CONTEXT& context) override;

  // RollbackToRevision (rollback.h) on this store's connection.
  int RollbackToRevision(const ConfigStoreObjectId& id, int revision);

 private:
  using Validator = void (*)(SchemaPtr, std::shared_ptr<ConfigStoreObject>);
  using ClearSource = void (*)(const ConfigStoreObjectId&, const Connection&);
  using WriteSource = void (*)(const ObjectList&, const Connection&, const std::string&);

  // Runs `work` in a transaction of its own, then commits and announces each
  // changed type.
  void RunInTransaction(const char* operation, const std::vector<ConfigStoreObjectId>& changed,
                        const std::function<void()>& work);
  SchemaPtr CheckedListSchema(const ObjectList& objects, const char* operation);
  void SetDataInstancesInternal(const ObjectList& objects, const SchemaPtr& schema,
                                Validator validate, ClearSource clear, WriteSource write);

  std::shared_ptr<DBStore::StoreConnection> connection_;
};

// The line every store operation logs first: "<operation> : <id>, context:
// <n>", where n is 1 for the context value 0 and 0 otherwise.
void LogOperation(int priority, const char* operation, const ConfigStoreObjectId& id, int context);

// Log priorities of the store's operations.
constexpr int kReadPriority = 4;
constexpr int kWritePriority = 3;

// True, with error 1040 ("<caller>: Configuration object is empty") logged
// at priority 1, when `obj` holds nothing.
bool ObjIsEmpty(std::shared_ptr<ConfigStoreObject>& obj, const char* caller);

// The same for filters, with error 1041.
bool FsoIsEmpty(const std::shared_ptr<FilterSpecObject>& fso, const char* caller);

}  // namespace OrinConfigStore

#endif  // SRC_STORE_CONFIG_STORE_IMPL_H_
