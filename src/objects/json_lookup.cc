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

}  // namespace OrinConfigStore
