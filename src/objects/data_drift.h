#ifndef SRC_OBJECTS_DATA_DRIFT_H_
#define SRC_OBJECTS_DATA_DRIFT_H_

#include <memory>

#include "configstore/drift_compute.h"

namespace OrinConfigStore {

// ComputeDrift on data values: null when both are null or hold the same
// data; otherwise the drift of the object `id` with the operation "ADD"
// (no reference), "DELETE" (no desired) or "SET".
std::shared_ptr<DriftObject> ComputeDataDrift(const ConfigStoreObjectId& id, const JVal* reference,
                                              const JVal* desired, const JVal& instanceKeys);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_DATA_DRIFT_H_
