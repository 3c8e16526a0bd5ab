#ifndef CONFIGSTORE_OBJECT_ID_H_
#define CONFIGSTORE_OBJECT_ID_H_

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

#include "configstore/export.h"

namespace OrinConfigStore {

// The address of a configuration object: its key within a group, the owning
// component, the configuration group and, for a type with several instances,
// the instance id (empty for a singleton). Nothing is checked or normalised
// here; whether an instance id belongs is decided against the schema.
//
// The constructors take (key, group, component[, instanceId]), which is not
// the member order.
struct CONFIGSTORE_API ConfigStoreObjectId {
  std::string key;
  std::string component;
  std::string group;
  std::string instanceId;

  ConfigStoreObjectId(const std::string& key, const std::string& group,
                      const std::string& component);
  ConfigStoreObjectId(const std::string& key, const std::string& group,
                      const std::string& component, const std::string& instanceId);
  // Null pointers are refused with std::logic_error.
  ConfigStoreObjectId(const char* key, const char* group, const char* component);
  ConfigStoreObjectId(const char* key, const char* group, const char* component,
                      const char* instanceId);
  ConfigStoreObjectId(const ConfigStoreObjectId& other) = default;
  ConfigStoreObjectId(ConfigStoreObjectId&& other) noexcept = default;
  ConfigStoreObjectId& operator=(const ConfigStoreObjectId& other) = default;
  ConfigStoreObjectId& operator=(ConfigStoreObjectId&& other) noexcept = default;
  ~ConfigStoreObjectId() = default;

  // "comp <component> grp <group> key <key>", plus " id <instanceId>" when
  // the instance id is not empty.
  std::string toString() const;
};

CONFIGSTORE_API bool operator==(const ConfigStoreObjectId& a, const ConfigStoreObjectId& b);
inline bool operator!=(const ConfigStoreObjectId& a, const ConfigStoreObjectId& b) {
  return !(a == b);
}

// The address of a sub-object inside one object's data: its member name and,
// for a repeated sub-object, its instance id.
struct CONFIGSTORE_API SubObjectId {
  std::string key;
  std::string instanceId;

  SubObjectId() = default;
  explicit SubObjectId(std::string aKey, std::string anInstanceId = std::string())
      : key(std::move(aKey)), instanceId(std::move(anInstanceId)) {}

  // "key <key>", plus " id <instanceId>" when the instance id is not empty.
  std::string toString() const;
};

// The identifier hash: boost's 64-bit hash_combine over the string hashes of
// key, group, component and instance id, in that order, with every byte taken
// as an unsigned value. Allocation-free; stable across runs and platforms.
CONFIGSTORE_API std::size_t hashCsoId(const ConfigStoreObjectId& id) noexcept;

// A new random instance id: a version 4 UUID in lower-case text form.
CONFIGSTORE_API std::string GenerateInstanceId();

}  // namespace OrinConfigStore

namespace std {
template <>
struct hash<OrinConfigStore::ConfigStoreObjectId> {
  size_t operator()(const OrinConfigStore::ConfigStoreObjectId& id) const noexcept {
    return OrinConfigStore::hashCsoId(id);
  }
};
}  // namespace std

#endif  // CONFIGSTORE_OBJECT_ID_H_
