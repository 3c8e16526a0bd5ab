#ifndef SRC_DB_BOOT_STATUS_H_
#define SRC_DB_BOOT_STATUS_H_

// The desired configuration staged for the next boot and its application,
// and the kernel options object whose value in force is the desired one.
// All run on the caller's connection; failures are ConfigStoreException
// 2000 with the operation's message.

#include <memory>
#include <vector>

#include "configstore/config_store_object.h"
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
// The desired value (the user value when the desired one failed) of every
// instance of the identifier's type.
std::vector<std::shared_ptr<ConfigStoreObject>> GetDesiredInstancesInternal(
    const ConfigStoreObjectId& id, const Connection& connection, const SchemaPtr& schema);

// The kernel options as the boot mode says: the staged desired value during
// a boot that applies it, else the desired value when there is one and the
// user value otherwise; the vital value merged in. Null when none is stored.
std::shared_ptr<ConfigStoreObject> GetKernelOptionsInternal(const ConfigStoreObjectId& id,
                                                            const Connection& connection,
                                                            const SchemaPtr& schema);
// Writes the object's user part as the desired value and its vital part as
// the vital value; the user value stays.
void SetKernelOptionsInternal(const std::shared_ptr<ConfigStoreObject>& object,
                              const SchemaPtr& schema, const Connection& connection);

}  // namespace OrinConfigStore

#endif  // SRC_DB_BOOT_STATUS_H_
