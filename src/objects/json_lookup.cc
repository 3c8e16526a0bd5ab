#include "json_lookup.h"

#include <cstring>

#include "platform/config_store_document.h"

namespace OrinConfigStore {

JVal* FindValue(JVal& object, const char* key) {
  RAPIDJSON_ASSERT(key != nullptr);
  const std::size_t length = std::strlen(key);
  for (auto& member : object.GetObject()) {
    if (member.name.GetStringLength() == length &&
        std::memcmp(member.name.GetString(), key, length) == 0 && !member.value.IsNull()) {
      return &member.value;
    }
  }
  return nullptr;
}

JVal& RequireMember(JVal& object, const std::string& name) {
  const auto member = object.FindMember(JsonKey(name));
  RAPIDJSON_ASSERT(member != object.MemberEnd());
  return member->value;
}

JVal* FindInstance(JVal& instances, const std::string& instanceKey, const std::string& instanceId) {
  for (JVal& element : instances.GetArray()) {
    if (JsonStringEquals(RequireMember(element, instanceKey), instanceId)) return &element;
  }
  return nullptr;
}

}  // namespace OrinConfigStore
