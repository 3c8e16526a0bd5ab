#include "identity_checks.h"

#include <string>

#include "configstore/exceptions.h"
#include "configstore/host.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_object.h"
#include "platform/schema_walk.h"

namespace OrinConfigStore {

namespace {

// Fixed texts rather than the table's "...: %s" templates: the message is
// the same for every identifier, so callers can recognise the rule by it.
constexpr const char* kInstanceIdRequired = "Non-Singleton object should contain instanceId";
constexpr const char* kInstanceIdForbidden = "Singleton object cannot contain instanceId";
constexpr const char* kSingletonType = "API called for singleton object, non-singleton expected";
constexpr const char* kExternalDuringBoot =
    "API cannot be invoked with EXTERNAL context during boot";

using OrinSchemaStore::kCachedMark;
using OrinSchemaStore::kInstanceIdMark;
using OrinSchemaStore::kItemsKeyword;
using OrinSchemaStore::kPropertiesKeyword;
using OrinSchemaStore::kVitalMark;

[[noreturn]] void ThrowRule(const char* message) {
  throw ValidationException(CS_ERR_GENERIC, message, {});
}

// Whether `value` holds a leaf owned by the user, judged by the schema node
// that describes it. The lookups are strict: data that the schema does not
// describe raises "Invalid JSON" instead of passing for "no user values".
bool IsUserValueNode(const JVal& schema, const JVal& value) {
  if (schema.HasMember(kVitalMark) || schema.HasMember(kCachedMark)) return false;
  if (value.IsObject()) {
    // Looked up per member: an empty object needs no "properties".
    for (const auto& member : value.GetObject()) {
      const std::string name(member.name.GetString(), member.name.GetStringLength());
      const JVal& property = RequireMember(RequireMember(schema, kPropertiesKeyword), name);
      if (IsUserValueNode(property, member.value)) return true;
    }
    return false;
  }
  if (value.IsArray()) {
    const JVal& items = RequireMember(schema, kItemsKeyword);
    for (const JVal& element : value.GetArray()) {
      if (IsUserValueNode(items, element)) return true;
    }
    return false;
  }
  const auto instanceId = schema.FindMember(kInstanceIdMark);
  return instanceId == schema.MemberEnd() || !instanceId->value.GetBool();
}

}  // namespace

void CheckSchema(const ConfigStoreObjectId& id, SchemaPtr schema) {
  if (!schema) ThrowException<ConfigStoreException>(CS_ERR_SCHEMA_NOT_FOUND, id.toString().c_str());
}

// Checks the schema first: called on its own with a null schema it would
// otherwise have nothing to ask.
void validateSingletonNonSingleton(const ConfigStoreObjectId& id, SchemaPtr schema) {
  CheckSchema(id, schema);
  const bool hasInstanceId = !id.instanceId.empty();
  if (schema->IsNonSingleton() && !hasInstanceId) ThrowRule(kInstanceIdRequired);
  if (!schema->IsNonSingleton() && hasInstanceId) ThrowRule(kInstanceIdForbidden);
}

void validateSingletonNonSingleton(std::shared_ptr<ConfigStoreObject> object, SchemaPtr schema) {
  const ConfigStoreObjectId id = ObjectIdOf(object);
  validateSingletonNonSingleton(id, std::move(schema));
}

void ValidateCsoId(const ConfigStoreObjectId& id, const SchemaPtr& schema) {
  CheckSchema(id, schema);
  validateSingletonNonSingleton(id, schema);
}

void ValidateCsoId(std::shared_ptr<ConfigStoreObject> object, const SchemaPtr& schema) {
  ValidateCsoId(ObjectIdOf(object), schema);
}

bool ValidateCsoIdInstances(const ConfigStoreObjectId& id, const SchemaPtr& schema) {
  CheckSchema(id, schema);
  if (!schema->IsNonSingleton()) ThrowRule(kSingletonType);
  return true;
}

bool ValidateCsoIdInstances(const std::shared_ptr<FilterSpecObject>& filter,
                            const SchemaPtr& schema) {
  return ValidateCsoIdInstances(ObjectIdOf(filter), schema);
}

void validateInstanceId(const ConfigStoreObjectId& id) {
  if (id.instanceId.empty()) ThrowRule(kInstanceIdRequired);
}

bool isUserType(std::shared_ptr<ConfigStoreObject> object, SchemaPtr schema) {
  const JVal& data = ObjectData(object);
  CheckSchema(ObjectIdOf(object), schema);
  return IsUserValueNode(schema->GetSchemaJson(), data);
}

void checkUserContext(bool isBoot, const USERDATA_CONTEXT& context) {
  if (!isBoot || context != EXTERNAL) return;
  if (GetUpgradeCtx()) return;
  ThrowRule(kExternalDuringBoot);
}

void ApplyBootRule(bool booting, const SchemaPtr& schema, bool hasUserValues,
                   const USERDATA_CONTEXT& context) {
  if (!booting) return;
  if (!hasUserValues || (schema && schema->IsBootExempt())) return;
  checkUserContext(true, context);
}

// A null schema counts as not boot-exempt: the refusal is the safe side
// when the type cannot be asked.
void CheckBootContext(SchemaPtr schema, bool hasUserValues, const USERDATA_CONTEXT& context) {
  ApplyBootRule(IsBoot(), schema, hasUserValues, context);
}

void CheckObjectUserContext(std::shared_ptr<ConfigStoreObject> object, SchemaPtr schema,
                            const USERDATA_CONTEXT& context) {
  BootContextCheck(context).Check(object, schema);
}

void BootContextCheck::Check(const std::shared_ptr<ConfigStoreObject>& object,
                             const SchemaPtr& schema) {
  const bool hasUserValues = isUserType(object, schema);
  if (!booting_) booting_ = IsBoot();
  ApplyBootRule(*booting_, schema, hasUserValues, context_);
}

const ConfigStoreObjectId& ObjectIdOf(const std::shared_ptr<StoreObject>& object) {
  if (!object) ThrowException<InvalidArgumentException>(CS_ERR_INVALID_ARGUMENT);
  return object->GetConfigStoreObjectId();
}

const JVal& ObjectData(const std::shared_ptr<ConfigStoreObject>& object) {
  if (!object) ThrowException<InvalidArgumentException>(CS_ERR_INVALID_ARGUMENT);
  return ConfigStoreObjectInternal::Impl(*object).DataValue();
}

}  // namespace OrinConfigStore
