#ifndef SRC_DB_BOOT_STATUS_H_
#define SRC_DB_BOOT_STATUS_H_

#include <memory>

#include "configstore/boot.h"
#include "row_reader.h"

namespace OrinConfigStore {

// Whether this boot applies the desired user configuration: "BOOT_MODE" is
// 1. An empty value means no; text that is not a 32-bit number raises the
// integer parse's std::invalid_argument or std::out_of_range.
bool IsBootModeDesiredUserConfig(const Connection& connection);

void SetBootStatusInternal(const ConfigStoreObjectId& id, bool success,
                           const Connection& connection);
void SetPartialBootStatusInternal(const std::shared_ptr<ConfigStoreObject>& object,
                                  const SchemaPtr& schema, const Connection& connection);

}  // namespace OrinConfigStore

#endif  // SRC_DB_BOOT_STATUS_H_
