#include "json_lookup.h"

#include <cstring>

#include "platform/config_store_document.h"

namespace OrinConfigStore {

// The mutable forms share the const lookups: finding never changes the JSON.

JVal* FindValue(JVal& object, const char* key) {
  return const_cast<JVal*>(FindValue(static_cast<const JVal&>(object), key));
}

const JVal* FindValue(const JVal& object, const char* key) {
  RAPIDJSON_ASSERT(key != nullptr);
  const std::size_t length = std::strlen(key);
  for (const auto& member : object.GetObject()) {
    if (member.name.GetStringLength() == length &&
        std::memcmp(member.name.GetString(), key, length) == 0 && !member.value.IsNull()) {
      return &member.value;
    }
  }
  return nullptr;
}

JVal& RequireMember(JVal& object, const std::string& name) {
  return const_cast<JVal&>(RequireMember(static_cast<const JVal&>(object), name));
}

const JVal& RequireMember(const JVal& object, const std::string& name) {
  const auto member = object.FindMember(JsonKey(name));
  RAPIDJSON_ASSERT(member != object.MemberEnd());
  return member->value;
}

JVal* FindInstance(JVal& instances, const std::string& instanceKey, const std::string& instanceId) {
  return const_cast<JVal*>(
      FindInstance(static_cast<const JVal&>(instances), instanceKey, instanceId));
}

const JVal* FindInstance(const JVal& instances, const std::string& instanceKey,
                         const std::string& instanceId) {
  for (const JVal& element : instances.GetArray()) {
    if (JsonStringEquals(RequireMember(element, instanceKey), instanceId)) return &element;
  }
  return nullptr;
}

// The copy is taken before anything moves: `value` may be a member of this
// very object, which the removal would shift.
void SetMemberEx(JVal& object, const char* key, const JVal& value, JAllocator& allocator) {
  const auto existing = object.FindMember(JsonKey(key));
  if (existing != object.MemberEnd() && existing->value == value) return;
  JVal copy(value, allocator);
  if (existing != object.MemberEnd()) object.RemoveMember(existing);
  object.AddMember(JVal(key, allocator), copy, allocator);
}

}  // namespace OrinConfigStore
