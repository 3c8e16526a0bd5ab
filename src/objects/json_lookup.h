#ifndef SRC_OBJECTS_JSON_LOOKUP_H_
#define SRC_OBJECTS_JSON_LOOKUP_H_

#include <string>

#include "configstore/json.h"

namespace OrinConfigStore {

// Member and instance lookups shared by the object views. Each raises
// ConfigStoreException 2000 "Invalid JSON" when the JSON is not of the
// shape it needs.

// The first member named `key` of `object` that does not hold JSON null, or
// null. Skipping null members matters: a setter appends a new member beside
// one that holds null, and readers must see the new one.
JVal* FindValue(JVal& object, const char* key);
const JVal* FindValue(const JVal& object, const char* key);

// The member `name` of `object`, which must exist.
JVal& RequireMember(JVal& object, const std::string& name);
const JVal& RequireMember(const JVal& object, const std::string& name);

// The first element of the array `instances` whose member `instanceKey`
// holds the text `instanceId`, or null. Every element examined must be an
// object with that member as a string.
JVal* FindInstance(JVal& instances, const std::string& instanceKey, const std::string& instanceId);
const JVal* FindInstance(const JVal& instances, const std::string& instanceKey,
                         const std::string& instanceId);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_JSON_LOOKUP_H_
