// Drift text: the drift of one object, walked through its properties,
// sub-objects and instances.

#include <memory>
#include <string>
#include <vector>

#include "configstore/drift_object.h"
#include "configstore/json.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace cfuzz {

namespace {

using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::DriftObject;
using OrinConfigStore::SubObjectId;
using Drift = std::shared_ptr<DriftObject>;

constexpr int kMaxDepth = 4;
constexpr std::size_t kMaxMembers = 16;

void Walk(const DriftObject& drift, int depth) {
  drift.GetConfigStoreObjectId();
  drift.GetOperation();
  // Whatever it holds, the data has a JSON text.
  std::string data;
  if (!Attempt([&] { data = drift.GetData(); })) Fail("drift data without a text");
  OrinConfigStore::JDoc parsed;
  if (OrinConfigStore::ParseJsonText(parsed, data.c_str(), data.size()).IsError())
    Fail("drift data is not JSON: " + data);

  std::vector<std::pair<std::string, std::string>> properties;
  Attempt([&] { properties = drift.Get(); });
  if (properties.size() > kMaxMembers) properties.resize(kMaxMembers);
  if (depth == kMaxDepth) return;
  for (const auto& property : properties) {
    const std::string& key = property.first;
    Drift sub;
    if (Attempt([&] { sub = drift.GetSubObject(SubObjectId(key)); }) && sub) Walk(*sub, depth + 1);
    if (Attempt([&] { sub = drift.GetSubObject(SubObjectId(key, "nic0")); }) && sub) {
      Walk(*sub, depth + 1);
    }
    std::vector<Drift> instances;
    Attempt([&] { instances = drift.GetSubObjectInstances(SubObjectId(key)); });
    if (instances.size() > kMaxMembers) instances.resize(kMaxMembers);
    for (const Drift& instance : instances) {
      if (!instance) Fail("an empty instance in the instances of " + key);
      Walk(*instance, depth + 1);
      const std::string instanceId = instance->GetConfigStoreObjectId().instanceId;
      Attempt([&] { drift.GetSubObjectInstances(SubObjectId(key, instanceId)); });
    }
  }
}

}  // namespace

void DriftText(const std::string& input) {
  EnterSampleRoot();
  Drift drift;
  if (!Attempt([&] {
        drift = OrinConfigStore::CreateDriftObject(
            ConfigStoreObjectId("nics", "interfaces", "net", "nic1"), input, "SET");
      })) {
    return;
  }
  Attempt([&] { Walk(*drift, 0); });
}

}  // namespace cfuzz
