// CheckStore: SQLite's integrity check of both databases, then every value
// of every object read once, parsed and validated as its source's writes
// are.

#include "configstore/store_check.h"

#include <memory>
#include <string>
#include <vector>

#include "configstore/exceptions.h"
#include "configstore/json_doc.h"
#include "db/row_reader.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"
#include "platform/host.h"
#include "platform/integrity.h"
#include "platform/schema_database.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kReadValues =
    "SELECT Component, ConfigGroup, Name, Identifier, AutoConfValue, UserValue, VitalValue, "
    "CachedValue, DesiredValue FROM Config;";
constexpr const char* kCannotLook = "Cannot check the store: ";
constexpr const char* kReadFailed = "reading the objects failed: ";
constexpr const char* kConfigurationDatabase = "configuration";
constexpr const char* kSchemaStoreDatabase = "schema store";
constexpr const char* kIntegrity = "integrity";
constexpr const char* kUnparsable = "unparsable";
constexpr const char* kUnknownType = "unknown type";
constexpr const char* kInvalid = "invalid";

// Each value column, the source it holds, and the tags that a write of
// that source is validated with (a staged desired value stands for a user
// value, an automatic one comes from an internal write of the user part).
struct SourceColumn {
  const char* column;
  const char* source;
  const TagSet* tags;
};
const SourceColumn kSourceColumns[] = {
    {"AutoConfValue", "automatic", &kUserTags}, {"UserValue", "user", &kUserTags},
    {"VitalValue", "vital", &kVitalTags},       {"CachedValue", "cached", &kCachedTags},
    {"DesiredValue", "desired", &kUserTags},
};

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

void CheckValue(const ConfigStoreObjectId& id, const SchemaPtr& schema, const SourceColumn& column,
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

// The type's schema, or null (with the reason in `why`) when it has none.
SchemaPtr SchemaOf(const ConfigStoreObjectId& id, std::string& why) {
  try {
    return LookupSchema(id);
  } catch (const ConfigStoreException& e) {
    why = e.what();
    return nullptr;
  }
}

// The schema of the type last looked up: rows mostly come type by type, and
// a lookup also makes sure the schema store has not changed meanwhile.
struct LastType {
  ConfigStoreObjectId id{"", "", ""};
  SchemaPtr schema;
  std::string why;
  bool known = false;
};

void CheckRow(const RowView& row, StoreCheck& check, LastType& last) {
  auto text = [&](const char* column) {
    const char* value = row.Get(column);
    return std::string(value != nullptr ? value : "");
  };
  const ConfigStoreObjectId id(text("Name"), text("ConfigGroup"), text("Component"),
                               text("Identifier"));
  ++check.objects;
  if (!last.known || id.component != last.id.component || id.group != last.id.group ||
      id.key != last.id.key) {
    last.id = id;
    last.why.clear();
    last.schema = SchemaOf(id, last.why);
    last.known = true;
  }
  const SchemaPtr& schema = last.schema;
  if (!schema) {
    AddProblem(check, kUnknownType, id, "", last.why);
    return;
  }
  for (const SourceColumn& column : kSourceColumns) {
    if (const char* value = row.Get(column.column)) CheckValue(id, schema, column, value, check);
  }
}

}  // namespace

StoreCheck CheckStore() {
  StoreCheck check;
  const std::string configuration = HostPath(DBStore::kConfigDatabaseFile);
  const std::size_t damaged = CheckIntegrity(configuration, kConfigurationDatabase, check);
  CheckIntegrity(OrinSchemaStore::SchemaStorePath(), kSchemaStoreDatabase, check);
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  if (!connection) throw ConfigStoreException(kCannotLook + configuration);
  LastType last;
  auto visit = [&](const RowView& row) { CheckRow(row, check, last); };
  if (VisitRows(connection, kReadValues, visit) != 0) {
    const std::string cause = DBStore::LastFailure().message;
    // A damaged file may stop the reading; the damage is the finding.
    if (damaged == 0) throw ConfigStoreException(kCannotLook + cause);
    AddProblem(check, kIntegrity, kNoObject, "", kReadFailed + cause, kConfigurationDatabase);
  }
  return check;
}

}  // namespace OrinConfigStore
