#include "platform/schema_object.h"

#include <utility>

#include "json/document.h"
#include "platform/schema_walk.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ConfigStoreDocument;
using OrinConfigStore::JAllocator;

// Deeper than any configuration nests; only a reference cycle gets here.
constexpr int kMaxDefaultsDepth = 64;

// The defaults of one object schema: each property's "default", and for
// object properties and repeated sub-objects without one, the defaults of
// their own members. Returns an empty object when there are none.
JVal CollectDefaults(const JVal& root, const JVal& schema, JAllocator& allocator, int depth) {
  JVal defaults(rapidjson::kObjectType);
  const JVal* properties = depth < kMaxDefaultsDepth ? PropertiesOf(root, schema) : nullptr;
  if (properties == nullptr) return defaults;
  for (const auto& member : properties->GetObject()) {
    const JVal& property = member.value;
    if (!property.IsObject()) continue;
    JVal value;
    if (const JVal* annotated = SchemaAnnotation(root, property, kDefaultKeyword)) {
      value.CopyFrom(*annotated, allocator);
    } else {
      const JVal* items = SchemaAnnotation(root, property, kItemsKeyword);
      const bool repeated = RepeatedInstanceKey(root, property) != nullptr && items != nullptr;
      value = CollectDefaults(root, repeated ? *items : property, allocator, depth + 1);
      if (value.ObjectEmpty()) continue;
    }
    defaults.AddMember(JVal(member.name, allocator), value, allocator);
  }
  return defaults;
}

}  // namespace

SchemaObject::SchemaObject(std::string component, std::string group, std::string key,
                           std::string version, std::unique_ptr<JDoc> schema, bool nonSingleton,
                           bool bootExempt)
    : component_(std::move(component)),
      group_(std::move(group)),
      key_(std::move(key)),
      version_(std::move(version)),
      schema_(std::move(schema)),
      nonSingleton_(nonSingleton),
      bootExempt_(bootExempt) {
  if (nonSingleton_) instanceIdKey_ = TopLevelInstanceIdMember(*schema_);

  instanceKeyMap_ = ConfigStoreDocument::NewDocument();
  JAllocator& mapAllocator = instanceKeyMap_->GetAllocator();
  instanceKeyMap_->SetObject();
  if (!instanceIdKey_.empty()) {
    instanceKeyMap_->AddMember(JVal(key_.c_str(), mapAllocator),
                               JVal(instanceIdKey_.c_str(), mapAllocator), mapAllocator);
  }
  WalkProperties(*schema_, [&](const std::string&, const std::string& name, const JVal& property) {
    const char* instanceKey = RepeatedInstanceKey(*schema_, property);
    if (instanceKey == nullptr || instanceKeyMap_->HasMember(name.c_str())) return;
    instanceKeyMap_->AddMember(JVal(name.c_str(), mapAllocator), JVal(instanceKey, mapAllocator),
                               mapAllocator);
  });

  defaults_ = ConfigStoreDocument::NewDocument();
  JVal defaults = CollectDefaults(*schema_, *schema_, defaults_->GetAllocator(), 0);
  if (!defaults.ObjectEmpty()) {
    static_cast<JVal&>(*defaults_) = defaults;
    sharedDefaults_ = defaults_;
  }
}

SchemaObject::~SchemaObject() = default;

const JVal& SchemaObject::GetSchemaJson() const { return *schema_; }
const std::string& SchemaObject::GetSchemaText() const {
  std::call_once(schemaTextWritten_,
                 [this] { ConfigStoreDocument::SerializeValue(GetSchemaJson(), schemaText_); });
  return schemaText_;
}
bool SchemaObject::IsBootExempt() const { return bootExempt_; }
bool SchemaObject::IsNonSingleton() const { return nonSingleton_; }
const JVal& SchemaObject::GetInstanceKeyMap() const { return *instanceKeyMap_; }
const JVal& SchemaObject::GetDefaultValue() const { return *defaults_; }
const std::string& SchemaObject::GetInstanceIdKey() const { return instanceIdKey_; }
const std::string& SchemaObject::GetVersion() const { return version_; }

}  // namespace OrinSchemaStore
