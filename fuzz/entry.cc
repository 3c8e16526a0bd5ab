// The libFuzzer entry point of one target, named at build time by
// CONFIGSTORE_FUZZ_TARGET. Compiled only in the fuzz build; the targets
// themselves know nothing of libFuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    CONFIGSTORE_FUZZ_TARGET(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const cfuzz::Finding& finding) {
    // Aborting makes libFuzzer keep the input as a crash.
    std::fprintf(stderr, "==FINDING== %s\n", finding.what());
    std::abort();
  }
  return 0;
}
