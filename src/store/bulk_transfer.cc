// Export and import of whole types as one JSON document, keyed by
// component, group and key; a non-singleton type's instances form an array.

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_map>

#include "config_store_impl.h"
#include "configstore/logger.h"
#include "db/config_reads.h"
#include "db/config_writes.h"
#include "db/transaction.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_object.h"
#include "platform/schema_store.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kExport = "Export";
constexpr const char* kImport = "Import";
constexpr const char* kLogBulk = "%s : %zu types, context: %d";

using Selected = std::unordered_map<ConfigStoreObjectId, std::shared_ptr<ConfigStoreObject>>;

// A filter without data for every type of the schema store, which must be
// there: an export of nothing would pass for an empty host.
std::vector<std::shared_ptr<FilterSpecObject>> EveryType() {
  const auto store = OrinSchemaStore::SchemaStore::GetStore();
  store->RequireSchemaStore();
  std::vector<std::shared_ptr<FilterSpecObject>> filters;
  for (const auto& schema : store->GetSchemaObjects()) {
    filters.push_back(std::make_shared<FilterSpecObject>(
        ConfigStoreObjectId(schema->GetKey(), schema->GetGroup(), schema->GetComponent())));
  }
  return filters;
}

bool InDocumentOrder(const ConfigStoreObjectId& a, const ConfigStoreObjectId& b) {
  return std::tie(a.component, a.group, a.key, a.instanceId) <
         std::tie(b.component, b.group, b.key, b.instanceId);
}

// The member `name` of the object `parent`, added as `empty` when missing.
JVal& Member(JVal& parent, const std::string& name, rapidjson::Type empty, JAllocator& allocator) {
  const auto found = parent.FindMember(name.c_str());
  if (found != parent.MemberEnd()) return found->value;
  parent.AddMember(JVal(name.c_str(), static_cast<rapidjson::SizeType>(name.size()), allocator),
                   JVal(empty), allocator);
  return parent[name.c_str()];
}

// Places one object's data (generated instance ids left out) in the document.
void Place(JDoc& document, const ConfigStoreObject& object, bool nonSingleton) {
  JAllocator& allocator = document.GetAllocator();
  const ConfigStoreObjectId& id = object.GetConfigStoreObjectId();
  JVal& group = Member(Member(document, id.component, rapidjson::kObjectType, allocator), id.group,
                       rapidjson::kObjectType, allocator);
  JDoc data(&allocator);
  const std::string text = object.GetData();
  ConfigStoreDocument::ParseStored(data, text.c_str(), text.size());
  if (nonSingleton) {
    Member(group, id.key, rapidjson::kArrayType, allocator).PushBack(data.Move(), allocator);
  } else {
    Member(group, id.key, rapidjson::kObjectType, allocator) = data.Move();
  }
}

// One type of an import document, ready to be written.
struct ImportedType {
  ConfigStoreObjectId id;
  SchemaPtr schema;
  ObjectList objects;
};

std::shared_ptr<ConfigStoreObject> ImportedObject(const ConfigStoreObjectId& type,
                                                  const std::string& instanceId, const JVal& data,
                                                  const SchemaPtr& schema) {
  auto document = CreateDocument();
  document->GetDocument().CopyFrom(data, document->GetDocument().GetAllocator());
  return CreateObject(ConfigStoreObjectId(type.key, type.group, type.component, instanceId),
                      std::move(document), schema);
}

// The objects of one type's entry, each checked as Set and SetInstances
// check theirs.
ImportedType ReadType(const ConfigStoreObjectId& id, const JVal& entry, const SchemaPtr& schema,
                      const USERDATA_CONTEXT& context) {
  ImportedType type{id, schema, {}};
  if (schema->IsNonSingleton()) {
    for (const JVal& instance : entry.GetArray()) {
      auto object = ImportedObject(id, GetInstanceIdFromValue(instance, schema), instance, schema);
      validateInstanceId(object->GetConfigStoreObjectId());
      type.objects.push_back(std::move(object));
    }
  } else {
    type.objects.push_back(ImportedObject(id, "", entry, schema));
  }
  BootContextCheck bootRule(context);
  for (const auto& object : type.objects) {
    ValidateCsoId(object, schema);
    bootRule.Check(object, schema);
  }
  return type;
}

// Every type of a document that validated against the types' schemas.
std::vector<ImportedType> ReadDocument(const JVal& document, const USERDATA_CONTEXT& context) {
  const auto cache = OrinSchemaStore::SchemaStore::GetCache();
  std::vector<ImportedType> types;
  for (const auto& component : document.GetObject()) {
    for (const auto& group : component.value.GetObject()) {
      for (const auto& key : group.value.GetObject()) {
        const ConfigStoreObjectId id(key.name.GetString(), group.name.GetString(),
                                     component.name.GetString());
        types.push_back(
            ReadType(id, key.value, cache->Get(id.component, id.group, id.key), context));
      }
    }
  }
  return types;
}

}  // namespace

std::shared_ptr<JsonDoc> ConfigStoreImpl::Export(
    const std::vector<std::shared_ptr<FilterSpecObject>>& filters) {
  const auto selection = filters.empty() ? EveryType() : filters;
  CSLogger::Log(kReadPriority, kLogBulk, kExport, selection.size(), 1);
  std::map<std::tuple<std::string, std::string, std::string>, bool> nonSingleton;
  std::vector<std::pair<std::shared_ptr<FilterSpecObject>, SchemaPtr>> reads;
  for (const auto& filter : selection) {
    if (FsoIsEmpty(filter, kExport)) continue;
    const ConfigStoreObjectId& id = filter->GetConfigStoreObjectId();
    const SchemaPtr schema = LookupSchema(id);
    CheckSchema(id, schema);
    nonSingleton[{id.component, id.group, id.key}] = schema->IsNonSingleton();
    reads.emplace_back(filter, schema);
  }

  // One transaction, so that the document shows one moment of the store.
  Selected selected;
  const TransactionFailure failed = TransactionFailure::Coded(CS_ERR_EXPORT_FAILED);
  OrinConfigStore::RunInTransaction(
      connection_, TransactionPolicy{failed, failed, InsideFailure::kAsRaised}, [&] {
        for (const auto& [filter, schema] : reads) {
          for (auto& object : GetConfigInstancesInternal(filter, connection_, schema)) {
            selected.emplace(object->GetConfigStoreObjectId(), std::move(object));
          }
        }
      });

  std::vector<ConfigStoreObjectId> ids;
  for (const auto& entry : selected) ids.push_back(entry.first);
  std::sort(ids.begin(), ids.end(), InDocumentOrder);
  auto document = CreateDocument();
  document->GetDocument().SetObject();
  for (const ConfigStoreObjectId& id : ids) {
    Place(document->GetDocument(), *selected.at(id),
          nonSingleton[{id.component, id.group, id.key}]);
  }
  return document;
}

void ConfigStoreImpl::Import(const std::shared_ptr<JsonDoc>& document,
                             const USERDATA_CONTEXT& context) {
  const JDoc nothing;
  const JVal& data = document ? static_cast<const JVal&>(document->GetDocument()) : nothing;
  std::vector<ErrorInfo> errors;
  if (!ValidateImportDocument(data, OrinSchemaStore::SchemaStore::GetCache(), errors)) {
    ThrowValidation(CS_ERR_IMPORT_FAILED, errors);
  }
  const std::vector<ImportedType> types = ReadDocument(data, context);
  CSLogger::Log(kWritePriority, kLogBulk, kImport, types.size(), context == EXTERNAL ? 1 : 0);
  std::vector<ConfigStoreObjectId> changed;
  for (const ImportedType& type : types) changed.push_back(type.id);
  RunInTransaction(kImport, changed, [&] {
    for (const ImportedType& type : types) {
      if (!type.schema->IsNonSingleton()) {
        SetInternal(type.objects.front(), type.schema, context, connection_);
        continue;
      }
      DeleteInstancesInternal(type.id, connection_, type.objects);
      if (!type.objects.empty()) {
        SetInstancesInternal(type.objects, type.schema, context, connection_);
      }
    }
  });
}

}  // namespace OrinConfigStore
