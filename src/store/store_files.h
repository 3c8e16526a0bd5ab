#ifndef SRC_STORE_STORE_FILES_H_
#define SRC_STORE_STORE_FILES_H_

// The two database files that make a store: the host's own, or copies such
// as a backup's being restored.

#include <string>

#include "configstore/store_check.h"

namespace OrinConfigStore {

// How checks and backups name the databases.
constexpr const char* kConfigurationDatabase = "configuration";
constexpr const char* kSchemaStoreDatabase = "schema store";

struct StoreFiles {
  std::string configuration;
  std::string schemaStore;

  // The host's databases, resolved under the host root.
  static StoreFiles Host();
};

// CheckStore of the store made of `files`: its objects are checked against
// the types of its own schema store.
StoreCheck CheckStoreFiles(const StoreFiles& files);

}  // namespace OrinConfigStore

#endif  // SRC_STORE_STORE_FILES_H_
