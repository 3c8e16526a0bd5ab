// Filter specifications, their sub-object filters, and matching objects
// against a filter or a partial object against a whole one.

#include <utility>

#include "config_store_object_impl.h"
#include "config_store_object_internal.h"
#include "configstore/exceptions.h"
#include "configstore/filter_object.h"
#include "configstore/logger.h"
#include "filter_object_impl.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kFilterExists = "SubObject filter already exists.";

constexpr const char* kLogRepeatedFilter = "%s: Non-Singleton SubObject filtering not supported";
constexpr const char* kLogNotSubsetKey = "obj is not susbset, key %s did not match";
constexpr const char* kLogNotSubsetInstance = "obj is not subset, instanceId %s did not match";
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
      CSLogger::Log(0, kLogNotSubsetInstance, instanceId.c_str());
      return false;
    }
    if (!IsSchemaSubset(*match, element, RequireMember(schema, kItemsKeyword))) return false;
  }
  return true;
}

}  // namespace

std::shared_ptr<FilterSpecObject> FilterSpecObjectImpl::MakeView(const SubObjectId& sid) const {
  const ConfigStoreObjectId& parent = GetConfigStoreObjectId();
  std::vector<JsonNode> path = GetJsonDoc()->GetPath();
  path.push_back(JsonNode{sid.key, "", ""});
  return FilterSpecObjectInternal::Wrap(std::make_shared<FilterSpecObjectImpl>(
      ConfigStoreObjectId(sid.key, parent.group, parent.component, sid.instanceId),
      std::make_shared<JsonDoc>(GetJsonDoc()->ShareDocument(), std::move(path))));
}

std::shared_ptr<FilterSpecObject> FilterSpecObjectImpl::CreateSubObjectFilter(
    const SubObjectId& sid) {
  TraceSubObject("CreateSubObjectFilter", sid);
  JVal& data = Value();
  if (ConfigStoreDocument::ValueExists(data, sid.key.c_str())) {
    throw ConfigStoreException(kFilterExists);
  }
  data.AddMember(JVal(sid.key.c_str(), Allocator()), JVal(rapidjson::kObjectType), Allocator());
  return MakeView(sid);
}

std::shared_ptr<FilterSpecObject> FilterSpecObjectImpl::GetSubObjectFilter(
    const SubObjectId& sid) const {
  TraceSubObject("GetSubObjectFilter", sid);
  if (!ConfigStoreDocument::ValueExists(Value(), sid.key.c_str())) return nullptr;
  return MakeView(sid);
}

void FilterSpecObjectImpl::DeleteSubObjectFilter(const SubObjectId& sid) {
  TraceSubObject("DeleteSubObjectFilter", sid);
  Value().RemoveMember(JsonKey(sid.key));
}

FilterSpecObject::FilterSpecObject(const ConfigStoreObjectId& id)
    : StoreObject(std::make_shared<FilterSpecObjectImpl>(id)) {}
FilterSpecObject::FilterSpecObject(std::shared_ptr<FilterSpecObjectImpl> impl)
    : StoreObject(std::move(impl)) {}
FilterSpecObject::~FilterSpecObject() = default;

std::shared_ptr<FilterSpecObject> FilterSpecObject::CreateSubObjectFilter(const SubObjectId& sid) {
  return static_cast<FilterSpecObjectImpl&>(Impl()).CreateSubObjectFilter(sid);
}
std::shared_ptr<FilterSpecObject> FilterSpecObject::GetSubObjectFilter(
    const SubObjectId& sid) const {
  return static_cast<FilterSpecObjectImpl&>(Impl()).GetSubObjectFilter(sid);
}
void FilterSpecObject::DeleteSubObjectFilter(const SubObjectId& sid) {
  static_cast<FilterSpecObjectImpl&>(Impl()).DeleteSubObjectFilter(sid);
}

std::vector<std::shared_ptr<ConfigStoreObject>> FilterConfigStoreObjects(
    std::vector<std::shared_ptr<ConfigStoreObject>>& objects,
    std::shared_ptr<FilterSpecObject> filter) {
  if (objects.empty() || !filter || filter->IsEmpty()) return objects;
  const JVal& wanted = FilterSpecObjectInternal::Impl(*filter).DataValue();
  NarrowTo(objects, [&](const std::shared_ptr<ConfigStoreObject>& object) {
    return object && csoMatchesFilter(ConfigStoreObjectInternal::Impl(*object).DataValue(), wanted);
  });
  return objects;
}

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
      CSLogger::Log(0, kLogNotSubsetKey, member.name.GetString());
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
