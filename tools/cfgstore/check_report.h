#ifndef CFGSTORE_CHECK_REPORT_H_
#define CFGSTORE_CHECK_REPORT_H_

// A store check as the tool prints it: "objects" and "problems" members.

#include <configstore/configstore.h>

namespace cfgstore {

// Adds "objects" (the count) and "problems" (each as {kind, database, id,
// source, detail}, empty texts left out) to `output`.
void AddCheckReport(OrinConfigStore::JVal& output, const OrinConfigStore::StoreCheck& check,
                    OrinConfigStore::JAllocator& allocator);

}  // namespace cfgstore

#endif  // CFGSTORE_CHECK_REPORT_H_
