#include "schema_evolution.h"

#include <rapidjson/pointer.h>

#include <filesystem>
#include <map>
#include <memory>

#include "configstore/exceptions.h"
#include "history_schema.h"
#include "history_writes.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_database.h"
#include "platform/schema_object.h"
#include "source_split.h"
#include "validation/schema_validation.h"
#include "value_columns.h"

namespace OrinSchemaStore {

bool SchemaLoadReport::Refused() const {
  for (const TypeChange& type : types) {
    if (!type.refusal.empty() || !type.refused.empty()) return true;
  }
  return false;
}

}  // namespace OrinSchemaStore

namespace OrinConfigStore {

namespace {

using OrinSchemaStore::Migration;
using OrinSchemaStore::MigrationStep;
using OrinSchemaStore::RefusedObject;
using OrinSchemaStore::SchemaDefinition;
using OrinSchemaStore::SchemaLoadOptions;
using OrinSchemaStore::SchemaObject;
using OrinSchemaStore::TypeChange;
using Pointer = rapidjson::GenericPointer<JVal>;

constexpr const char* kNewType = "new";
constexpr const char* kSame = "same";
constexpr const char* kNewVersion = "version";
constexpr const char* kForced = "forced";
constexpr const char* kSameVersionRefusal =
    "the schema differs from the stored one of the same version: give the definition a new "
    "version, or force the load";
constexpr const char* kNotAnObject = "the stored value is not a JSON object";
constexpr const char* kRefused = "Schema load refused:";
constexpr const char* kWriteFailed = "Schema load failed: the migrated objects cannot be written";
constexpr const char* kRoot = "/";

struct ObjectTable {
  const char* name;
  const char* select;                       // identity parts: key, group, component
  const char* updateValues;                 // values..., version, component, group, key, identifier
  const char* updateVersion;                // version, component, group, key, identifier
  const std::vector<ValueColumn>& columns;  // an "add" step writes where its member's owner is
  bool recorded;                            // in the change history
};

const ObjectTable kConfigTable{
    "Config",
    "SELECT Identifier, Version, AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue "
    "FROM Config WHERE Name = '%s' AND ConfigGroup = '%s' AND Component = '%s';",
    "UPDATE Config SET AutoConfValue = ?, UserValue = ?, VitalValue = ?, CachedValue = ?, "
    "DesiredValue = ?, Version = ifnull(?, '') WHERE Component = ? AND ConfigGroup = ? AND "
    "Name = ? AND Identifier = ifnull(?, '');",
    "UPDATE Config SET Version = ifnull(?, '') WHERE Component = ? AND ConfigGroup = ? AND "
    "Name = ? AND Identifier = ifnull(?, '');",
    kConfigValueColumns,
    true};

const ObjectTable kDesiredTable{
    "DesiredUserConfig",
    "SELECT Identifier, Version, Value, VitalValue, CachedValue FROM DesiredUserConfig WHERE "
    "Name = '%s' AND ConfigGroup = '%s' AND Component = '%s';",
    "UPDATE DesiredUserConfig SET Value = ?, VitalValue = ?, CachedValue = ?, Version = "
    "ifnull(?, '') WHERE Component = ? AND ConfigGroup = ? AND Name = ? AND Identifier = "
    "ifnull(?, '');",
    "UPDATE DesiredUserConfig SET Version = ifnull(?, '') WHERE Component = ? AND ConfigGroup = "
    "? AND Name = ? AND Identifier = ifnull(?, '');",
    kDesiredValueColumns,
    false};

const ObjectTable* const kObjectTables[] = {&kConfigTable, &kDesiredTable};

// The source a member added by `step` belongs to under `schema`: the
// member alone, put where the step puts it, split as a write would be.
ValueSource OwnerOf(const MigrationStep& step, const JVal& schema) {
  JDoc probe;
  probe.SetObject();
  JDoc member;
  member.SetObject();
  Pointer(step.path.c_str()).Set(member, *step.value, member.GetAllocator());
  if (step.each.empty()) {
    probe.Swap(member);
  } else {
    JVal list(rapidjson::kArrayType);
    list.PushBack(JVal(member, probe.GetAllocator()), probe.GetAllocator());
    Pointer(step.each.c_str()).Set(probe, list, probe.GetAllocator());
  }
  for (const ValueSource source : {ValueSource::kVital, ValueSource::kCached}) {
    try {
      if (SplitBySource(probe, schema, source)) return source;
    } catch (const ConfigStoreException&) {
      return ValueSource::kUser;  // a member the schema does not describe
    }
  }
  return ValueSource::kUser;
}

// One type's definition, with what planning its rows needs.
struct TypePlan {
  const SchemaDefinition& definition;
  std::shared_ptr<SchemaObject> schema;  // the new one
  std::string storedVersion;
  std::map<const MigrationStep*, ValueSource> owners;

  const Migration* MigrationFrom(const std::string& version) const {
    for (const Migration& migration : definition.migrations) {
      if (migration.from == version) return &migration;
    }
    return nullptr;
  }
  ValueSource Owner(const MigrationStep& step) {
    const auto found = owners.find(&step);
    if (found != owners.end()) return found->second;
    return owners[&step] = OwnerOf(step, *definition.schema);
  }
};

std::shared_ptr<SchemaObject> NewSchema(const SchemaDefinition& definition) {
  auto schema = std::make_unique<JDoc>();
  schema->CopyFrom(*definition.schema, schema->GetAllocator());
  return std::make_shared<SchemaObject>(definition.component, definition.group, definition.key,
                                        definition.version, std::move(schema),
                                        definition.nonSingleton, definition.bootExempt);
}

// Runs the migration on one value; false, with the error, when it cannot.
bool MigrateValue(TypePlan& type, const Migration& migration, const ValueColumn& column,
                  std::string& text, bool& changed, std::vector<ErrorInfo>& errors) {
  JDoc data;
  if (!ConfigStoreDocument::ParseStored(data, text.data(), text.size()) || !data.IsObject()) {
    errors.push_back({kRoot, kNotAnObject});
    return false;
  }
  JDoc original;
  original.CopyFrom(data, original.GetAllocator());
  std::string problem;
  auto adds = [&](const MigrationStep& step) { return type.Owner(step) == column.owner; };
  if (!OrinSchemaStore::Migrate(migration, data, adds, problem)) {
    errors.push_back({kRoot, problem});
    return false;
  }
  if (data == original) return true;
  text.clear();
  ConfigStoreDocument::SerializeValue(data, text);
  changed = true;
  return true;
}

void ValidateValue(const TypePlan& type, const ConfigStoreObjectId& id, const ValueColumn& column,
                   const std::string& text, std::vector<ErrorInfo>& errors) {
  std::shared_ptr<ConfigStoreObject> object;
  try {
    object = CreateStoredObject(id, text, type.schema);
  } catch (const ConfigStoreException& e) {
    errors.push_back({kRoot, e.what()});
    return;
  }
  ValidateObjectData(type.schema, object, *column.tags, errors, true);
}

void PlanRow(TypePlan& type, const ObjectTable& table, const RowView& row, EvolutionPlan& plan,
             TypeChange& change) {
  const SchemaDefinition& definition = type.definition;
  const char* identifier = row.Get(kIdentifier);
  const ConfigStoreObjectId id(definition.key, definition.group, definition.component,
                               identifier != nullptr ? identifier : "");
  const char* stored = row.Get("Version");
  std::string version = stored != nullptr ? stored : "";
  if (version.empty()) version = type.storedVersion;
  const Migration* migration =
      version != definition.version ? type.MigrationFrom(version) : nullptr;
  RowRewrite rewrite{table.name, id, {}, definition.version, false};
  for (const ValueColumn& column : table.columns) {
    const char* value = row.Get(column.column);
    if (value == nullptr) {
      rewrite.values.emplace_back();
      continue;
    }
    std::string text = value;
    std::vector<ErrorInfo> errors;
    if (migration == nullptr ||
        MigrateValue(type, *migration, column, text, rewrite.migrated, errors)) {
      ValidateValue(type, id, column, text, errors);
    }
    if (!errors.empty()) change.refused.push_back(RefusedObject{id, column.source, errors});
    rewrite.values.emplace_back(std::move(text));
  }
  ++change.objects;
  change.migrated += rewrite.migrated;
  if (stored == nullptr || definition.version != stored)
    plan.rewrites.push_back(std::move(rewrite));
}

void PlanRows(TypePlan& type, const Connection& connection, EvolutionPlan& plan,
              TypeChange& change) {
  const SchemaDefinition& definition = type.definition;
  for (const ObjectTable* table : kObjectTables) {
    auto visit = [&](const RowView& row) { PlanRow(type, *table, row, plan, change); };
    const std::string statement =
        FormatSql(table->select, {definition.key, definition.group, definition.component});
    if (VisitRows(connection, statement, visit) != 0) {
      throw ConfigStoreException(GetFailedMessage(
          ConfigStoreObjectId(definition.key, definition.group, definition.component)));
    }
  }
}

bool SameType(const SchemaObject& stored, const SchemaDefinition& definition) {
  return stored.GetSchemaJson() == *definition.schema &&
         stored.IsNonSingleton() == definition.nonSingleton &&
         stored.IsBootExempt() == definition.bootExempt;
}

// What the load does to the type, before its objects are looked at.
TypeChange Classify(const SchemaDefinition& definition, const SchemaObject* stored,
                    const SchemaLoadOptions& options) {
  TypeChange change;
  change.type = definition.Name();
  change.toVersion = definition.version;
  if (stored == nullptr) {
    change.change = kNewType;
    return change;
  }
  change.fromVersion = stored->GetVersion();
  if (stored->GetVersion() != definition.version) {
    change.change = kNewVersion;
  } else if (SameType(*stored, definition)) {
    change.change = kSame;
  } else if (options.force) {
    change.change = kForced;
  } else {
    change.change = kSame;
    change.refusal = kSameVersionRefusal;
  }
  return change;
}

std::unique_ptr<OrinSchemaStore::SchemaReader> StoredTypes() {
  const std::string path = OrinSchemaStore::SchemaStorePath();
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return nullptr;
  return OrinSchemaStore::SchemaReader::Open(path);
}

std::vector<std::string> RewriteValues(const RowRewrite& rewrite) {
  std::vector<std::string> values;
  if (rewrite.migrated) {
    for (const auto& value : rewrite.values) values.push_back(value.value_or(""));
  }
  values.insert(values.end(), {rewrite.version, rewrite.id.component, rewrite.id.group,
                               rewrite.id.key, rewrite.id.instanceId});
  return values;
}

void Rewrite(const RowRewrite& rewrite, const Connection& connection) {
  const ObjectTable& table = rewrite.table == kConfigTable.name ? kConfigTable : kDesiredTable;
  const char* statement = rewrite.migrated ? table.updateValues : table.updateVersion;
  if (!ExecuteStatement(connection, statement, RewriteValues(rewrite))) {
    throw ConfigStoreException(kWriteFailed);
  }
  if (rewrite.migrated && table.recorded) {
    RecordRow(connection, rewrite.id, kChangeMigrate, kWriteFailed);
  }
}

// "component/group/key[/instance]", as the tool writes identifiers.
std::string Slashed(const ConfigStoreObjectId& id) {
  std::string text = id.component + "/" + id.group + "/" + id.key;
  return id.instanceId.empty() ? text : text + "/" + id.instanceId;
}

}  // namespace

EvolutionPlan PlanEvolution(const std::vector<SchemaDefinition>& definitions,
                            const SchemaLoadOptions& options, const Connection& connection) {
  EvolutionPlan plan;
  const auto reader = StoredTypes();
  for (const SchemaDefinition& definition : definitions) {
    std::unique_ptr<SchemaObject> stored;
    if (reader) stored = reader->Read(definition.component, definition.group, definition.key);
    TypeChange change = Classify(definition, stored.get(), options);
    const bool check = change.change == kNewVersion || change.change == kForced;
    if (check && connection) {
      TypePlan type{definition, NewSchema(definition), stored->GetVersion(), {}};
      PlanRows(type, connection, plan, change);
    }
    plan.report.types.push_back(std::move(change));
  }
  return plan;
}

void ApplyEvolution(const EvolutionPlan& plan, const Connection& connection) {
  if (plan.rewrites.empty()) return;
  RecordedWrite(connection, kWriteFailed, [&] {
    for (const RowRewrite& rewrite : plan.rewrites) Rewrite(rewrite, connection);
  });
}

void ThrowRefusal(const OrinSchemaStore::SchemaLoadReport& report) {
  std::string message = kRefused;
  std::vector<ErrorInfo> errors;
  for (const TypeChange& type : report.types) {
    if (type.refusal.empty() && type.refused.empty()) continue;
    message += " " + type.type;
    if (!type.refusal.empty()) errors.push_back({type.type, type.refusal});
    for (const RefusedObject& object : type.refused) {
      for (const ErrorInfo& error : object.errors) {
        errors.push_back(
            {Slashed(object.id) + " " + object.source + " " + error.field, error.error});
      }
    }
  }
  throw ValidationException(CS_ERR_VALIDATION, message.c_str(), errors);
}

}  // namespace OrinConfigStore
