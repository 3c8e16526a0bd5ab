#ifndef BENCH_BENCH_ROOT_H_
#define BENCH_BENCH_ROOT_H_

#include <stdlib.h>

#include <filesystem>
#include <string>

#include <configstore/configstore.h>

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
  }
  ~BenchRoot() {
    unsetenv("CONFIGSTORE_ROOT");
    std::filesystem::remove_all(path_);
  }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

#endif  // BENCH_BENCH_ROOT_H_
