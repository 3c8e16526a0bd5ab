// The store's write operations: check, validate, write, notify. Operations
// of several statements run in a transaction of their own (nested in the
// caller's when there is one); the single-object writes run on the
// connection as it is, inside the caller's transaction if any.

#include <functional>

#include "config_store_impl.h"
#include "db/config_reads.h"
#include "db/config_writes.h"
#include "db/transaction.h"
#include "json/document.h"
#include "notify/notify.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "objects/object_merge.h"
#include "platform/schema_object.h"
#include "platform/switches.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kEmptyList = "ConfigStoreObject list cannot be empty";
constexpr const char* kNullInList = "ConfigStoreObject list cannot hold an empty object";
constexpr const char* kMixedList = "All ConfigStoreObjects are not for the same schema.";

void RequireList(const ObjectList& objects) {
  if (objects.empty()) throw InvalidArgumentException(kEmptyList);
  for (const auto& object : objects) {
    if (!object) throw InvalidArgumentException(kNullInList);
  }
}

void RequireOneType(const ObjectList& objects) {
  const ConfigStoreObjectId& first = objects.front()->GetConfigStoreObjectId();
  for (const auto& object : objects) {
    const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
    if (id.component != first.component || id.group != first.group || id.key != first.key) {
      throw InvalidArgumentException(kMixedList);
    }
  }
}

SchemaPtr CheckedSchema(const std::shared_ptr<ConfigStoreObject>& object) {
  SchemaPtr schema = LookupSchema(object->GetConfigStoreObjectId());
  ValidateCsoId(object, schema);
  return schema;
}

// A copy of `object` that shares nothing with it.
std::shared_ptr<ConfigStoreObject> Copy(const std::shared_ptr<ConfigStoreObject>& object,
                                        const SchemaPtr& schema) {
  return CreateStoredObject(object->GetConfigStoreObjectId(), object->GetSerializedData(), schema);
}

}  // namespace

// The library's own exceptions pass unchanged, others become "Operation
// failed: <cause>". The announcements follow the commit: a failure there
// cannot undo what is committed.
void ConfigStoreImpl::RunInTransaction(const char* operation,
                                       const std::vector<ConfigStoreObjectId>& changed,
                                       const std::function<void()>& work) {
  // The switch is read in the write's own transaction, which holds the
  // database already; a read of its own would take the lock again.
  bool notify = false;
  OrinConfigStore::RunInTransaction(connection_, TransactionPolicy::ForOperation(operation), [&] {
    work();
    notify = !changed.empty() && IsWardenNotificationEnabled(connection_);
  });
  if (notify) NotifyIfAllowlisted(changed);
}

void ConfigStoreImpl::Set(std::shared_ptr<ConfigStoreObject> object,
                          const USERDATA_CONTEXT& context) {
  if (ObjIsEmpty(object, "Set")) return;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "Set", id, context);
  const SchemaPtr schema = CheckedSchema(object);
  ValidateSet(schema, object);
  CheckObjectUserContext(object, schema, context);
  SetInternal(object, schema, context, connection_);
  NotifyIfAllowlisted(id);
}

void ConfigStoreImpl::SetUserData(std::shared_ptr<ConfigStoreObject> object,
                                  const USERDATA_CONTEXT& context) {
  if (ObjIsEmpty(object, "SetUserData")) return;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "SetUserData", id, context);
  const SchemaPtr schema = CheckedSchema(object);
  CheckBootContext(schema, IsBoot(), context);
  ValidateUserConfig(schema, object);
  const ObjectList list{object};
  if (context == EXTERNAL) {
    WriteUserConfigInstances(list, connection_, schema->GetVersion());
  } else {
    WriteAutoConfConfigInstances(list, connection_, schema->GetVersion());
  }
  NotifyIfAllowlisted(id);
}

void ConfigStoreImpl::SetCachedData(std::shared_ptr<ConfigStoreObject> object) {
  if (ObjIsEmpty(object, "SetCachedData")) return;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "SetCachedData", id, 0);
  const SchemaPtr schema = CheckedSchema(object);
  ValidateCachedConfig(schema, object);
  WriteCachedConfigInstances({object}, connection_, schema->GetVersion());
  NotifyIfAllowlisted(id);
}

void ConfigStoreImpl::SetVitalData(std::shared_ptr<ConfigStoreObject> object) {
  if (ObjIsEmpty(object, "SetVitalData")) return;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "SetVitalData", id, 0);
  const SchemaPtr schema = CheckedSchema(object);
  ValidateVitalConfig(schema, object);
  WriteVitalConfigInstances({object}, connection_, schema->GetVersion());
  NotifyIfAllowlisted(id);
}

void ConfigStoreImpl::Update(std::shared_ptr<ConfigStoreObject> object,
                             const USERDATA_CONTEXT& context) {
  if (ObjIsEmpty(object, "Update")) return;
  const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "Update", id, context);
  const SchemaPtr schema = CheckedSchema(object);
  ValidateUpdate(schema, object);
  const bool userType = isUserType(object, schema);
  const UPDATE_CONTEXT updateContext = context == INTERNAL ? UPDATE_AUTOMATIC
                                       : userType          ? UPDATE_USER_DROP_DESIRED
                                                           : UPDATE_USER_KEEP_SUCCESS;
  const JVal* instanceKeys = &schema->GetInstanceKeyMap();
  RunInTransaction("Update", {id}, [&] {
    ApplyBootRule(IsBoot(connection_), schema, userType, context);
    const auto stored = GetInternal(id, connection_, schema);
    if (!stored) {
      ValidateSet(schema, object);
      SetByContextInternal(object, schema, updateContext, connection_);
      return;
    }
    UpdateConfigInternal(stored, object, instanceKeys);
    ValidateSet(schema, stored);
    auto current = GetConfigByBootAndContext(id, schema, context, connection_);
    if (current) {
      UpdateConfigInternal(current, object, instanceKeys);
    } else {
      current = Copy(object, schema);
    }
    UpdateByContextInternal(current, schema, updateContext, connection_);
  });
}

void ConfigStoreImpl::Delete(const ConfigStoreObjectId& id) {
  LogOperation(kWritePriority, "Delete", id, 0);
  ValidateCsoId(id, LookupSchema(id));
  DeleteInternal(id, connection_);
  NotifyIfAllowlisted(id);
}

void ConfigStoreImpl::DeleteInstances(const std::shared_ptr<FilterSpecObject>& filter) {
  if (FsoIsEmpty(filter, "DeleteInstances")) return;
  const ConfigStoreObjectId& id = filter->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "DeleteInstances", id, 0);
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoIdInstances(filter, schema);
  if (filter->IsEmpty()) {
    // Deliberately without a notification.
    if (id.instanceId.empty()) {
      DeleteInstancesInternal(id, connection_);
    } else {
      DeleteInternal(id, connection_);
    }
    return;
  }
  RunInTransaction("DeleteInstances", {id}, [&] {
    for (const auto& match : GetConfigInstancesInternal(filter, connection_, schema)) {
      DeleteInternal(match->GetConfigStoreObjectId(), connection_);
    }
  });
}

void ConfigStoreImpl::SetInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects,
                                   const USERDATA_CONTEXT& context) {
  RequireList(objects);
  const ConfigStoreObjectId& first = objects.front()->GetConfigStoreObjectId();
  LogOperation(kWritePriority, "SetInstances", first, 0);
  SchemaPtr schema;
  BootContextCheck bootRule(context);
  for (const auto& object : objects) {
    const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
    schema = LookupSchema(id);
    ValidateCsoIdInstances(id, schema);
    validateInstanceId(id);
    ValidateSet(schema, object);
    bootRule.Check(object, schema);
  }
  RequireOneType(objects);
  RunInTransaction("SetInstances", {first}, [&] {
    DeleteInstancesInternal(first, connection_, objects);
    SetInstancesInternal(objects, schema, context, connection_);
  });
}

// The shared body of the per-source list writes: validate every object,
// then in one transaction clear the source's column of every instance of
// the key and write the list.
void ConfigStoreImpl::SetDataInstancesInternal(const ObjectList& objects, const SchemaPtr& schema,
                                               Validator validate, ClearSource clear,
                                               WriteSource write) {
  for (const auto& object : objects) {
    validateInstanceId(object->GetConfigStoreObjectId());
    validate(schema, object);
  }
  RequireOneType(objects);
  const ConfigStoreObjectId& first = objects.front()->GetConfigStoreObjectId();
  RunInTransaction("SetDataInstancesInternal", {first}, [&] {
    clear(first, connection_);
    write(objects, connection_, schema->GetVersion());
  });
}

SchemaPtr ConfigStoreImpl::CheckedListSchema(const ObjectList& objects, const char* operation) {
  RequireList(objects);
  const ConfigStoreObjectId& first = objects.front()->GetConfigStoreObjectId();
  LogOperation(kWritePriority, operation, first, 0);
  SchemaPtr schema = LookupSchema(first);
  ValidateCsoIdInstances(first, schema);
  return schema;
}

void ConfigStoreImpl::SetUserDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>> objects,
                                           const USERDATA_CONTEXT& context) {
  const SchemaPtr schema = CheckedListSchema(objects, "SetUserDataInstances");
  CheckBootContext(schema, true, context);
  const bool external = context == EXTERNAL;
  SetDataInstancesInternal(objects, schema, ValidateUserConfig,
                           external ? DeleteUserConfigInstances : DeleteAutoConfConfigInstances,
                           external ? WriteUserConfigInstances : WriteAutoConfConfigInstances);
}

void ConfigStoreImpl::SetCachedDataInstances(
    std::vector<std::shared_ptr<ConfigStoreObject>> objects) {
  const SchemaPtr schema = CheckedListSchema(objects, "SetCachedDataInstances");
  SetDataInstancesInternal(objects, schema, ValidateCachedConfig, DeleteCachedConfigInstances,
                           WriteCachedConfigInstances);
}

void ConfigStoreImpl::SetVitalDataInstances(
    std::vector<std::shared_ptr<ConfigStoreObject>> objects) {
  const SchemaPtr schema = CheckedListSchema(objects, "SetVitalDataInstances");
  SetDataInstancesInternal(objects, schema, ValidateVitalConfig, DeleteVitalConfigInstances,
                           WriteVitalConfigInstances);
}

}  // namespace OrinConfigStore
