// BackupStore and RestoreStore: both databases of the host's store in one
// file, taken through SQLite while others write, and put back in one write
// transaction per database once the backup passes the store's check.

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "backup_file.h"
#include "configstore/backup.h"
#include "configstore/exceptions.h"
#include "configstore/provisioning.h"
#include "platform/database_image.h"
#include "platform/db_store.h"
#include "platform/host.h"
#include "store_files.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kPreviousBackupSuffix = ".previous-backup";
constexpr const char* kLastChange = "SELECT seq FROM sqlite_sequence WHERE name = 'ConfigChanges';";
constexpr const char* kTypeVersions = "SELECT Component, ConfigGroup, Name, Version FROM Schema;";
// Every column of both tables, in key order: equal texts, equal types.
const char* const kTypeRows[] = {
    "SELECT quote(Component) || quote(ConfigGroup) || quote(Name) || quote(Version) || "
    "quote(Value) || quote(NonSingleton) || quote(BootExempt) FROM Schema "
    "ORDER BY Component, ConfigGroup, Name;",
    "SELECT quote(Component) || quote(ConfigGroup) || quote(Name) || quote(ValueType) FROM "
    "SmartnicSchema ORDER BY Component, ConfigGroup, Name;",
};
constexpr const char* kCannotBackUp = "Cannot back up the store: ";
constexpr const char* kCannotRestore = "Cannot restore the store: ";
constexpr const char* kDamaged = "damaged";
constexpr const char* kBackupDatabase = "backup";
constexpr const char* kMissingImage = "the backup holds no image of the ";
constexpr const char* kStagingName = "restore-XXXXXX";

std::string UtcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

// The history's last sequence number; 0 when it has never recorded one.
long long LastChange(const SqliteDb& db) {
  SqliteStatement last(db, kLastChange);
  return last.Ok() && last.Next() ? last.ColumnInt64(0) : 0;
}

void ReadTypeVersions(const SqliteDb& db, BackupHeader& header) {
  SqliteStatement types(db, kTypeVersions);
  while (types.Next()) {
    header.types[types.ColumnText(0) + "/" + types.ColumnText(1) + "/" + types.ColumnText(2)] =
        types.ColumnText(3);
  }
  if (!types.Done()) {
    throw ConfigStoreException(kCannotBackUp +
                               (types.Ok() ? db.LastError() : types.PrepareError()));
  }
}

std::string TypeRows(const std::string& path) {
  std::string error;
  std::string rows;
  int code = 0;
  bool immutable = false;
  const auto db = SqliteDb::OpenReader(path, &error, &code, &immutable);
  if (!db) throw ConfigStoreException(kCannotRestore + path + ": " + error);
  for (const char* statement : kTypeRows) {
    SqliteStatement select(*db, statement);
    while (select.Next()) rows += select.ColumnText(0) + "\n";
    if (!select.Done()) throw ConfigStoreException(kCannotRestore + path + ": " + db->LastError());
  }
  return rows;
}

// The image of the database under `snapshot`.
BackupImage TakeImage(const ReadSnapshot& snapshot, const char* database, const char* failure) {
  BackupImage image{database, std::string()};
  std::string error;
  if (!snapshot.Image(image.bytes, error)) throw ConfigStoreException(failure + error);
  return image;
}

std::unique_ptr<ReadSnapshot> BeginSnapshot(const std::string& path, const char* failure) {
  std::string error;
  auto snapshot = ReadSnapshot::Begin(path, error);
  if (!snapshot) throw ConfigStoreException(failure + path + ": " + error);
  return snapshot;
}

// A directory of its own for the files of a restore, removed with them.
class StagingDirectory {
 public:
  explicit StagingDirectory(const std::string& parent) {
    std::string name = parent + "/" + kStagingName;
    if (::mkdtemp(name.data()) == nullptr) {
      throw ConfigStoreException(kCannotRestore + parent + ": " + std::strerror(errno));
    }
    path_ = name;
  }
  ~StagingDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  StagingDirectory(const StagingDirectory&) = delete;
  StagingDirectory& operator=(const StagingDirectory&) = delete;

  // Writes `image` into the directory as `name`; its path.
  std::string Put(const char* name, const BackupImage& image) const {
    const std::string path = path_ + "/" + name;
    std::ofstream file(path, std::ios::binary);
    file.write(image.bytes.data(), static_cast<std::streamsize>(image.bytes.size()));
    file.close();
    if (!file) throw ConfigStoreException(kCannotRestore + path);
    return path;
  }

 private:
  std::string path_;
};

// The staging area: beside the host's database when it has one, so that
// the copies keep its protection, else the system's temporary directory.
std::string StagingParent(const StoreFiles& host) {
  const std::filesystem::path directory = std::filesystem::path(host.configuration).parent_path();
  std::error_code error;
  if (std::filesystem::is_directory(directory, error)) return directory.string();
  return std::filesystem::temp_directory_path().string();
}

std::unique_ptr<ContentReplacement> BeginReplacement(const std::string& path,
                                                     const std::string& source) {
  std::string error;
  auto replacement = ContentReplacement::Begin(path, source, error);
  if (!replacement) throw ConfigStoreException(kCannotRestore + path + ": " + error);
  return replacement;
}

void Require(bool done, const std::string& error) {
  if (!done) throw ConfigStoreException(kCannotRestore + error);
}

// Replaces the host's store by the staged one, keeping the replaced store
// in the previous backup.
void Replace(const StoreFiles& host, const StoreFiles& staged, RestoreResult& result) {
  InitializeDatabase();
  OrinSchemaStore::InitializeSchemaStore();
  const auto configuration = BeginReplacement(host.configuration, staged.configuration);
  std::unique_ptr<ContentReplacement> types;
  if (TypeRows(host.schemaStore) != TypeRows(staged.schemaStore)) {
    types = BeginReplacement(host.schemaStore, staged.schemaStore);
  }
  BackupContents previous;
  previous.header.time = UtcNow();
  previous.header.lastChange = LastChange(configuration->Db());
  std::string error;
  previous.images.push_back({kConfigurationDatabase, std::string()});
  Require(configuration->Image(previous.images.back().bytes, error), error);
  const auto schemaSnapshot = BeginSnapshot(host.schemaStore, kCannotRestore);
  ReadTypeVersions(schemaSnapshot->Db(), previous.header);
  previous.images.push_back(TakeImage(*schemaSnapshot, kSchemaStoreDatabase, kCannotRestore));
  result.previous = PreviousBackupPath();
  WriteBackupFile(result.previous, previous);
  Require(configuration->CopyRows(error), error);
  if (types) Require(types->CopyRows(error), error);
  Require(configuration->Commit(error), error);
  if (types) Require(types->Commit(error), error);
  result.restored = true;
}

}  // namespace

std::string PreviousBackupPath() {
  return HostPath(DBStore::kConfigDatabaseFile) + kPreviousBackupSuffix;
}

BackupHeader BackupStore(const std::string& file) {
  const StoreFiles host = StoreFiles::Host();
  // Types first: a load writes the configuration before the types, so the
  // objects read after them are never older than their types.
  const auto types = BeginSnapshot(host.schemaStore, kCannotBackUp);
  const auto configuration = BeginSnapshot(host.configuration, kCannotBackUp);
  BackupContents contents;
  contents.header.time = UtcNow();
  contents.header.lastChange = LastChange(configuration->Db());
  ReadTypeVersions(types->Db(), contents.header);
  contents.images.push_back(TakeImage(*configuration, kConfigurationDatabase, kCannotBackUp));
  contents.images.push_back(TakeImage(*types, kSchemaStoreDatabase, kCannotBackUp));
  WriteBackupFile(file, contents);
  return contents.header;
}

RestoreResult RestoreStore(const std::string& file) {
  RestoreResult result;
  std::string damage;
  const BackupContents contents = ReadBackupFile(file, damage);
  for (const char* database : {kConfigurationDatabase, kSchemaStoreDatabase}) {
    if (damage.empty() && contents.Image(database) == nullptr)
      damage = kMissingImage + std::string(database);
  }
  if (!damage.empty()) {
    StoreProblem problem;
    problem.kind = kDamaged;
    problem.database = kBackupDatabase;
    problem.detail = damage;
    result.check.problems.push_back(problem);
    return result;
  }
  result.header = contents.header;
  const StoreFiles host = StoreFiles::Host();
  const StagingDirectory staging(StagingParent(host));
  const StoreFiles staged{staging.Put("configuration", *contents.Image(kConfigurationDatabase)),
                          staging.Put("schema-store", *contents.Image(kSchemaStoreDatabase))};
  result.check = CheckStoreFiles(staged);
  if (result.check.problems.empty()) Replace(host, staged, result);
  return result;
}

}  // namespace OrinConfigStore
