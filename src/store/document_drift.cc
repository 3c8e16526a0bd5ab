// The drift of the store from an export document: each type the document
// names, compared object by object with what Export shows of it.

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

#include "config_store_impl.h"
#include "configstore/drift_compute.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "objects/data_drift.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kDriftNeedsStore = "Drift needs a store";
constexpr const char* kDriftDocumentRefused = "Drift document failed validation";

using DriftList = std::vector<std::shared_ptr<DriftObject>>;

// The value of the member `name` of `object`, or null.
const JVal* EntryOf(const JVal* object, const JVal& name) {
  if (object == nullptr || !object->IsObject()) return nullptr;
  const auto found = object->FindMember(name);
  return found == object->MemberEnd() ? nullptr : &found->value;
}

void Append(DriftList& drifts, std::shared_ptr<DriftObject> drift) {
  if (drift) drifts.push_back(std::move(drift));
}

// A non-singleton type: the document's instances, then the stored ones it
// lacks, each matched by instance id.
void InstanceDrifts(const ConfigStoreObjectId& type, const SchemaPtr& schema, const JVal* stored,
                    const JVal& desired, DriftList& drifts) {
  const std::string& instanceKey = schema->GetInstanceIdKey();
  const JVal& instanceKeys = schema->GetInstanceKeyMap();
  ConfigStoreObjectId id = type;
  for (const JVal& instance : desired.GetArray()) {
    id.instanceId = GetInstanceIdFromValue(instance, schema);
    const JVal* before =
        stored != nullptr ? FindInstance(*stored, instanceKey, id.instanceId) : nullptr;
    Append(drifts, ComputeDataDrift(id, before, &instance, instanceKeys));
  }
  if (stored == nullptr) return;
  for (const JVal& instance : stored->GetArray()) {
    id.instanceId = GetInstanceIdFromValue(instance, schema);
    if (FindInstance(desired, instanceKey, id.instanceId) != nullptr) continue;
    Append(drifts, ComputeDataDrift(id, &instance, nullptr, instanceKeys));
  }
}

bool DriftOrder(const std::shared_ptr<DriftObject>& a, const std::shared_ptr<DriftObject>& b) {
  const ConfigStoreObjectId x = a->GetConfigStoreObjectId();
  const ConfigStoreObjectId y = b->GetConfigStoreObjectId();
  return std::tie(x.component, x.group, x.key, x.instanceId) <
         std::tie(y.component, y.group, y.key, y.instanceId);
}

}  // namespace

std::vector<std::shared_ptr<DriftObject>> ComputeDocumentDrift(
    const std::shared_ptr<ConfigStore>& store, const std::shared_ptr<JsonDoc>& document) {
  if (!store) throw InvalidArgumentException(kDriftNeedsStore);
  const JDoc nothing;
  const JVal& desired = document ? static_cast<const JVal&>(document->GetDocument()) : nothing;
  const auto cache = OrinSchemaStore::SchemaStore::GetCache();
  std::vector<ErrorInfo> errors;
  if (!ValidateImportDocument(desired, cache, errors)) {
    throw ValidationException(CS_ERR_GENERIC, kDriftDocumentRefused, errors);
  }

  std::vector<std::shared_ptr<FilterSpecObject>> types;
  for (const auto& component : desired.GetObject()) {
    for (const auto& group : component.value.GetObject()) {
      for (const auto& key : group.value.GetObject()) {
        types.push_back(std::make_shared<FilterSpecObject>(ConfigStoreObjectId(
            key.name.GetString(), group.name.GetString(), component.name.GetString())));
      }
    }
  }
  DriftList drifts;
  // Export of no types would be an export of every type.
  if (types.empty()) return drifts;
  const auto stored = store->Export(types);
  const JVal& storedDocument = stored->GetDocument();

  for (const auto& component : desired.GetObject()) {
    const JVal* storedComponent = EntryOf(&storedDocument, component.name);
    for (const auto& group : component.value.GetObject()) {
      const JVal* storedGroup = EntryOf(storedComponent, group.name);
      for (const auto& key : group.value.GetObject()) {
        const ConfigStoreObjectId type(key.name.GetString(), group.name.GetString(),
                                       component.name.GetString());
        const SchemaPtr schema = cache->Get(type.component, type.group, type.key);
        CheckSchema(type, schema);
        const JVal* storedEntry = EntryOf(storedGroup, key.name);
        if (schema->IsNonSingleton()) {
          InstanceDrifts(type, schema, storedEntry, key.value, drifts);
        } else {
          Append(drifts,
                 ComputeDataDrift(type, storedEntry, &key.value, schema->GetInstanceKeyMap()));
        }
      }
    }
  }
  std::sort(drifts.begin(), drifts.end(), DriftOrder);
  return drifts;
}

}  // namespace OrinConfigStore
