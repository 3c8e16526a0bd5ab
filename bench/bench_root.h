#ifndef BENCH_BENCH_ROOT_H_
#define BENCH_BENCH_ROOT_H_

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <ctime>

#include <filesystem>
#include <string>

#include <configstore/configstore.h>
#include <sqlite3.h>

// How the read benchmarks seed rows with up to three sources: component,
// group, key, instance id, then the user, vital and automatic values.
inline const char* const kInsertSeedRow =
    "INSERT INTO Config(Component, ConfigGroup, Name, Identifier, UserValue, VitalValue, "
    "AutoConfValue, Version, Revision) VALUES(?, ?, ?, ?, ?, ?, ?, '1.0', 1);";

// A scratch host root with the sample schemas loaded, for the lifetime of
// one benchmark.
class BenchRoot {
 public:
  BenchRoot() {
    std::string pattern = (std::filesystem::temp_directory_path() / "configstore-bench-XXXXXX");
    path_ = mkdtemp(pattern.data());
    setenv("CONFIGSTORE_ROOT", path_.c_str(), 1);
    OrinSchemaStore::LoadSchemaFile(std::string(CONFIGSTORE_EXAMPLES_DIR) + "/schemas/net.json");
    OrinSchemaStore::LoadSchemaFile(std::string(CONFIGSTORE_EXAMPLES_DIR) + "/schemas/orin.json");
    SettleSchemaStore();
  }
  ~BenchRoot() {
    sqlite3_close(schemaHolder_);
    unsetenv("CONFIGSTORE_ROOT");
    std::filesystem::remove_all(path_);
  }
  const std::string& Path() const { return path_; }
  // The configuration database the store creates under the root.
  std::string DatabasePath() const { return path_ + "/etc/tessel/configstore/current-store-1"; }

  // Dates the schema store's files a minute back, as on a host whose types
  // were installed well before the reads that follow: the store then trusts
  // the files' stamps instead of asking SQLite on every lookup. A connection
  // held open, as the host's other services hold theirs, keeps the journal
  // file from being removed and created anew.
  void SettleSchemaStore() {
    const std::string path = path_ + "/etc/tessel/schemastore/schema-store-1";
    if (schemaHolder_ == nullptr) {
      sqlite3_open_v2(path.c_str(), &schemaHolder_, SQLITE_OPEN_READWRITE, nullptr);
      sqlite3_exec(schemaHolder_, "SELECT count(*) FROM Schema;", nullptr, nullptr, nullptr);
    }
    const timespec minuteAgo[2] = {{0, UTIME_OMIT}, {std::time(nullptr) - 60, 0}};
    for (const std::string& file : {path, path + "-wal"}) {
      utimensat(AT_FDCWD, file.c_str(), minuteAgo, 0);
    }
  }

 private:
  std::string path_;
  sqlite3* schemaHolder_ = nullptr;
};

#endif  // BENCH_BENCH_ROOT_H_
