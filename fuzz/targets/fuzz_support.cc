#include "fuzz_support.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "configstore/provisioning.h"
#include "fuzz_targets.h"

namespace cfuzz {

namespace {

class ScratchRoot {
 public:
  explicit ScratchRoot(bool withSamples) {
    setenv("CONFIGSTORE_LOG", "none", 0);
    std::string pattern =
        (std::filesystem::temp_directory_path() / "configstore-fuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    Enter();
    if (!withSamples) {
      OrinSchemaStore::InitializeSchemaStore();
      return;
    }
    OrinConfigStore::InitializeDatabase();
    OrinSchemaStore::LoadSchemaFile(CONFIGSTORE_EXAMPLES_DIR "/schemas/net.json");
    OrinSchemaStore::LoadSchemaFile(CONFIGSTORE_EXAMPLES_DIR "/schemas/orin.json");
  }
  ~ScratchRoot() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchRoot(const ScratchRoot&) = delete;
  ScratchRoot& operator=(const ScratchRoot&) = delete;

  void Enter() const { setenv("CONFIGSTORE_ROOT", path_.c_str(), 1); }

 private:
  std::string path_;
};

}  // namespace

void EnterSampleRoot() {
  static const ScratchRoot root(true);
  root.Enter();
}

std::shared_ptr<OrinConfigStore::ConfigStore>& SampleStore() {
  EnterSampleRoot();
  static auto store = OrinConfigStore::ConfigStore::GetStore("");
  return store;
}

void CancelInput(OrinConfigStore::ConfigStoreTransaction& transaction) {
  int level = -1;
  try {
    level = transaction.Cancel();
  } catch (const OrinConfigStore::ConfigStoreException& e) {
    Fail(std::string("cancelling the input's transaction: ") + e.what());
  }
  if (level != 0) Fail("cancelling the input's transaction answered " + std::to_string(level));
}

void EnterSchemaRoot() {
  static const ScratchRoot root(false);
  root.Enter();
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::string::size_type start = 0;
  while (start < text.size()) {
    const auto end = text.find('\n', start);
    if (end == std::string::npos) {
      lines.push_back(text.substr(start));
      break;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

void Fail(const std::string& what) { throw Finding(what); }

}  // namespace cfuzz
