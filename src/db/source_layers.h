#ifndef SRC_DB_SOURCE_LAYERS_H_
#define SRC_DB_SOURCE_LAYERS_H_

// An object's stored sources one by one, beside their merge, for callers
// that explain where a member's value comes from.

#include <memory>

#include "configstore/config_store_object.h"
#include "row_reader.h"

namespace OrinConfigStore {

// What one read of an object's row yields: `merged` is exactly what
// GetInternal returns for the row, and each source is the object built
// from its column alone, as the merge takes it (null when the column is;
// the user value only once applied, the desired value standing in for it
// in the upgrade context). All null when nothing is stored.
struct SourceLayers {
  std::shared_ptr<ConfigStoreObject> merged;
  std::shared_ptr<ConfigStoreObject> vital;
  std::shared_ptr<ConfigStoreObject> cached;
  std::shared_ptr<ConfigStoreObject> automatic;
  std::shared_ptr<ConfigStoreObject> user;
};

// Reads the identifier's row once, with Get's statement. A database
// result of exactly 1 raises ConfigStoreException 2000 "Get failed: <id>".
SourceLayers GetSourceLayersInternal(const ConfigStoreObjectId& id, const Connection& connection,
                                     const SchemaPtr& schema);

}  // namespace OrinConfigStore

#endif  // SRC_DB_SOURCE_LAYERS_H_
