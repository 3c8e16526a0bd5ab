// The boot-time entry points: marking the desired configuration applied,
// restoring part of it, reading it, and the kernel options object. Each
// takes a database connection of its own.

#include "configstore/boot.h"

#include "config_store_impl.h"
#include "configstore/logger.h"
#include "db/boot_status.h"
#include "db/config_reads.h"
#include "db/transaction.h"
#include "notify/notify.h"
#include "objects/config_store_object_internal.h"
#include "objects/object_merge.h"
#include "platform/schema_object.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kKernelComponent = "orin";
constexpr const char* kKernelGroup = "kernix";
constexpr const char* kKernelKey = "options";
constexpr const char* kWrongObject = "API should only be invoked for Kernel options configuration.";
constexpr const char* kLogInvoked = "%s invoked";

Connection OwnConnection() { return GetDBStore(DBStore::CONFIG, true); }

SchemaPtr CheckedKernelOptionsSchema(const ConfigStoreObjectId& id) {
  if (id.component != kKernelComponent || id.group != kKernelGroup || id.key != kKernelKey) {
    throw ValidationException(CS_ERR_GENERIC, kWrongObject, {});
  }
  SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  return schema;
}

}  // namespace

void SetBootStatus(const ConfigStoreObjectId& id, bool success) {
  SetBootStatusInternal(id, success, OwnConnection());
}

void SetPartialBootStatus(std::shared_ptr<ConfigStoreObject> object) {
  if (ObjIsEmpty(object, "SetPartialBootStatus")) return;
  const SchemaPtr schema = LookupSchema(object->GetConfigStoreObjectId());
  ValidatePartialConfig(schema, object);
  SetPartialBootStatusInternal(object, schema, OwnConnection());
}

std::shared_ptr<ConfigStoreObject> GetDesiredUserConfig(const ConfigStoreObjectId& id) {
  CSLogger::Log(4, kLogInvoked, "GetDesiredUserConfig");
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  return GetDesiredInternal(id, OwnConnection(), schema);
}

std::vector<std::shared_ptr<ConfigStoreObject>> GetDesiredUserConfigInstances(
    const ConfigStoreObjectId& id) {
  CSLogger::Log(4, kLogInvoked, "GetDesiredUserConfigInstances");
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoIdInstances(id, schema);
  return GetDesiredInstancesInternal(id, OwnConnection(), schema);
}

std::shared_ptr<ConfigStoreObject> GetKernelOptions(const ConfigStoreObjectId& id) {
  CSLogger::Log(4, kLogInvoked, "GetKernelOptions");
  const SchemaPtr schema = CheckedKernelOptionsSchema(id);
  return GetKernelOptionsInternal(id, OwnConnection(), schema);
}

// Every failure inside the transaction, the commit's included, is reported
// as "Transaction failed" followed by its cause.
void UpdateKernelOptions(std::shared_ptr<ConfigStoreObject> object) {
  if (ObjIsEmpty(object, "UpdateKernelOptions")) return;
  CSLogger::Log(3, kLogInvoked, "UpdateKernelOptions");
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  const SchemaPtr schema = CheckedKernelOptionsSchema(id);
  ValidateUpdate(schema, object);
  CheckBootContext(schema, true, EXTERNAL);
  const Connection connection = OwnConnection();
  TransactionPolicy policy = TransactionPolicy::ForOperation("UpdateKernelOptions");
  policy.inside = InsideFailure::kAllAsTransactionFailed;
  RunInTransaction(connection, policy, [&] {
    auto options = GetKernelOptionsInternal(id, connection, schema);
    if (options) {
      UpdateConfigInternal(options, object, &schema->GetInstanceKeyMap());
    } else {
      options = object;
    }
    ValidateSet(schema, options);
    SetKernelOptionsInternal(options, schema, connection);
  });
  NotifyIfAllowlisted(id);
}

}  // namespace OrinConfigStore
