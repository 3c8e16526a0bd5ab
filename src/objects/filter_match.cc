#include "filter_match.h"

#include "config_store_object_impl.h"
#include "config_store_object_internal.h"
#include "configstore/logger.h"
#include "json_lookup.h"
#include "platform/config_store_document.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kLogRepeatedFilter = "%s: Non-Singleton SubObject filtering not supported";
constexpr const char* kLogMissingKey = "obj is not susbset, key %s did not match";
constexpr const char* kLogMissingInstance = "obj is not subset, instanceId %s did not match";
constexpr const char* kPropertiesKeyword = "properties";
constexpr const char* kItemsKeyword = "items";
constexpr const char* kInstanceIdKeyword = "instanceId";

bool IsArraySubset(const JVal& data, const JVal& part, const JVal& schema) {
  const auto mark = schema.FindMember(kInstanceIdKeyword);
  if (mark == schema.MemberEnd()) return data == part;
  const std::string instanceKey = mark->value.GetString();
  for (const JVal& element : part.GetArray()) {
    const JVal& id = RequireMember(element, instanceKey);
    const std::string instanceId(id.GetString(), id.GetStringLength());
    const JVal* match = FindInstance(data, instanceKey, instanceId);
    if (match == nullptr) {
      CSLogger::Log(0, kLogMissingInstance, instanceId.c_str());
      return false;
    }
    if (!IsSchemaSubset(*match, element, RequireMember(schema, kItemsKeyword))) return false;
  }
  return true;
}
}  // namespace

bool csoMatchesFilter(const JVal& data, const JVal& filter) {
  for (const auto& member : filter.GetObject()) {
    const auto found = data.FindMember(member.name);
    if (found == data.MemberEnd()) return false;
    const JVal& value = found->value;
    if (value.IsArray()) {
      CSLogger::Log(0, kLogRepeatedFilter, "csoMatchesFilter");
      return false;
    }
    const JVal& wanted = member.value;
    if (!wanted.IsObject()) {
      if (value.IsObject() || value != wanted) return false;
    } else if (!value.IsObject() || !csoMatchesFilter(value, wanted)) {
      return false;
    }
  }
  return true;
}

bool IsSchemaSubset(const JVal& data, const JVal& part, const JVal& schema) {
  if (part.IsArray()) return IsArraySubset(data, part, schema);
  if (!part.IsObject()) return data == part;
  bool subset = true;
  for (const auto& member : part.GetObject()) {
    const auto found = data.FindMember(member.name);
    if (found == data.MemberEnd()) {
      CSLogger::Log(0, kLogMissingKey, member.name.GetString());
      return false;
    }
    const JVal& properties = RequireMember(schema, kPropertiesKeyword);
    const JVal& property = RequireMember(properties, member.name.GetString());
    subset = IsSchemaSubset(found->value, member.value, property) && subset;
  }
  return subset;
}

std::vector<std::shared_ptr<ConfigStoreObjectImpl>> FilterConfigStoreObjects(
    std::vector<std::shared_ptr<ConfigStoreObjectImpl>>& objects,
    std::shared_ptr<FilterSpecObject> filter) {
  if (objects.empty() || !filter || filter->IsEmpty()) return objects;
  const JVal& wanted = FilterSpecObjectInternal::Impl(*filter).DataValue();
  NarrowTo(objects, [&](const std::shared_ptr<ConfigStoreObjectImpl>& object) {
    return object && csoMatchesFilter(object->DataValue(), wanted);
  });
  return objects;
}

}  // namespace OrinConfigStore
