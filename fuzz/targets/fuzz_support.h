#ifndef FUZZ_TARGETS_FUZZ_SUPPORT_H_
#define FUZZ_TARGETS_FUZZ_SUPPORT_H_

// What the targets share: scratch host roots made once per process, input
// splitting, and the line between the library's answers and faults.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/exceptions.h"

namespace cfuzz {

// Points the library at this process's scratch root holding the sample
// types of examples/schemas and an initialised configuration database. The
// root is made on first use, in the temporary directory, and removed when
// the process exits; logging is off unless CONFIGSTORE_LOG says otherwise.
void EnterSampleRoot();
// The store of the sample root; enters that root.
std::shared_ptr<OrinConfigStore::ConfigStore>& SampleStore();
// Ends the transaction an input ran in, which must be the store's outermost
// level (a level that an operation left open is a fault), undoing its writes.
void CancelInput(OrinConfigStore::ConfigStoreTransaction& transaction);
// Points the library at this process's scratch root holding an empty schema
// store and no configuration database.
void EnterSchemaRoot();

// The lines of `text` (split at '\n'; a last empty line is dropped).
std::vector<std::string> SplitLines(const std::string& text);

// Runs `work`; false when it raised one of the library's exceptions, which
// are answers. Anything else passes through.
template <typename F>
bool Attempt(F&& work) {
  try {
    work();
    return true;
  } catch (const OrinConfigStore::ConfigStoreException&) {
    return false;
  }
}

// Raises a Finding: the library broke a promise.
[[noreturn]] void Fail(const std::string& what);

}  // namespace cfuzz

#endif  // FUZZ_TARGETS_FUZZ_SUPPORT_H_
