#ifndef SRC_OBJECTS_CONFIG_STORE_OBJECT_INTERNAL_H_
#define SRC_OBJECTS_CONFIG_STORE_OBJECT_INTERNAL_H_

#include <memory>
#include <string>

#include "config_store_object_impl.h"
#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "filter_object_impl.h"

namespace OrinSchemaStore {
class SchemaObject;
}

namespace OrinConfigStore {

// The library's access to the implementations behind the public handles,
// and configuration objects built for a type.
class ConfigStoreObjectInternal {
 public:
  // The handle and its reference count in one allocation.
  static std::shared_ptr<ConfigStoreObject> Wrap(std::shared_ptr<ConfigStoreObjectImpl> impl) {
    return std::allocate_shared<ConfigStoreObject>(HandleAllocator<ConfigStoreObject>(),
                                                   std::move(impl));
  }
  static ConfigStoreObjectImpl& Impl(const ConfigStoreObject& object) {
    return object.ObjectImpl();
  }

 private:
  // std::allocator, except that it may call the handle's private
  // constructor, being a member of a friend.
  template <typename T>
  struct HandleAllocator : std::allocator<T> {
    template <typename U>
    struct rebind {
      using other = HandleAllocator<U>;
    };
    HandleAllocator() = default;
    template <typename U>
    explicit HandleAllocator(const HandleAllocator<U>&) {}
    template <typename U, typename... Args>
    void construct(U* place, Args&&... args) {
      ::new (static_cast<void*>(place)) U(std::forward<Args>(args)...);
    }
  };
};

class FilterSpecObjectInternal {
 public:
  static std::shared_ptr<FilterSpecObject> Wrap(std::shared_ptr<FilterSpecObjectImpl> impl) {
    return std::shared_ptr<FilterSpecObject>(new FilterSpecObject(std::move(impl)));
  }
  static StoreObjectImpl& Impl(const FilterSpecObject& filter) { return filter.Impl(); }
};

// The type's schema from the schema store, or null.
std::shared_ptr<OrinSchemaStore::SchemaObject> LookupSchema(const ConfigStoreObjectId& id);

// Builds a configuration object over `document` shaped by `schema`. A null
// schema raises ConfigStoreException 1037 "Schema object not found: <id>";
// a document whose root is not an object raises InvalidArgumentException
// 1082 "Invalid JSON".
std::shared_ptr<ConfigStoreObject> CreateObject(
    const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document,
    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema);

// The same over text the library stored (ParseStored): an object read back
// from a row or a record. Text that does not parse raises
// InvalidArgumentException "Failed to parse JSON String".
std::shared_ptr<ConfigStoreObject> CreateStoredObject(
    const ConfigStoreObjectId& id, const std::string& text,
    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema);

// The instance id that `value` (an object's data) carries under the member
// that `schema` names for it; "" when the type names none or the member is
// absent. A member that is not text raises ConfigStoreException 1032
// "Invalid value for key <member>".
std::string GetInstanceIdFromValue(const JVal& value,
                                   const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_CONFIG_STORE_OBJECT_INTERNAL_H_
