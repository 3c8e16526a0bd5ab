#ifndef SRC_OBJECTS_FILTER_OBJECT_IMPL_H_
#define SRC_OBJECTS_FILTER_OBJECT_IMPL_H_

#include <algorithm>
#include <memory>
#include <vector>

#include "configstore/filter_object.h"
#include "configstore/json.h"
#include "store_object_impl.h"

namespace OrinConfigStore {

class ConfigStoreObjectImpl;

// The implementation behind FilterSpecObject; the contracts are those
// documented on the handle.
class FilterSpecObjectImpl : public StoreObjectImpl {
 public:
  using StoreObjectImpl::StoreObjectImpl;

  std::shared_ptr<FilterSpecObject> CreateSubObjectFilter(const SubObjectId& sid);
  std::shared_ptr<FilterSpecObject> GetSubObjectFilter(const SubObjectId& sid) const;
  void DeleteSubObjectFilter(const SubObjectId& sid);

 private:
  std::shared_ptr<FilterSpecObject> MakeView(const SubObjectId& sid) const;
};

// Whether `data` contains `filter`: every member of the filter is present in
// the data; a scalar or array must be equal (and the data's value not an
// object), an object must match recursively. A data member that is an array
// (a repeated sub-object) never matches: filtering inside instances is not
// supported, and is logged. The filter must be an object ("Invalid JSON").
bool csoMatchesFilter(const JVal& data, const JVal& filter);

// Whether `part` is contained in `data`, guided by `schema`: objects member
// by member (every member checked, all must hold), repeated sub-objects
// (arrays whose schema names an "instanceId" member) instance by instance,
// anything else by equality. Missing members and instances are logged.
bool IsSchemaSubset(const JVal& data, const JVal& part, const JVal& schema);

// Keeps the objects for which `keep` holds, in order.
template <typename T, typename Keep>
void NarrowTo(std::vector<T>& objects, Keep keep) {
  objects.erase(std::remove_if(objects.begin(), objects.end(),
                               [&](const T& object) { return !keep(object); }),
                objects.end());
}

// FilterConfigStoreObjects over implementations, for the library's own lists.
std::vector<std::shared_ptr<ConfigStoreObjectImpl>> FilterConfigStoreObjects(
    std::vector<std::shared_ptr<ConfigStoreObjectImpl>>& objects,
    std::shared_ptr<FilterSpecObject> filter);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_FILTER_OBJECT_IMPL_H_
