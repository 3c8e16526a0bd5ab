// Computing the drift text of one object: the members that differ between
// a reference and a desired state, repeated sub-objects instance by
// instance, nested sub-objects as drift text of their own.

#include <memory>
#include <string>
#include <utility>

#include "configstore/drift_compute.h"
#include "configstore/exceptions.h"
#include "data_drift.h"
#include "drift_object_impl.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kDriftAdded = "ADD";
constexpr const char* kDriftDeleted = "DELETE";
constexpr const char* kDriftEntryId = "INSTANCEID";
constexpr const char* kDriftEntryData = "DRIFTOBJ";
constexpr const char* kDriftEntryOperation = "DRIFTOP";
constexpr const char* kDifferentTypes = "Drift between different types: ";
constexpr const char* kTypesJoin = " and ";
constexpr const char* kNoDrift = "{}";

const JVal* NamedMember(const JVal& object, const JVal& name) {
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

std::string InstanceIdText(const JVal& instance, const char* instanceKey) {
  const JVal& id = RequireMember(instance, instanceKey);
  return std::string(id.GetString(), id.GetStringLength());
}

class DriftBuilder {
 public:
  DriftBuilder(const JVal& instanceKeys, JAllocator& allocator)
      : instanceKeys_(instanceKeys), allocator_(allocator) {
    RAPIDJSON_ASSERT(instanceKeys.IsObject());
  }

  // The drift text of two objects' data; empty when they hold the same.
  JVal Objects(const JVal& reference, const JVal& desired) {
    RAPIDJSON_ASSERT(reference.IsObject() && desired.IsObject());
    JVal drift(rapidjson::kObjectType);
    for (const auto& member : desired.GetObject()) {
      const JVal* before = NamedMember(reference, member.name);
      JVal change = Text(kDriftAdded);
      if (before == nullptr || Member(member.name, *before, member.value, change)) {
        drift.AddMember(JVal(member.name, allocator_), change, allocator_);
      }
    }
    for (const auto& member : reference.GetObject()) {
      if (NamedMember(desired, member.name) != nullptr) continue;
      drift.AddMember(JVal(member.name, allocator_), Text(kDriftDeleted), allocator_);
    }
    return drift;
  }

 private:
  // The drift of a member both sides hold, into `drift`; false when there
  // is none.
  bool Member(const JVal& name, const JVal& before, const JVal& after, JVal& drift) {
    if (before == after) return false;
    const JVal* instanceKey =
        name.IsString() ? FindValue(instanceKeys_, name.GetString()) : nullptr;
    if (instanceKey != nullptr && instanceKey->IsString() && after.IsArray()) {
      drift = Instances(before.IsArray() ? before : EmptyArray(), after, instanceKey->GetString());
      return !drift.Empty();
    }
    if (after.IsObject()) {
      drift = Objects(before.IsObject() ? before : EmptyObject(), after);
      return !drift.ObjectEmpty();
    }
    drift.CopyFrom(after, allocator_);
    return true;
  }

  // One entry per instance that differs, matched by instance id.
  JVal Instances(const JVal& reference, const JVal& desired, const char* instanceKey) {
    JVal entries(rapidjson::kArrayType);
    for (const JVal& instance : desired.GetArray()) {
      const std::string id = InstanceIdText(instance, instanceKey);
      const JVal* before = FindInstance(reference, instanceKey, id);
      if (before == nullptr) {
        entries.PushBack(Entry(id, kDriftEntryOperation, Text(kDriftAdded)), allocator_);
        continue;
      }
      JVal drift = Objects(*before, instance);
      if (!drift.ObjectEmpty()) {
        entries.PushBack(Entry(id, kDriftEntryData, std::move(drift)), allocator_);
      }
    }
    for (const JVal& instance : reference.GetArray()) {
      const std::string id = InstanceIdText(instance, instanceKey);
      if (FindInstance(desired, instanceKey, id) != nullptr) continue;
      entries.PushBack(Entry(id, kDriftEntryOperation, Text(kDriftDeleted)), allocator_);
    }
    return entries;
  }

  JVal Entry(const std::string& id, const char* member, JVal value) {
    JVal entry(rapidjson::kObjectType);
    entry.AddMember(JVal(kDriftEntryId, allocator_),
                    JVal(id.c_str(), static_cast<rapidjson::SizeType>(id.size()), allocator_),
                    allocator_);
    entry.AddMember(JVal(member, allocator_), value, allocator_);
    return entry;
  }

  JVal Text(const char* text) { return JVal(text, allocator_); }
  static const JVal& EmptyObject() {
    static const JVal kEmpty(rapidjson::kObjectType);
    return kEmpty;
  }
  static const JVal& EmptyArray() {
    static const JVal kEmpty(rapidjson::kArrayType);
    return kEmpty;
  }

  const JVal& instanceKeys_;
  JAllocator& allocator_;
};

// An object's data as GetData shows it, in `data`.
void ShowData(const ConfigStoreObject& object, JDoc& data) {
  const std::string text = object.GetData();
  RAPIDJSON_ASSERT(ConfigStoreDocument::ParseStored(data, text.c_str(), text.size()));
}

bool SameType(const ConfigStoreObjectId& a, const ConfigStoreObjectId& b) {
  return a.component == b.component && a.group == b.group && a.key == b.key;
}

}  // namespace

std::string ComputeDriftText(const JVal& reference, const JVal& desired, const JVal& instanceKeys) {
  JDoc document;
  static_cast<JVal&>(document) =
      DriftBuilder(instanceKeys, document.GetAllocator()).Objects(reference, desired);
  std::string text;
  ConfigStoreDocument::SerializeValue(document, text);
  return text;
}

std::shared_ptr<DriftObject> ComputeDataDrift(const ConfigStoreObjectId& id, const JVal* reference,
                                              const JVal* desired, const JVal& instanceKeys) {
  if (reference == nullptr && desired == nullptr) return nullptr;
  const JVal empty(rapidjson::kObjectType);
  const std::string text = ComputeDriftText(reference != nullptr ? *reference : empty,
                                            desired != nullptr ? *desired : empty, instanceKeys);
  if (reference != nullptr && desired != nullptr && text == kNoDrift) return nullptr;
  const char* operation = reference == nullptr ? kDriftAdded
                          : desired == nullptr ? kDriftDeleted
                                               : DriftObjectImpl::kSetOperation;
  return std::make_shared<DriftObjectImpl>(id, text, operation);
}

std::shared_ptr<DriftObject> ComputeDrift(const std::shared_ptr<ConfigStoreObject>& reference,
                                          const std::shared_ptr<ConfigStoreObject>& desired) {
  if (!reference && !desired) return nullptr;
  const ConfigStoreObject& named = desired ? *desired : *reference;
  const ConfigStoreObjectId& id = named.GetConfigStoreObjectId();
  if (reference && desired && !SameType(reference->GetConfigStoreObjectId(), id)) {
    throw InvalidArgumentException(kDifferentTypes +
                                   reference->GetConfigStoreObjectId().toString() + kTypesJoin +
                                   id.toString());
  }
  JDoc before;
  JDoc after;
  if (reference) ShowData(*reference, before);
  if (desired) ShowData(*desired, after);
  JDoc instanceKeys;
  const std::string idMap = named.GetIdMapStr();
  RAPIDJSON_ASSERT(ConfigStoreDocument::ParseStored(instanceKeys, idMap.c_str(), idMap.size()));
  return ComputeDataDrift(id, reference ? &before : nullptr, desired ? &after : nullptr,
                          instanceKeys);
}

}  // namespace OrinConfigStore
