#ifndef SRC_OBJECTS_FILTER_OBJECT_IMPL_H_
#define SRC_OBJECTS_FILTER_OBJECT_IMPL_H_

#include <memory>

#include "configstore/filter_object.h"
#include "store_object_impl.h"

namespace OrinConfigStore {

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

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_FILTER_OBJECT_IMPL_H_
