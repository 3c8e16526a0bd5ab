// The source of each leaf member of a merged object. A read merges its
// sources member by member into objects and takes every other value, arrays
// included, whole from the highest source that holds it; so a member's
// value comes from the highest source holding that place, and the sources
// below it that hold the place too are the ones it overrides.

#include "member_sources.h"

#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kSourceNames[] = {"default", "vital", "cached", "automatic", "user"};
constexpr const char* kUnknownSource = "";

const JVal* ChildValue(const JVal* parent, const JVal& name) {
  if (parent == nullptr || !parent->IsObject()) return nullptr;
  const auto found = parent->FindMember(name);
  return found == parent->MemberEnd() ? nullptr : &found->value;
}

std::string NameText(const JVal& name) {
  return std::string(name.GetString(), name.GetStringLength());
}

// The instance of `instances` whose `instanceKey` member holds the text
// `id`; null when `instances` is no array or holds no such instance. Lower
// sources are only looked into, so a malformed one hides nothing.
const JVal* InstanceById(const JVal* instances, const char* instanceKey, const JVal& id) {
  if (instances == nullptr || !instances->IsArray()) return nullptr;
  for (const JVal& instance : instances->GetArray()) {
    const JVal* own = instance.IsObject() ? FindValue(instance, instanceKey) : nullptr;
    if (own != nullptr && *own == id) return &instance;
  }
  return nullptr;
}

// Whether every element is an object carrying a text instance id.
bool AllIdentified(const JVal& instances, const char* instanceKey) {
  for (const JVal& instance : instances.GetArray()) {
    const JVal* id = instance.IsObject() ? FindValue(instance, instanceKey) : nullptr;
    if (id == nullptr || !id->IsString()) return false;
  }
  return true;
}

bool HoldsMembers(const JVal* value) {
  return value != nullptr && value->IsObject() && !value->ObjectEmpty();
}

class MemberWalk {
 public:
  MemberWalk(const JVal& instanceKeys, std::vector<MemberSource>& members)
      : instanceKeys_(instanceKeys), members_(members) {}

  // `sources` hold each source's value at this place; `defaults` the
  // defaults that apply here, when they are an object.
  void Object(const JVal& merged, const SourceValues& sources, const JVal* defaults,
              const std::string& pointer) {
    for (const auto& member : merged.GetObject()) {
      const std::string here = ChildPointer(pointer, NameText(member.name));
      Member(member.name, member.value, Children(sources, member.name),
             ChildValue(defaults, member.name), here);
    }
    if (defaults == nullptr || !defaults->IsObject()) return;
    for (const auto& member : defaults->GetObject()) {
      if (merged.FindMember(member.name) != merged.MemberEnd()) continue;
      if (InstanceKey(member.name) != nullptr && member.value.IsObject()) continue;
      DefaultOnly(member.value, ChildPointer(pointer, NameText(member.name)));
    }
  }

 private:
  void Member(const JVal& name, const JVal& value, const SourceValues& sources,
              const JVal* defaults, const std::string& pointer) {
    const char* instanceKey = InstanceKey(name);
    if (value.IsObject() && (!value.ObjectEmpty() || HoldsMembers(defaults))) {
      Object(value, sources, defaults, pointer);
    } else if (instanceKey != nullptr && value.IsArray() && !value.Empty() &&
               AllIdentified(value, instanceKey)) {
      Instances(value, sources, defaults, instanceKey, pointer);
    } else {
      // The defaults of a repeated sub-object's instances are no value of
      // the sub-object itself.
      const bool itemDefaults =
          instanceKey != nullptr && defaults != nullptr && defaults->IsObject();
      Leaf(value, sources, itemDefaults ? nullptr : defaults, pointer);
    }
  }

  // Each instance comes from the source of the whole array, the highest
  // that holds one; the sources below it are matched by instance id.
  void Instances(const JVal& merged, const SourceValues& sources, const JVal* defaults,
                 const char* instanceKey, const std::string& pointer) {
    const JVal* itemDefaults = defaults != nullptr && defaults->IsObject() ? defaults : nullptr;
    std::size_t index = 0;
    for (const JVal& instance : merged.GetArray()) {
      const JVal& id = *FindValue(instance, instanceKey);
      SourceValues instanceSources;
      instanceSources.reserve(sources.size());
      for (const auto& [source, value] : sources) {
        instanceSources.emplace_back(source, InstanceById(value, instanceKey, id));
      }
      Object(instance, instanceSources, itemDefaults,
             ChildPointer(pointer, std::to_string(index++)));
    }
  }

  void Leaf(const JVal& value, const SourceValues& sources, const JVal* defaults,
            const std::string& pointer) {
    MemberSource member{pointer, std::string(), ConfigSource::kDefault, {}};
    ConfigStoreDocument::SerializeValue(value, member.value);
    bool found = false;
    for (auto source = sources.rbegin(); source != sources.rend(); ++source) {
      if (source->second == nullptr) continue;
      if (found) {
        member.overrides.push_back(source->first);
      } else {
        member.source = source->first;
        found = true;
      }
    }
    if (found && defaults != nullptr) member.overrides.push_back(ConfigSource::kDefault);
    members_.push_back(std::move(member));
  }

  // A member that only the defaults supply, leaf by leaf.
  void DefaultOnly(const JVal& value, const std::string& pointer) {
    if (!HoldsMembers(&value)) {
      MemberSource member{pointer, std::string(), ConfigSource::kDefault, {}};
      ConfigStoreDocument::SerializeValue(value, member.value);
      members_.push_back(std::move(member));
      return;
    }
    for (const auto& member : value.GetObject()) {
      if (InstanceKey(member.name) != nullptr && member.value.IsObject()) continue;
      DefaultOnly(member.value, ChildPointer(pointer, NameText(member.name)));
    }
  }

  static SourceValues Children(const SourceValues& sources, const JVal& name) {
    SourceValues children;
    children.reserve(sources.size());
    for (const auto& [source, value] : sources) {
      children.emplace_back(source, ChildValue(value, name));
    }
    return children;
  }

  // The instance-id member when `name` is a repeated sub-object.
  const char* InstanceKey(const JVal& name) const {
    const JVal* key = ChildValue(&instanceKeys_, name);
    return key != nullptr && key->IsString() ? key->GetString() : nullptr;
  }

  const JVal& instanceKeys_;
  std::vector<MemberSource>& members_;
};

}  // namespace

const char* ConfigSourceName(ConfigSource source) {
  const auto index = static_cast<std::size_t>(source);
  return index < std::size(kSourceNames) ? kSourceNames[index] : kUnknownSource;
}

std::vector<MemberSource> ExplainMembers(const JVal& merged, const SourceValues& sources,
                                         const JVal* defaults, const JVal& instanceKeys) {
  std::vector<MemberSource> members;
  RAPIDJSON_ASSERT(merged.IsObject());
  MemberWalk(instanceKeys, members).Object(merged, sources, defaults, std::string());
  return members;
}

}  // namespace OrinConfigStore
