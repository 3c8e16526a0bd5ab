// Obtaining a store, its transactions, and the transaction guard.

#include "config_store_impl.h"
#include "configstore/logger.h"
#include "db/transaction.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kInvalidNamespace = "Invalid value for namespace.";
constexpr const char* kNoConnection = "Failed to connect to database";
constexpr const char* kNestedCancel = "Failed to cancel nested transaction";
constexpr const char* kNullStore = "Failed to use NULL as the store";
constexpr const char* kBeginFailed = "Failed to start a transaction.";
constexpr const char* kLogOperation = "%s : %s, context: %d";
constexpr const char* kLogGuardCancel = "ConfigStoreTransaction: cancel on destruction: %s";
}  // namespace

const std::string sGlobalNamespace;

std::shared_ptr<DBStore::StoreConnection> GetDBStore(DBStore::Type type, bool throwOnFailure) {
  auto connection = DBStore::GetConnection(type);
  if (!connection && throwOnFailure) throw ConfigStoreException(kNoConnection);
  return connection;
}

void LogOperation(int priority, const char* operation, const ConfigStoreObjectId& id, int context) {
  if (!CSLogger::IsEnabled(priority)) return;
  CSLogger::Log(priority, kLogOperation, operation, id.toString().c_str(), context == 0 ? 1 : 0);
}

bool ObjIsEmpty(std::shared_ptr<ConfigStoreObject>& obj, const char* caller) {
  if (obj) return false;
  CSLogger::LogErrCode(1, CS_ERR_OBJECT_EMPTY, caller);
  return true;
}

bool FsoIsEmpty(const std::shared_ptr<FilterSpecObject>& fso, const char* caller) {
  if (fso) return false;
  CSLogger::LogErrCode(1, CS_ERR_FILTERSPEC_EMPTY, caller);
  return true;
}

DatabaseFailure GetLastDatabaseFailure() {
  const DBStore::Failure& last = DBStore::LastFailure();
  return DatabaseFailure{last.code, last.message};
}

ConfigStore::~ConfigStore() = default;

std::shared_ptr<ConfigStore> ConfigStore::GetStore(const std::string& ns) {
  if (ns.size() != sGlobalNamespace.size() || ns != sGlobalNamespace) {
    throw InvalidArgumentException(kInvalidNamespace);
  }
  return std::make_shared<ConfigStoreImpl>(GetDBStore(DBStore::CONFIG, true));
}

ConfigStoreImpl::ConfigStoreImpl(std::shared_ptr<DBStore::StoreConnection> connection)
    : connection_(std::move(connection)) {}

ConfigStoreImpl::~ConfigStoreImpl() = default;

int ConfigStoreImpl::BeginTransaction() { return DBStore::BeginTransaction(connection_); }

int ConfigStoreImpl::CommitTransaction() {
  if (DBStore::CommitTransaction(connection_) != 0) throw ConfigStoreException(kCommitFailed);
  return 0;
}

int ConfigStoreImpl::CancelTransaction() {
  const int result = DBStore::CancelTransaction(connection_);
  if (result == 1) throw ConfigStoreException(kNestedCancel);
  return result;
}

ConfigStoreTransaction::ConfigStoreTransaction(std::shared_ptr<ConfigStore>& store)
    : store_(store), active_(true) {
  if (!store_) throw ConfigStoreException(kNullStore);
  if (store_->BeginTransaction() != 0) throw ConfigStoreException(kBeginFailed);
}

// The destructor never throws. A guard nested inside another transaction
// is still rolled back by the database layer, which then reports the level
// as nested; that report (the store's "Failed to cancel nested transaction")
// is logged here instead of ending the process during stack unwinding.
ConfigStoreTransaction::~ConfigStoreTransaction() {
  if (!active_) return;
  try {
    store_->CancelTransaction();
  } catch (const std::exception& e) {
    CSLogger::Log(0, kLogGuardCancel, e.what());
  }
}

int ConfigStoreTransaction::Commit() {
  const int result = store_->CommitTransaction();
  active_ = false;
  return result;
}

int ConfigStoreTransaction::Cancel() {
  const int result = store_->CancelTransaction();
  active_ = false;
  return result;
}

}  // namespace OrinConfigStore
