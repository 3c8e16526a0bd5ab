#ifndef SRC_OBJECTS_CONFIG_STORE_OBJECT_IMPL_H_
#define SRC_OBJECTS_CONFIG_STORE_OBJECT_IMPL_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "configstore/config_store_object.h"
#include "store_object_impl.h"

namespace OrinSchemaStore {
class SchemaObject;
}

namespace OrinConfigStore {

class FilterSpecObject;

// The row metadata a configuration object carries as the store reports it.
// Each object holds its own, in the object's allocation: a list read stamps
// every object it returns. The three texts share one buffer, cheaper than
// three. A view of a sub-object copies its parent's.
class ObjectStamp {
 public:
  ObjectStamp() = default;
  ObjectStamp(std::string_view version, std::string_view creationTime,
              std::string_view modifiedTime, std::uint32_t revision);

  std::string Version() const { return Part(0); }
  std::string CreationTime() const { return Part(1); }
  std::string ModifiedTime() const { return Part(2); }
  std::uint32_t Revision() const { return revision_; }

 private:
  std::string Part(int index) const;

  std::string texts_;  // the three texts, one after the other
  std::uint32_t ends_[3] = {0, 0, 0};
  std::uint32_t revision_ = 0;
};

// The implementation behind ConfigStoreObject; the contracts are those
// documented on the handle.
class ConfigStoreObjectImpl : public StoreObjectImpl {
 public:
  using SchemaPtr = std::shared_ptr<OrinSchemaStore::SchemaObject>;

  // Shapes the object by `schema`: the id map and the defaults are deep
  // copies of the schema's; a null schema is logged and leaves the object
  // without either.
  ConfigStoreObjectImpl(const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document,
                        const SchemaPtr& schema, ObjectStamp stamp = {});
  // Looks the schema up; an unknown type raises ConfigStoreException 1037.
  ConfigStoreObjectImpl(const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document);
  // A view of a sub-object: shares the parent's id map and defaults, whose
  // own defaults sit under `defaultsPath` (member names) in them.
  ConfigStoreObjectImpl(const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document,
                        std::shared_ptr<JDoc> idMap, std::shared_ptr<JDoc> defaults,
                        std::vector<std::string> defaultsPath, ObjectStamp stamp);

  // Falls back on the defaults, looked up under the view's own path.
  const JVal* GetValuePtrDefault(const char* key, bool& fromDefault) const override;
  ~ConfigStoreObjectImpl() override;

  // The row's stamp; all empty (0) for an object a caller built.
  const ObjectStamp& GetStamp() const;
  std::string GetIdMapStr() const;
  std::string GetData() const;
  std::string GetSerializedData() const;
  void SetInstanceIdFromCsoId();
  void SetValueEx(const char* key, const void* value);

  std::shared_ptr<ConfigStoreObject> CreateSubObject(const SubObjectId& sid);
  std::shared_ptr<ConfigStoreObject> GetSubObject(const SubObjectId& sid) const;
  void DeleteSubObject(const SubObjectId& sid);
  std::vector<std::shared_ptr<ConfigStoreObject>> GetSubObjectInstances(
      const std::shared_ptr<FilterSpecObject>& filter) const;
  void DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>& filter);
  std::shared_ptr<ConfigStoreObject> MakeSubObjectPtr(const SubObjectId& sid,
                                                      const std::string& instanceId,
                                                      const std::string& instanceKey) const;

 private:
  // The instance-id member of the repeated sub-object `key`, or null when
  // `key` is not a repeated sub-object.
  const JVal* InstanceKeyOf(const std::string& key) const;

  // The type's documents, shared by every object of the type and never
  // written; null when the object has none.
  std::shared_ptr<JDoc> idMap_;
  std::shared_ptr<JDoc> defaults_;
  std::vector<std::string> defaultsPath_;
  ObjectStamp stamp_;
};

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_CONFIG_STORE_OBJECT_IMPL_H_
