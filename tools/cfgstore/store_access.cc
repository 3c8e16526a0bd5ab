#include "store_access.h"

#include "identifier.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::JVal;

constexpr const char* kGlobalNamespace = "";
constexpr const char* kInstanceIdMismatch = "The data's instance id differs from the identifier: ";
constexpr const char* kComponent = "component";
constexpr const char* kGroup = "group";
constexpr const char* kKey = "key";
constexpr const char* kNonSingleton = "nonSingleton";

// The member that holds the type's instance id, or "" for a singleton type.
std::string InstanceIdMember(const OrinConfigStore::ConfigStoreObject& object,
                             const std::string& key) {
  OrinConfigStore::JDoc idMap;
  idMap.Parse(object.GetIdMapStr().c_str());
  if (!idMap.IsObject()) return std::string();
  const auto member = idMap.FindMember(key.c_str());
  if (member == idMap.MemberEnd() || !member->value.IsString()) return std::string();
  return member->value.GetString();
}

bool Names(const JVal& type, const ConfigStoreObjectId& id) {
  return id.component == type[kComponent].GetString() && id.group == type[kGroup].GetString() &&
         id.key == type[kKey].GetString();
}

}  // namespace

std::shared_ptr<OrinConfigStore::ConfigStore> OpenStore() {
  return OrinConfigStore::ConfigStore::GetStore(kGlobalNamespace);
}

OrinConfigStore::USERDATA_CONTEXT ToContext(const std::string& name) {
  return name == kInternalContext ? OrinConfigStore::INTERNAL : OrinConfigStore::EXTERNAL;
}

// The library writes the identifier's instance id over whatever the data
// holds; a different one in the argument is more likely a slip than intent.
std::shared_ptr<OrinConfigStore::ConfigStoreObject> BuildObject(const ConfigStoreObjectId& id,
                                                                const std::string& json) {
  auto object = OrinConfigStore::CreateObject(id, json);
  if (id.instanceId.empty()) return object;
  const std::string member = InstanceIdMember(*object, id.key);
  if (member.empty()) return object;  // a singleton type: the store refuses the instance id
  OrinConfigStore::JDoc data;
  OrinConfigStore::ParseJsonText(data, json.c_str(), json.size());
  const auto given = data.FindMember(member.c_str());
  if (given != data.MemberEnd() &&
      !(given->value.IsString() && id.instanceId == given->value.GetString())) {
    throw UsageError(kInstanceIdMismatch + FormatIdentifier(id));
  }
  return object;
}

std::shared_ptr<OrinConfigStore::FilterSpecObject> BuildFilter(const ConfigStoreObjectId& id,
                                                               const std::string& json) {
  auto filter = std::make_shared<OrinConfigStore::FilterSpecObject>(id);
  if (!json.empty()) filter->SetData(json.c_str());
  return filter;
}

SchemaCatalog::SchemaCatalog() : description_(OrinSchemaStore::DescribeSchemas()) {}

const JVal& SchemaCatalog::Types() const { return description_->GetDocument(); }

const JVal& SchemaCatalog::Require(const ConfigStoreObjectId& id) const {
  for (const JVal& type : Types().GetArray()) {
    if (Names(type, id)) return type;
  }
  throw UnknownTypeError(FormatIdentifier(ConfigStoreObjectId(id.key, id.group, id.component)));
}

bool SchemaCatalog::NamesAllInstances(const ConfigStoreObjectId& id) const {
  return id.instanceId.empty() && Require(id)[kNonSingleton].GetBool();
}

}  // namespace cfgstore
