#include "platform/integrity.h"

#include "platform/sqlite_db.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kIntegrityCheck = "PRAGMA integrity_check;";
// What the check reports of a whole file.
constexpr const char* kWhole = "ok";

}  // namespace

bool CheckDatabaseIntegrity(const std::string& path, std::vector<std::string>& problems,
                            std::string& error) {
  int code = 0;
  bool immutable = false;
  const auto db = SqliteDb::OpenReader(path, &error, &code, &immutable);
  if (!db) return false;
  SqliteStatement check(*db, kIntegrityCheck);
  if (!check.Ok()) {
    // A file too damaged to read its schema fails here: that is a finding.
    problems.push_back(check.PrepareError());
    return true;
  }
  while (check.Next()) {
    const std::string line = check.ColumnText(0);
    if (line != kWhole) problems.push_back(line);
  }
  if (!check.Done()) problems.push_back(db->LastError());
  return true;
}

}  // namespace OrinConfigStore
