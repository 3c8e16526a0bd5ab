#include "object_merge.h"

#include "config_store_object_impl.h"
#include "config_store_object_internal.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

void MergeInstances(JVal& target, const JVal& source, const std::string& instanceKey,
                    const JVal* instanceKeys, JAllocator& allocator) {
  for (const JVal& instance : source.GetArray()) {
    const JVal& id = RequireMember(instance, instanceKey);
    JVal* existing =
        FindInstance(target, instanceKey, std::string(id.GetString(), id.GetStringLength()));
    if (existing != nullptr) {
      MergeInto(*existing, instance, instanceKeys, allocator);
    } else {
      target.PushBack(DeepCopy(instance, allocator), allocator);
    }
  }
}

}  // namespace

void MergeInto(JVal& target, const JVal& source, const JVal* instanceKeys, JAllocator& allocator) {
  for (const auto& member : source.GetObject()) {
    const char* name = member.name.GetString();
    JVal* current = FindValue(target, name);
    const JVal& value = member.value;
    const JVal* instanceKey = instanceKeys != nullptr ? FindValue(*instanceKeys, name) : nullptr;
    if (value.IsObject() && current != nullptr && current->IsObject()) {
      MergeInto(*current, value, instanceKeys, allocator);
    } else if (value.IsArray() && instanceKey != nullptr && current != nullptr &&
               current->IsArray()) {
      MergeInstances(*current, value, instanceKey->GetString(), instanceKeys, allocator);
    } else if (current == nullptr || *current != value) {
      SetMemberEx(target, member.name, value, allocator);
    }
  }
}

void UpdateConfigInternal(const std::shared_ptr<ConfigStoreObject>& target,
                          const std::shared_ptr<ConfigStoreObject>& source,
                          const JVal* instanceKeys) {
  ConfigStoreObjectImpl& into = ConfigStoreObjectInternal::Impl(*target);
  MergeInto(into.DataValue(), ConfigStoreObjectInternal::Impl(*source).DataValue(), instanceKeys,
            into.GetJsonDoc()->GetAllocator());
}

}  // namespace OrinConfigStore
