#ifndef SRC_OBJECTS_JSON_LOOKUP_H_
#define SRC_OBJECTS_JSON_LOOKUP_H_

#include <string>

#include "configstore/json.h"
#include "configstore/json_doc.h"

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

// Sets the member `key` of `object` to a deep copy of `value`: an equal
// member is left alone, a different one is removed and the new member added
// at the end of the object (so a changed member moves to the end). A null
// key raises "Invalid JSON".
void SetMemberEx(JVal& object, const char* key, const JVal& value, JAllocator& allocator);

// CreateDocumentFromString without a string: for text that lives elsewhere,
// such as a database row.
std::shared_ptr<JsonDoc> CreateDocumentFromText(const char* text, std::size_t length);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_JSON_LOOKUP_H_
