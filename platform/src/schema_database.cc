#include "platform/schema_database.h"
#include "platform/schema_store.h"

#include <cstring>
#include <filesystem>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "json/document.h"
#include "platform/host.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ConfigStoreDocument;
using OrinConfigStore::ConfigStoreException;
using OrinConfigStore::CSLogger;
using OrinConfigStore::SqliteDb;
using OrinConfigStore::SqliteStatement;
using OrinConfigStore::ThrowException;

constexpr const char* kCreateTables =
    "PRAGMA journal_mode=WAL;"
    "CREATE TABLE IF NOT EXISTS Schema(Component TEXT, ConfigGroup TEXT, Name TEXT, "
    "Version TEXT, Value TEXT, NonSingleton BOOLEAN DEFAULT 0, BootExempt BOOLEAN DEFAULT 0, "
    "PRIMARY KEY(Component, ConfigGroup, Name));"
    "CREATE TABLE IF NOT EXISTS SmartnicSchema(Component TEXT, ConfigGroup TEXT, Name TEXT, "
    "ValueType TEXT, PRIMARY KEY(Component, ConfigGroup, Name));";
constexpr const char* kInsertSchema =
    "INSERT OR REPLACE INTO Schema(Component, ConfigGroup, Name, Version, Value, NonSingleton, "
    "BootExempt) VALUES(?, ?, ?, ?, ?, ?, ?);";
constexpr const char* kInsertSmartnic =
    "INSERT OR REPLACE INTO SmartnicSchema(Component, ConfigGroup, Name, ValueType) "
    "VALUES(?, ?, ?, 'orin-shared');";
constexpr const char* kDeleteSmartnic =
    "DELETE FROM SmartnicSchema WHERE Component = ? AND ConfigGroup = ? AND Name = ?;";
constexpr const char* kSelectSchema =
    "SELECT Version, Value, NonSingleton, BootExempt FROM Schema "
    "WHERE Component = ? AND ConfigGroup = ? AND Name = ?;";
constexpr const char* kSelectNames =
    "SELECT Component, ConfigGroup, Name FROM Schema ORDER BY Component, ConfigGroup, Name;";
constexpr const char* kDataVersion = "PRAGMA data_version;";
constexpr const char* kBegin = "BEGIN IMMEDIATE;";
constexpr const char* kCommit = "COMMIT;";
constexpr const char* kRollback = "ROLLBACK;";
constexpr const char* kLogSqliteError = "schema store: %s: %s";
constexpr const char* kLogUnreadableRow = "schema store: the schema of %s/%s/%s is not valid JSON";
constexpr const char* kUnreadable = "Schema store unreadable: ";
constexpr const char* kCauseSeparator = ": ";
// What SQLite says of a database that has none of the tables asked for.
constexpr const char* kNoSuchTable = "no such table";

std::unique_ptr<SqliteDb> OpenForWriting() {
  ReleaseInheritedSchemaReader();
  std::string error;
  auto db = SqliteDb::Open(SchemaStorePath(), SqliteDb::Mode::kReadWrite, &error);
  if (db) db->PersistWal();
  if (!db) {
    CSLogger::Log(0, kLogSqliteError, SchemaStorePath().c_str(), error.c_str());
    ThrowException<ConfigStoreException>(OrinConfigStore::CS_ERR_DB_OPEN,
                                         SchemaStorePath().c_str());
  }
  return db;
}

bool BindNames(SqliteStatement& statement, const std::string& component, const std::string& group,
               const std::string& key) {
  return statement.BindText(1, component) && statement.BindText(2, group) &&
         statement.BindText(3, key);
}

bool RunNamed(const SqliteDb& db, const char* sql, const SchemaDefinition& definition) {
  SqliteStatement statement(db, sql);
  if (!statement.Ok() ||
      !BindNames(statement, definition.component, definition.group, definition.key)) {
    return false;
  }
  statement.Next();
  return statement.Done();
}

bool InsertDefinition(const SqliteDb& db, const SchemaDefinition& definition) {
  std::string schemaText;
  ConfigStoreDocument::SerializeValue(*definition.schema, schemaText);
  SqliteStatement insert(db, kInsertSchema);
  const bool bound =
      insert.Ok() && BindNames(insert, definition.component, definition.group, definition.key) &&
      insert.BindText(4, definition.version) && insert.BindText(5, schemaText) &&
      insert.BindInt(6, definition.nonSingleton) && insert.BindInt(7, definition.bootExempt);
  if (!bound) return false;
  insert.Next();
  if (!insert.Done()) return false;
  return RunNamed(db, definition.smartnicShared ? kInsertSmartnic : kDeleteSmartnic, definition);
}

}  // namespace

std::string SchemaStorePath() { return OrinConfigStore::HostPath(kSchemaStoreFile); }

void CreateSchemaStore() {
  const std::string path = SchemaStorePath();
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  std::string error;
  auto db = SqliteDb::Open(path, SqliteDb::Mode::kCreate, &error);
  if (!db) {
    CSLogger::Log(0, kLogSqliteError, path.c_str(), error.c_str());
    ThrowException<ConfigStoreException>(OrinConfigStore::CS_ERR_DB_OPEN, path.c_str());
  }
  db->PersistWal();
  if (!db->Exec(kCreateTables, &error)) {
    CSLogger::Log(0, kLogSqliteError, path.c_str(), error.c_str());
    ThrowException<ConfigStoreException>(OrinConfigStore::CS_ERR_CREATE_TABLE);
  }
}

void StoreDefinitions(const std::vector<SchemaDefinition>& definitions) {
  auto db = OpenForWriting();
  std::string error;
  bool stored = db->Exec(kBegin, &error);
  for (std::size_t i = 0; stored && i < definitions.size(); ++i) {
    stored = InsertDefinition(*db, definitions[i]);
  }
  if (stored) stored = db->Exec(kCommit, &error);
  if (stored) return;
  if (error.empty()) error = db->LastError();
  db->Exec(kRollback, nullptr);
  CSLogger::Log(0, kLogSqliteError, SchemaStorePath().c_str(), error.c_str());
  ThrowException<ConfigStoreException>(OrinConfigStore::CS_ERR_DB_WRITE);
}

// A database without the tables, such as one just created by another process
// that has not written them yet, gives no reader; the next lookup tries
// again. Anything else that stops the reads (no permission, a file that is
// not a database, a damaged one) is a failure.
std::unique_ptr<SchemaReader> SchemaReader::Open(const std::string& path) {
  std::string error;
  int code = 0;
  bool immutable = false;
  auto db = SqliteDb::OpenReader(path, &error, &code, &immutable);
  if (!db) ThrowSchemaStoreUnreadable(error);
  std::unique_ptr<SchemaReader> reader(new SchemaReader(std::move(db)));
  reader->immutable_ = immutable;
  if (reader->select_.Ok() && reader->dataVersion_.Ok()) return reader;
  error =
      reader->select_.Ok() ? reader->dataVersion_.PrepareError() : reader->select_.PrepareError();
  if (error.compare(0, std::strlen(kNoSuchTable), kNoSuchTable) == 0) return nullptr;
  ThrowSchemaStoreUnreadable(error);
}

void ThrowSchemaStoreUnreadable(const std::string& cause) {
  throw ConfigStoreException(kUnreadable + SchemaStorePath() + kCauseSeparator + cause);
}

SchemaReader::SchemaReader(std::unique_ptr<SqliteDb> db)
    : db_(std::move(db)), select_(*db_, kSelectSchema), dataVersion_(*db_, kDataVersion) {}

// Each statement is reset as soon as its row is read: a statement left on a
// row keeps its read transaction, and with it an old snapshot, open.
std::unique_ptr<SchemaObject> SchemaReader::Read(const std::string& component,
                                                 const std::string& group, const std::string& key) {
  if (!BindNames(select_, component, group, key) || !select_.Next()) {
    const bool absent = select_.Done();
    const std::string error = db_->LastError();
    select_.Reset();
    if (!absent) ThrowSchemaStoreUnreadable(error);
    return nullptr;
  }
  const std::string version = select_.ColumnText(0);
  const std::string text = select_.ColumnText(1);
  const bool nonSingleton = select_.ColumnInt(2) != 0;
  const bool bootExempt = select_.ColumnInt(3) != 0;
  select_.Reset();
  auto schema = std::make_unique<JDoc>();
  if (!ConfigStoreDocument::ParseStored(*schema, text.data(), text.size())) {
    CSLogger::Log(0, kLogUnreadableRow, component.c_str(), group.c_str(), key.c_str());
    return nullptr;
  }
  return std::make_unique<SchemaObject>(component, group, key, version, std::move(schema),
                                        nonSingleton, bootExempt);
}

std::vector<SchemaName> SchemaReader::Names() {
  std::vector<SchemaName> names;
  SqliteStatement select(*db_, kSelectNames);
  while (select.Next()) {
    names.push_back({select.ColumnText(0), select.ColumnText(1), select.ColumnText(2)});
  }
  if (!select.Done()) ThrowSchemaStoreUnreadable(db_->LastError());
  return names;
}

long long SchemaReader::DataVersion() {
  if (!dataVersion_.Next()) ThrowSchemaStoreUnreadable(db_->LastError());
  const long long version = dataVersion_.ColumnInt64(0);
  dataVersion_.Reset();
  return version;
}

}  // namespace OrinSchemaStore
