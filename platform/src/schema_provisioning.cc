#include "configstore/provisioning.h"
#include "platform/schema_database.h"

namespace OrinSchemaStore {

void InitializeSchemaStore() { CreateSchemaStore(); }

}  // namespace OrinSchemaStore
