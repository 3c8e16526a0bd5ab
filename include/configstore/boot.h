#ifndef CONFIGSTORE_BOOT_H_
#define CONFIGSTORE_BOOT_H_

// The boot-time side of the store: the desired configuration staged for the
// next boot, its application, and the kernel options object whose value in
// force is the desired one. Each function takes a database connection of
// its own. Failures are ConfigStoreException with code 2000 unless said
// otherwise.

#include <memory>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/export.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// Marks the object applied when `success` is true: its desired value (if
// any) becomes its user value, the desired value is dropped, and Success is
// 1. Without an instance id every row of the key is marked. False does
// nothing.
CONFIGSTORE_API void SetBootStatus(const ConfigStoreObjectId& id, bool success);

// Restores part of the desired configuration: `object` (which must be
// contained in the desired value) is merged into the applied user value and
// written back; when that makes the user value equal to the desired value,
// the desired value is dropped. A null object is logged and ignored.
CONFIGSTORE_API void SetPartialBootStatus(std::shared_ptr<ConfigStoreObject> object);

// The desired value (the user value when the desired one failed), or null.
CONFIGSTORE_API std::shared_ptr<ConfigStoreObject> GetDesiredUserConfig(
    const ConfigStoreObjectId& id);
// The same for every instance of a non-singleton type.
CONFIGSTORE_API std::vector<std::shared_ptr<ConfigStoreObject>> GetDesiredUserConfigInstances(
    const ConfigStoreObjectId& id);

// The kernel options (component "orin", group "kernix", key "options"; any
// other identifier raises ValidationException 2000 "API should only be
// invoked for Kernel options configuration."): the desired value when there
// is one, else the user value, with the vital value merged in; during a boot
// that applies the desired user configuration, the staged one.
CONFIGSTORE_API std::shared_ptr<ConfigStoreObject> GetKernelOptions(const ConfigStoreObjectId& id);

// Merges `object` into the kernel options and writes the result as the
// desired value (the user value is left as it is). Failures inside the
// transaction surface as "Transaction failed" followed by their cause. A
// null object is logged and ignored.
CONFIGSTORE_API void UpdateKernelOptions(std::shared_ptr<ConfigStoreObject> object);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_BOOT_H_
