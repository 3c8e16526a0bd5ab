#ifndef SRC_OBJECTS_CONFIG_STORE_OBJECT_INTERNAL_H_
#define SRC_OBJECTS_CONFIG_STORE_OBJECT_INTERNAL_H_

#include <memory>

#include "config_store_object_impl.h"
#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "filter_object_impl.h"

namespace OrinConfigStore {

// The library's access to the implementations behind the public handles.
class ConfigStoreObjectInternal {
 public:
  static std::shared_ptr<ConfigStoreObject> Wrap(std::shared_ptr<ConfigStoreObjectImpl> impl) {
    return std::shared_ptr<ConfigStoreObject>(new ConfigStoreObject(std::move(impl)));
  }
  static ConfigStoreObjectImpl& Impl(const ConfigStoreObject& object) {
    return object.ObjectImpl();
  }
};

class FilterSpecObjectInternal {
 public:
  static std::shared_ptr<FilterSpecObject> Wrap(std::shared_ptr<FilterSpecObjectImpl> impl) {
    return std::shared_ptr<FilterSpecObject>(new FilterSpecObject(std::move(impl)));
  }
  static StoreObjectImpl& Impl(const FilterSpecObject& filter) { return filter.Impl(); }
};

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_CONFIG_STORE_OBJECT_INTERNAL_H_
