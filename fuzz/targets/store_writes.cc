// Store writes: each line one operation on the sample store, all of an
// input in one transaction that is cancelled afterwards, so that inputs do
// not see each other and the database does not grow.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"
#include "objects/config_store_object_internal.h"

namespace cfuzz {

namespace {

using OrinConfigStore::ConfigStore;
using OrinConfigStore::ConfigStoreObject;
using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::FilterSpecObject;
using OrinConfigStore::JDoc;
using OrinConfigStore::USERDATA_CONTEXT;
using Object = std::shared_ptr<ConfigStoreObject>;
using Objects = std::vector<Object>;

constexpr std::size_t kMaxLines = 8;
constexpr std::size_t kMaxInstances = 16;

struct Operation {
  std::string name;
  ConfigStoreObjectId id{"", "", ""};
  std::string json;
};

// "<name> <component>/<group>/<key>[/<instance id>] <JSON>"; false when the
// line is not of that shape.
bool ParseOperation(const std::string& line, Operation& operation) {
  const auto nameEnd = line.find(' ');
  if (nameEnd == std::string::npos) return false;
  const auto idEnd = std::min(line.find(' ', nameEnd + 1), line.size());
  const std::string id = line.substr(nameEnd + 1, idEnd - nameEnd - 1);
  const auto groupStart = id.find('/') + 1;
  if (groupStart == 0) return false;
  const auto keyStart = id.find('/', groupStart) + 1;
  if (keyStart == 0) return false;
  const auto keyEnd = std::min(id.find('/', keyStart), id.size());
  operation.name = line.substr(0, nameEnd);
  operation.id.component = id.substr(0, groupStart - 1);
  operation.id.group = id.substr(groupStart, keyStart - groupStart - 1);
  operation.id.key = id.substr(keyStart, keyEnd - keyStart);
  operation.id.instanceId = keyEnd < id.size() ? id.substr(keyEnd + 1) : std::string();
  operation.json = idEnd < line.size() ? line.substr(idEnd + 1) : std::string("{}");
  return true;
}

// The instances of a JSON array, each addressed by the instance id its data
// carries.
Objects Instances(const Operation& operation) {
  Objects objects;
  JDoc list;
  list.Parse(operation.json.c_str(), operation.json.size());
  if (list.HasParseError() || !list.IsArray()) return objects;
  ConfigStoreObjectId type = operation.id;
  type.instanceId.clear();
  const auto schema = OrinConfigStore::LookupSchema(type);
  for (const auto& element : list.GetArray()) {
    if (objects.size() == kMaxInstances) break;
    Attempt([&] {
      ConfigStoreObjectId id = type;
      if (schema) id.instanceId = OrinConfigStore::GetInstanceIdFromValue(element, schema);
      objects.push_back(OrinConfigStore::CreateObject(id, OrinConfigStore::SerializeJson(element)));
    });
  }
  return objects;
}

std::shared_ptr<FilterSpecObject> TypeFilter(const ConfigStoreObjectId& id) {
  return std::make_shared<FilterSpecObject>(ConfigStoreObjectId(id.key, id.group, id.component));
}

void CheckData(const ConfigStoreObject& object) {
  const std::string data = object.GetData();
  JDoc parsed;
  if (OrinConfigStore::ParseJsonText(parsed, data.c_str(), data.size()).IsError() ||
      !parsed.IsObject()) {
    Fail("a stored object reads as " + data);
  }
}

// Every read of the operation's type; what a write stored is read back.
void ReadBack(ConfigStore& store, const Operation& operation, const Objects& written) {
  Attempt([&] {
    if (const Object object = store.Get(operation.id)) CheckData(*object);
    store.GetRevision(operation.id);
  });
  Attempt([&] {
    for (const Object& object : store.GetInstances(TypeFilter(operation.id))) CheckData(*object);
    store.GetInstanceIds(
        ConfigStoreObjectId(operation.id.key, operation.id.group, operation.id.component));
    store.GetInstancesRevision(operation.id);
  });
  for (const Object& object : written) {
    const ConfigStoreObjectId& id = object->GetConfigStoreObjectId();
    Object stored;
    Attempt([&] { stored = store.Get(id); });
    if (!stored) Fail("a written object is not found: " + id.toString());
  }
}

// Runs one operation: set, user, update, vital, cached, instances,
// userinstances, vitalinstances, cachedinstances, delete or deleteinstances
// (a "+" after set, user, update, instances or userinstances writes in the
// INTERNAL context); any other name validates. Answers the objects it wrote.
Objects Run(ConfigStore& store, const Operation& operation) {
  const std::string& name = operation.name;
  const bool internal = !name.empty() && name.back() == '+';
  const USERDATA_CONTEXT context = internal ? OrinConfigStore::INTERNAL : OrinConfigStore::EXTERNAL;
  const std::string verb = internal ? name.substr(0, name.size() - 1) : name;
  if (verb == "delete") {
    store.Delete(operation.id);
    return {};
  }
  if (verb == "deleteinstances") {
    auto filter = std::make_shared<FilterSpecObject>(operation.id);
    filter->SetData(operation.json.c_str());
    store.DeleteInstances(filter);
    return {};
  }
  if (verb == "instances" || verb == "userinstances" || verb == "vitalinstances" ||
      verb == "cachedinstances") {
    Objects objects = Instances(operation);
    if (verb == "instances") store.SetInstances(objects, context);
    if (verb == "userinstances") store.SetUserDataInstances(objects, context);
    if (verb == "vitalinstances") store.SetVitalDataInstances(objects);
    if (verb == "cachedinstances") store.SetCachedDataInstances(objects);
    return objects;
  }
  const Object object = OrinConfigStore::CreateObject(operation.id, operation.json);
  if (verb == "set") {
    store.Set(object, context);
  } else if (verb == "user") {
    store.SetUserData(object, context);
  } else if (verb == "update") {
    store.Update(object, context);
  } else if (verb == "vital") {
    store.SetVitalData(object);
  } else if (verb == "cached") {
    store.SetCachedData(object);
  } else {
    store.Validate(object);
    return {};
  }
  return {object};
}

}  // namespace

void StoreWrites(const std::string& input) {
  std::vector<std::string> lines = SplitLines(input);
  if (lines.size() > kMaxLines) lines.resize(kMaxLines);
  auto& store = SampleStore();
  OrinConfigStore::ConfigStoreTransaction transaction(store);
  for (const std::string& line : lines) {
    Operation operation;
    if (!ParseOperation(line, operation)) continue;
    Objects written;
    if (Attempt([&] { written = Run(*store, operation); })) ReadBack(*store, operation, written);
  }
  CancelInput(transaction);
}

}  // namespace cfuzz
