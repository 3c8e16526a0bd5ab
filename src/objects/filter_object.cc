#include "configstore/filter_object.h"

#include <utility>

#include "config_store_object_internal.h"
#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "filter_match.h"
#include "filter_object_impl.h"
#include "platform/config_store_document.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kLogTrace = "%s : %s";
constexpr const char* kFilterExists = "SubObject filter already exists.";

void Trace(const char* operation, const SubObjectId& sid) {
  CSLogger::Log(4, kLogTrace, operation, sid.toString().c_str());
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
  Trace("CreateSubObjectFilter", sid);
  JVal& data = Value();
  if (ConfigStoreDocument::ValueExists(data, sid.key.c_str())) {
    throw ConfigStoreException(kFilterExists);
  }
  data.AddMember(JVal(sid.key.c_str(), Allocator()), JVal(rapidjson::kObjectType), Allocator());
  return MakeView(sid);
}

std::shared_ptr<FilterSpecObject> FilterSpecObjectImpl::GetSubObjectFilter(
    const SubObjectId& sid) const {
  Trace("GetSubObjectFilter", sid);
  if (!ConfigStoreDocument::ValueExists(Value(), sid.key.c_str())) return nullptr;
  return MakeView(sid);
}

void FilterSpecObjectImpl::DeleteSubObjectFilter(const SubObjectId& sid) {
  Trace("DeleteSubObjectFilter", sid);
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

}  // namespace OrinConfigStore
