#ifndef CONFIGSTORE_CONFIG_STORE_OBJECT_H_
#define CONFIGSTORE_CONFIG_STORE_OBJECT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "configstore/export.h"
#include "configstore/object_id.h"
#include "configstore/store_object.h"

namespace OrinConfigStore {

class ConfigStoreObjectImpl;
class FilterSpecObject;

// One configuration object: a StoreObject over the object's JSON data, with
// the version, times and revision that the store reports, and two documents
// derived from the object type's schema: the defaults that getters fall
// back on (return code 2), and the id map that says which sub-objects repeat
// and which member tells their instances apart.
//
// Sub-objects are members of the data: a singleton sub-object K is a member
// K holding an object; a repeated sub-object K is a member K holding an
// array of objects, each carrying its instance id under the member the id
// map names for K. Sub-object views are ConfigStoreObjects that share the
// parent's document and resolve their place on every access, so they see
// and make changes in the parent; a view whose sub-object has been deleted
// raises "Subobject does not exists." or "Subobject instance does not
// exists." on its next use.
//
// An object, its copies and all its views are used by one thread at a time.
class CONFIGSTORE_API ConfigStoreObject : public StoreObject {
 public:
  // A new object with empty data. The type's schema is looked up in the
  // schema store; an unknown type raises ConfigStoreException 1037
  // "Schema object not found: <id>".
  explicit ConfigStoreObject(const ConfigStoreObjectId& id);
  ~ConfigStoreObject() override;

  // As stored; empty (0) for an object that a caller built.
  std::string GetVersion() const;
  std::string GetCreationTime() const;
  std::string GetModifiedTime() const;
  std::uint32_t GetRevision() const;

  // The id map as JSON text; "{}" when the object has none.
  std::string GetIdMapStr() const;
  // The data as callers see it: generated instance ids ("cs_generated_id")
  // left out. A view that no longer resolves raises ConfigStoreException
  // 2000 "Invalid JSON".
  std::string GetData() const;
  // The data as stored, generated instance ids included.
  std::string GetSerializedData() const;

  // Writes the identifier's instance id into the member that the id map
  // names for the identifier's key; nothing when the map has no such entry
  // or the identifier has no instance id.
  void SetInstanceIdFromCsoId();
  // Sets the member to a deep copy of the JSON value (a `const JVal*`). An
  // equal member is left alone; a different one is replaced by a new member
  // at the end of the object. A null key or value raises "Invalid JSON".
  void SetValueEx(const char* key, const void* value);

  // Adds an empty sub-object and returns its view. A repeated sub-object
  // needs an instance id (ConfigStoreException 2000 "Non-Singleton object
  // should contain instanceId"); an existing one raises "Object already
  // exists.".
  std::shared_ptr<ConfigStoreObject> CreateSubObject(const SubObjectId& sid);
  // The view of a sub-object, or null when there is none. A repeated
  // sub-object needs an instance id ("Non-Singleton object should contain
  // instanceId: <sid>"); a singleton one refuses an instance id ("Singleton
  // object should not contain instanceId: <sid>") and must hold an object
  // (InvalidArgumentException "Not a singleton SubObject: <sid>").
  std::shared_ptr<ConfigStoreObject> GetSubObject(const SubObjectId& sid) const;
  // Removes a sub-object or one instance (the last instance takes the member
  // with it); absent ones are ignored.
  void DeleteSubObject(const SubObjectId& sid);
  // The instances of the repeated sub-object named by the filter's key (one,
  // when the filter's identifier has an instance id) whose data contains the
  // filter's data. A key that does not repeat raises InvalidArgumentException
  // 1046 "Not a non-singleton object:  <sid>". A null filter gives nothing.
  std::vector<std::shared_ptr<ConfigStoreObject>> GetSubObjectInstances(
      const std::shared_ptr<FilterSpecObject>& filter) const;
  // Deletes every instance that GetSubObjectInstances(filter) returns.
  void DeleteSubObjectInstances(const std::shared_ptr<FilterSpecObject>& filter);

 private:
  friend class ConfigStoreObjectInternal;
  CONFIGSTORE_LOCAL explicit ConfigStoreObject(std::shared_ptr<ConfigStoreObjectImpl> impl);
  CONFIGSTORE_LOCAL ConfigStoreObjectImpl& ObjectImpl() const;
};

// A new object for `id` whose data is the parsed JSON text, shaped by the
// type's schema. Text that does not parse raises InvalidArgumentException
// 1080, text that is not a JSON object 1082 "Invalid JSON", and an unknown
// type ConfigStoreException 1037 "Schema object not found: <id>".
CONFIGSTORE_API std::shared_ptr<ConfigStoreObject> CreateObject(const ConfigStoreObjectId& id,
                                                                const std::string& json);

// The version text of the type's schema; "" (logged) for an unknown type.
CONFIGSTORE_API std::string GetSchemaVersion(const ConfigStoreObjectId& id);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_CONFIG_STORE_OBJECT_H_
