// CheckStore: SQLite's integrity check of both databases, then every value
// of every object read once, parsed and validated as its source's writes
// are.

#include "configstore/store_check.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "configstore/exceptions.h"
#include "configstore/json_doc.h"
#include "db/value_columns.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"
#include "platform/host.h"
#include "platform/integrity.h"
#include "platform/schema_database.h"
#include "platform/sqlite_db.h"
#include "store_files.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kReadValues =
    "SELECT Component, ConfigGroup, Name, Identifier, AutoConfValue, UserValue, VitalValue, "
    "CachedValue, DesiredValue FROM Config;";
constexpr const char* kCannotLook = "Cannot check the store: ";
constexpr const char* kReadFailed = "reading the objects failed: ";
constexpr const char* kIntegrity = "integrity";
constexpr const char* kUnparsable = "unparsable";
constexpr const char* kUnknownType = "unknown type";
constexpr const char* kInvalid = "invalid";

// Where kReadValues' value columns begin: after the identity, in
// kConfigValueColumns' order.
constexpr int kFirstValueColumn = 4;

void AddProblem(StoreCheck& check, const char* kind, const ConfigStoreObjectId& id,
                const char* source, std::string detail, const char* database = "") {
  StoreProblem problem;
  problem.kind = kind;
  problem.database = database;
  problem.id = id;
  problem.source = source;
  problem.detail = std::move(detail);
  check.problems.push_back(std::move(problem));
}

const ConfigStoreObjectId kNoObject("", "", "");

// Adds the integrity check's findings of one database; returns how many.
std::size_t CheckIntegrity(const std::string& path, const char* database, StoreCheck& check) {
  std::vector<std::string> problems;
  std::string error;
  if (!CheckDatabaseIntegrity(path, problems, error)) {
    throw ConfigStoreException(kCannotLook + path + ": " + error);
  }
  for (std::string& line : problems) {
    AddProblem(check, kIntegrity, kNoObject, "", std::move(line), database);
  }
  return problems.size();
}

// "<member>: <error>; ..." of a validation.
std::string Listed(const std::vector<ErrorInfo>& errors) {
  std::string listed;
  for (const ErrorInfo& error : errors) {
    if (!listed.empty()) listed += "; ";
    listed += error.field + ": " + error.error;
  }
  return listed;
}

void CheckValue(const ConfigStoreObjectId& id, const SchemaPtr& schema, const ValueColumn& column,
                const char* text, StoreCheck& check) {
  std::shared_ptr<ConfigStoreObject> object;
  try {
    object = CreateStoredObject(id, text, schema);
  } catch (const ConfigStoreException& e) {
    AddProblem(check, kUnparsable, id, column.source, e.what());
    return;
  }
  std::vector<ErrorInfo> errors;
  if (!ValidateObjectData(schema, object, *column.tags, errors, true)) {
    AddProblem(check, kInvalid, id, column.source, Listed(errors));
  }
}

// The types of the store's schema store, each read once.
class TypeMemo {
 public:
  explicit TypeMemo(const std::string& schemaStore)
      : reader_(OrinSchemaStore::SchemaReader::Open(schemaStore)) {}

  // Null when the schema store does not know the type.
  const SchemaPtr& Schema(const ConfigStoreObjectId& id) {
    const std::string name = id.component + "/" + id.group + "/" + id.key;
    const auto found = types_.find(name);
    if (found != types_.end()) return found->second;
    SchemaPtr schema;
    if (reader_) schema = reader_->Read(id.component, id.group, id.key);
    return types_.emplace(name, std::move(schema)).first->second;
  }

 private:
  std::unique_ptr<OrinSchemaStore::SchemaReader> reader_;
  std::map<std::string, SchemaPtr> types_;
};

void CheckRow(const SqliteStatement& row, StoreCheck& check, TypeMemo& types) {
  auto text = [&](int column) {
    const char* value = row.ColumnTextOrNull(column);
    return std::string(value != nullptr ? value : "");
  };
  const ConfigStoreObjectId id(text(2), text(1), text(0), text(3));
  ++check.objects;
  const SchemaPtr& schema = types.Schema(id);
  if (!schema) {
    AddProblem(check, kUnknownType, id, "", "");
    return;
  }
  int column = kFirstValueColumn;
  for (const ValueColumn& source : kConfigValueColumns) {
    if (const char* value = row.ColumnTextOrNull(column++)) {
      CheckValue(id, schema, source, value, check);
    }
  }
}

// Reads every object; false, with `cause`, when the reading stops short.
bool CheckObjects(const StoreFiles& files, StoreCheck& check, std::string& cause) {
  int code = 0;
  bool immutable = false;
  const auto db = SqliteDb::OpenReader(files.configuration, &cause, &code, &immutable);
  if (!db) throw ConfigStoreException(kCannotLook + files.configuration + ": " + cause);
  TypeMemo types(files.schemaStore);
  SqliteStatement rows(*db, kReadValues);
  while (rows.Next()) CheckRow(rows, check, types);
  if (rows.Done()) return true;
  cause = rows.Ok() ? db->LastError() : rows.PrepareError();
  return false;
}

}  // namespace

StoreFiles StoreFiles::Host() {
  return {HostPath(DBStore::kConfigDatabaseFile), OrinSchemaStore::SchemaStorePath()};
}

StoreCheck CheckStoreFiles(const StoreFiles& files) {
  StoreCheck check;
  const std::size_t damaged = CheckIntegrity(files.configuration, kConfigurationDatabase, check) +
                              CheckIntegrity(files.schemaStore, kSchemaStoreDatabase, check);
  std::string cause;
  try {
    if (CheckObjects(files, check, cause)) return check;
  } catch (const ConfigStoreException& e) {
    if (damaged == 0) throw;
    cause = e.what();
  }
  // A damaged file may stop the reading; the damage is the finding.
  if (damaged == 0) throw ConfigStoreException(kCannotLook + cause);
  AddProblem(check, kIntegrity, kNoObject, "", kReadFailed + cause, kConfigurationDatabase);
  return check;
}

StoreCheck CheckStore() { return CheckStoreFiles(StoreFiles::Host()); }

}  // namespace OrinConfigStore
