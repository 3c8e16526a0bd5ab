#ifndef CONFIGSTORE_STORE_CHECK_H_
#define CONFIGSTORE_STORE_CHECK_H_

// Checking a host's store: whether its databases are whole and whether what
// it holds still fits its types. The check only reads: it takes no write
// lock, and writers go on meanwhile (it sees the store as it was when it
// began reading the objects).

#include <string>
#include <vector>

#include "configstore/export.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// One finding. `kind` is one of:
// - "integrity": SQLite's integrity check of `database` ("configuration"
//   or "schema store") reported `detail`;
// - "unparsable": the `source` column of object `id` is not JSON;
// - "unknown type": no schema describes the type of object `id`;
// - "invalid": the `source` value of object `id` does not validate against
//   its type's schema, checked as a write of that source would be (user and
//   automatic values as user writes, vital as vital, cached as cached, a
//   staged desired value as a user write); `detail` lists the errors.
// `source` is "automatic", "user", "vital", "cached" or "desired".
struct StoreProblem {
  std::string kind;
  std::string database;
  ConfigStoreObjectId id{"", "", ""};
  std::string source;
  std::string detail;
};

struct StoreCheck {
  // The number of objects whose values were read.
  long long objects = 0;
  std::vector<StoreProblem> problems;
};

// Checks the host's store. ConfigStoreException when it cannot look: a
// database that does not exist or cannot be opened.
CONFIGSTORE_API StoreCheck CheckStore();

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_STORE_CHECK_H_
