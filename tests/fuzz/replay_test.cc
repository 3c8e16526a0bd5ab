// The kept fuzz inputs replayed through the fuzz targets, compiled like
// every test: each file of fuzz/regressions/<target>/ (inputs that once
// broke the library) and of the seed corpus fuzz/corpus/<target>/ must run
// without a fault. Under the sanitizer build the sanitizers watch too.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz_targets.h"

namespace cfuzz {
void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }
}  // namespace cfuzz

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Inputs(const cfuzz::Target& target) {
  std::vector<fs::path> files;
  for (const char* kind : {"regressions", "corpus"}) {
    const fs::path directory = fs::path(CONFIGSTORE_FUZZ_DIR) / kind / target.name;
    if (!fs::is_directory(directory)) continue;
    for (const auto& entry : fs::directory_iterator(directory)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

class FuzzReplay : public ::testing::TestWithParam<cfuzz::Target> {};

TEST_P(FuzzReplay, KeptInputsRunWithoutFault) {
  for (const fs::path& file : Inputs(GetParam())) {
    // Named before it runs, so that a sanitizer's report follows its name.
    std::fprintf(stderr, "replaying %s\n", file.c_str());
    std::ifstream stream(file, std::ios::binary);
    std::stringstream input;
    input << stream.rdbuf();
    try {
      GetParam().run(input.str());
    } catch (const std::exception& e) {
      ADD_FAILURE() << file << ": " << e.what();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, ::testing::ValuesIn(cfuzz::kTargets),
                         [](const auto& target) { return std::string(target.param.name); });

}  // namespace
