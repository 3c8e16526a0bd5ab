#include "platform/database_image.h"

#include <sqlite3.h>

#include <vector>

namespace OrinConfigStore {

namespace {

// A deferred transaction reads nothing until its first statement does; the
// read here pins the snapshot.
constexpr const char* kBeginRead = "BEGIN; SELECT count(*) FROM sqlite_master;";
constexpr const char* kEndRead = "COMMIT;";
constexpr const char* kDurable = "PRAGMA synchronous=FULL;";
constexpr const char* kAttachSource = "ATTACH DATABASE ?1 AS source;";
constexpr const char* kBeginWrite = "BEGIN IMMEDIATE;";
constexpr const char* kCommit = "COMMIT;";
constexpr const char* kRollback = "ROLLBACK;";
constexpr const char* kTables =
    "SELECT name FROM main.sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite^_%' "
    "ESCAPE '^' ORDER BY name;";
constexpr const char* kColumns = "SELECT name FROM pragma_table_info(?1, ?2) ORDER BY cid;";
constexpr const char* kMain = "main";
constexpr const char* kSource = "source";
constexpr const char* kImageUnreadable = "the database's pages cannot be read";

bool Image(const SqliteDb& db, std::string& bytes, std::string& error) {
  sqlite3_int64 size = 0;
  unsigned char* data = sqlite3_serialize(db.Handle(), kMain, &size, 0);
  if (data == nullptr) {
    error = db.LastErrorCode() != SQLITE_OK ? db.LastError() : kImageUnreadable;
    return false;
  }
  bytes.assign(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size));
  sqlite3_free(data);
  return true;
}

// One column of text per row of `sql`, with `values` bound in order.
bool Texts(const SqliteDb& db, const char* sql, const std::vector<std::string>& values,
           std::vector<std::string>& texts, std::string& error) {
  SqliteStatement statement(db, sql);
  for (std::size_t i = 0; i < values.size(); ++i) {
    statement.BindText(static_cast<int>(i) + 1, values[i]);
  }
  while (statement.Next()) texts.push_back(statement.ColumnText(0));
  if (statement.Done()) return true;
  error = statement.Ok() ? db.LastError() : statement.PrepareError();
  return false;
}

std::string Quoted(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

// The columns of `names` that `other` also lists, quoted and joined.
std::string SharedColumns(const std::vector<std::string>& names,
                          const std::vector<std::string>& other) {
  std::string joined;
  for (const std::string& name : names) {
    bool shared = false;
    for (const std::string& candidate : other)
      shared = shared || sqlite3_stricmp(name.c_str(), candidate.c_str()) == 0;
    if (!shared) continue;
    if (!joined.empty()) joined += ", ";
    joined += Quoted(name);
  }
  return joined;
}

bool ReplaceTable(SqliteDb& db, const std::string& table, std::string& error) {
  if (!db.Exec("DELETE FROM main." + Quoted(table) + ";", &error)) return false;
  std::vector<std::string> ownColumns;
  std::vector<std::string> sourceColumns;
  if (!Texts(db, kColumns, {table, kMain}, ownColumns, error) ||
      !Texts(db, kColumns, {table, kSource}, sourceColumns, error)) {
    return false;
  }
  const std::string columns = SharedColumns(ownColumns, sourceColumns);
  if (columns.empty()) return true;
  return db.Exec("INSERT INTO main." + Quoted(table) + "(" + columns + ") SELECT " + columns +
                     " FROM source." + Quoted(table) + ";",
                 &error);
}

}  // namespace

std::unique_ptr<ReadSnapshot> ReadSnapshot::Begin(const std::string& path, std::string& error) {
  int code = 0;
  bool immutable = false;
  auto db = SqliteDb::OpenReader(path, &error, &code, &immutable);
  if (db == nullptr || !db->Exec(kBeginRead, &error)) return nullptr;
  return std::unique_ptr<ReadSnapshot>(new ReadSnapshot(std::move(db)));
}

ReadSnapshot::~ReadSnapshot() { db_->Exec(kEndRead, nullptr); }

bool ReadSnapshot::Image(std::string& bytes, std::string& error) const {
  return OrinConfigStore::Image(*db_, bytes, error);
}

std::unique_ptr<ContentReplacement> ContentReplacement::Begin(const std::string& path,
                                                              const std::string& sourcePath,
                                                              std::string& error) {
  auto db = SqliteDb::Open(path, SqliteDb::Mode::kReadWrite, &error);
  if (db == nullptr || !db->Exec(kDurable, &error)) return nullptr;
  {
    SqliteStatement attach(*db, kAttachSource);
    attach.BindText(1, sourcePath);
    attach.Next();
    if (!attach.Done()) {
      error = attach.Ok() ? db->LastError() : attach.PrepareError();
      return nullptr;
    }
  }
  if (!db->Exec(kBeginWrite, &error)) return nullptr;
  return std::unique_ptr<ContentReplacement>(new ContentReplacement(std::move(db)));
}

ContentReplacement::~ContentReplacement() {
  if (open_) db_->Exec(kRollback, nullptr);
}

bool ContentReplacement::Image(std::string& bytes, std::string& error) const {
  return OrinConfigStore::Image(*db_, bytes, error);
}

bool ContentReplacement::CopyRows(std::string& error) {
  std::vector<std::string> tables;
  if (!Texts(*db_, kTables, {}, tables, error)) return false;
  for (const std::string& table : tables) {
    if (!ReplaceTable(*db_, table, error)) return false;
  }
  return true;
}

bool ContentReplacement::Commit(std::string& error) {
  if (!db_->Exec(kCommit, &error)) return false;
  open_ = false;
  return true;
}

}  // namespace OrinConfigStore
