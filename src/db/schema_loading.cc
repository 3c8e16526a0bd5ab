// Loading schema definitions: the types go to the schema store, their
// shipped defaults to the configuration database's DefaultConfig table.

#include <filesystem>
#include <fstream>
#include <sstream>

#include "config_table.h"
#include "configstore/exceptions.h"
#include "configstore/provisioning.h"
#include "errors/format.h"
#include "json/document.h"
#include "platform/db_store.h"
#include "platform/schema_database.h"
#include "platform/schema_definition.h"
#include "platform/schema_walk.h"
#include "schema_evolution.h"
#include "source_split.h"
#include "transaction.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ConfigStoreException;
using OrinConfigStore::InsideFailure;
using OrinConfigStore::JVal;
using OrinConfigStore::TransactionFailure;
using OrinConfigStore::TransactionPolicy;

constexpr const char* kTextSource = "JSON text";
constexpr const char* kUnreadableFile = "Invalid schema definition in %s: the file cannot be read";
constexpr const char* kDeleteDefaults =
    "DELETE FROM DefaultConfig WHERE Component = ? AND ConfigGroup = ? AND Name = ?;";
constexpr const char* kInsertDefault =
    "INSERT OR REPLACE INTO DefaultConfig(Component, ConfigGroup, Name, Identifier, Version, "
    "Value, VitalValue, CachedValue, CreationTime) "
    "VALUES(?, ?, ?, ?, ?, ?, ?, ?, datetime(CURRENT_TIMESTAMP));";

using Connection = std::shared_ptr<DBStore::StoreConnection>;

bool WriteInstance(const Connection& connection, const SchemaDefinition& definition,
                   const JVal& instance) {
  const JVal& schema = *definition.schema;
  const std::string idMember = TopLevelInstanceIdMember(schema);
  const std::string id = idMember.empty() ? std::string() : instance[idMember.c_str()].GetString();
  std::vector<std::string> values{definition.component, definition.group, definition.key, id,
                                  definition.version};
  for (std::string& part : OrinConfigStore::SplitTexts(instance, schema)) {
    values.push_back(std::move(part));
  }
  return DBStore::Execute(connection, kInsertDefault, values, {}, DBStore::kStatementTimeoutMs) ==
         0;
}

bool WriteDefaults(const Connection& connection, const SchemaDefinition& definition) {
  const std::vector<std::string> names{definition.component, definition.group, definition.key};
  if (DBStore::Execute(connection, kDeleteDefaults, names, {}, DBStore::kStatementTimeoutMs) != 0)
    return false;
  if (!definition.defaultConfig) return true;
  const JVal& defaults = *definition.defaultConfig;
  if (defaults.IsObject()) return WriteInstance(connection, definition, defaults);
  for (const JVal& instance : defaults.GetArray()) {
    if (!WriteInstance(connection, definition, instance)) return false;
  }
  return true;
}

// One transaction for the stored objects the new definitions change and
// for all the file's defaults, planned from the rows as that transaction
// reads them. They are written before the types: should storing the types
// fail, the objects carry the new version (so that loading the file again
// checks them rather than migrating them twice), defaults without a type
// are harmless, and a reload replaces them.
void StoreObjectsAndDefaults(const std::vector<SchemaDefinition>& definitions,
                             const SchemaLoadOptions& options) {
  OrinConfigStore::InitializeDatabase();
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  const TransactionPolicy policy{TransactionFailure::Coded(OrinConfigStore::CS_ERR_TXN_START),
                                 TransactionFailure::Coded(OrinConfigStore::CS_ERR_DB_WRITE),
                                 InsideFailure::kAsRaised};
  OrinConfigStore::RunInTransaction(connection, policy, [&] {
    const OrinConfigStore::EvolutionPlan plan =
        OrinConfigStore::PlanEvolution(definitions, options, connection);
    if (plan.report.Refused()) OrinConfigStore::ThrowRefusal(plan.report);
    OrinConfigStore::ApplyEvolution(plan, connection);
    for (const SchemaDefinition& definition : definitions) {
      if (!WriteDefaults(connection, definition)) policy.commit.Raise();
    }
  });
}

std::size_t Load(const std::string& text, const std::string& source,
                 const SchemaLoadOptions& options) {
  const std::vector<SchemaDefinition> definitions = ReadSchemaDefinitions(text, source);
  StoreObjectsAndDefaults(definitions, options);
  CreateSchemaStore();
  StoreDefinitions(definitions);
  return definitions.size();
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  std::error_code ignored;
  if (!file.is_open() || file.bad() || std::filesystem::is_directory(path, ignored)) {
    throw OrinConfigStore::InvalidArgumentException(Str_Format(kUnreadableFile, path.c_str()));
  }
  return text.str();
}

}  // namespace

std::size_t LoadSchemaFile(const std::string& path) { return Load(ReadFile(path), path, {}); }

std::size_t LoadSchemaFile(const std::string& path, const SchemaLoadOptions& options) {
  return Load(ReadFile(path), path, options);
}

std::size_t LoadSchemaDefinition(const std::string& jsonText) {
  return Load(jsonText, kTextSource, {});
}

std::size_t LoadSchemaDefinition(const std::string& jsonText, const SchemaLoadOptions& options) {
  return Load(jsonText, kTextSource, options);
}

SchemaLoadReport CheckSchemaFile(const std::string& path, const SchemaLoadOptions& options) {
  const std::vector<SchemaDefinition> definitions = ReadSchemaDefinitions(ReadFile(path), path);
  return OrinConfigStore::PlanEvolution(definitions, options,
                                        DBStore::GetConnection(DBStore::CONFIG))
      .report;
}

}  // namespace OrinSchemaStore
