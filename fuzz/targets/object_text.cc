// Object text: one configuration object of a sample type, read through
// every typed getter, walked through its sub-objects, changed, and written
// back as text.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "configstore/json.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace cfuzz {

namespace {

using OrinConfigStore::ConfigStoreObject;
using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::FilterSpecObject;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;
using OrinConfigStore::StoreObject;
using OrinConfigStore::SubObjectId;
using Object = std::shared_ptr<ConfigStoreObject>;

// Bounds that keep one input fast whatever its shape.
constexpr int kMaxDepth = 4;
constexpr std::size_t kMaxMembers = 16;

// Members of the sample types, read whether the input has them or not, so
// that the types' defaults answer too.
const char* const kSampleMembers[] = {"name",    "mtu",    "enabled", "addresses",
                                      "address", "domain", "options", "timeout"};

// The text must be a JSON object, whatever was done to the object. Read as
// the library reads, so that each number is the one that was written.
JDoc ParsedObject(const std::string& text, const char* what) {
  JDoc document;
  if (OrinConfigStore::ParseJsonText(document, text.c_str(), text.size()).IsError() ||
      !document.IsObject()) {
    Fail(std::string(what) + ": " + text);
  }
  return document;
}

std::vector<std::string> MemberNames(const JDoc& data) {
  std::vector<std::string> names;
  for (const auto& member : data.GetObject()) {
    if (names.size() == kMaxMembers) break;
    names.emplace_back(member.name.GetString(), member.name.GetStringLength());
  }
  return names;
}

template <typename T>
void Read(const StoreObject& object, const char* key) {
  T out{};
  Attempt([&] { object.GetValue(key, &out); });
}

void ReadMember(const StoreObject& object, const char* key) {
  Read<std::string>(object, key);
  Read<int>(object, key);
  Read<long>(object, key);
  Read<long long>(object, key);
  Read<unsigned int>(object, key);
  Read<unsigned short>(object, key);
  Read<unsigned char>(object, key);
  Read<bool>(object, key);
  Read<double>(object, key);
  Read<std::vector<std::string>>(object, key);
  Read<std::vector<int>>(object, key);
  Read<std::vector<long long>>(object, key);
  Read<std::vector<double>>(object, key);
  Read<std::vector<bool>>(object, key);
  Attempt([&] {
    unsigned char* bytes = nullptr;
    unsigned long length = 0;
    if (object.GetValueBinary(key, &bytes, &length) != 0) delete[] bytes;
  });
  Attempt([&] { object.GetValuePtr(key); });
}

// The member the getters read: the first of that name not holding null.
const JVal* OwnMember(const JDoc& data, const std::string& name) {
  for (const auto& member : data.GetObject()) {
    if (!member.value.IsNull() && member.name.GetStringLength() == name.size() &&
        name.compare(0, name.size(), member.name.GetString(), name.size()) == 0) {
      return &member.value;
    }
  }
  return nullptr;
}

template <typename T>
int Get(const StoreObject& object, const char* key, T& out) {
  int found = -1;
  Attempt([&] { found = object.GetValue(key, &out); });
  return found;
}

// A getter's answer `found` agrees with the member `value` of the object's
// own data: 1 only with the member's value (`same`), and 1 whenever the
// member holds exactly the getter's type (`exact`).
template <typename Exact, typename Same>
bool Agrees(int found, const JVal* value, Exact exact, Same same) {
  if (found == 1 && (value == nullptr || !same(*value))) return false;
  return value == nullptr || !exact(*value) || found == 1;
}

void CheckReads(const StoreObject& object, const JDoc& data, const std::string& name) {
  // Keys the getters refuse (empty) or cannot name (a zero byte).
  if (name.empty() || name.find('\0') != std::string::npos) return;
  const JVal* value = OwnMember(data, name);
  const char* key = name.c_str();
  std::string text;
  int number = 0;
  long long wide = 0;
  bool flag = false;
  double real = 0;
  const bool agree =
      Agrees(
          Get(object, key, text), value, [](const JVal& v) { return v.IsString(); },
          [&](const JVal& v) {
            return v.IsString() && text == std::string(v.GetString(), v.GetStringLength());
          }) &&
      Agrees(
          Get(object, key, number), value, [](const JVal& v) { return v.IsInt(); },
          [&](const JVal& v) { return v.IsNumber() && v.GetDouble() == number; }) &&
      Agrees(
          Get(object, key, wide), value, [](const JVal& v) { return v.IsInt64(); },
          [&](const JVal& v) {
            return v.IsInt64() ? v.GetInt64() == wide
                               : v.IsNumber() && v.GetDouble() == static_cast<double>(wide);
          }) &&
      Agrees(
          Get(object, key, flag), value, [](const JVal& v) { return v.IsBool(); },
          [&](const JVal& v) { return v.IsBool() && v.GetBool() == flag; }) &&
      Agrees(
          Get(object, key, real), value, [](const JVal& v) { return v.IsDouble(); },
          [&](const JVal& v) { return v.IsNumber() && v.GetDouble() == real; });
  if (!agree) Fail("a getter disagrees with the data on \"" + name + "\"");
}

// Every member through every getter, then every sub-object and instance
// the same way, down to kMaxDepth.
void Walk(const ConfigStoreObject& object, int depth) {
  const JDoc data = ParsedObject(object.GetData(), "GetData of a view");
  const std::vector<std::string> names = MemberNames(data);
  for (const char* key : kSampleMembers) ReadMember(object, key);
  for (const std::string& name : names) {
    ReadMember(object, name.c_str());
    CheckReads(object, data, name);
  }
  if (depth == kMaxDepth) return;
  const ConfigStoreObjectId& id = object.GetConfigStoreObjectId();
  for (const std::string& name : names) {
    Object sub;
    if (Attempt([&] { sub = object.GetSubObject(SubObjectId(name)); }) && sub) {
      Walk(*sub, depth + 1);
    }
    std::vector<Object> instances;
    const auto filter =
        std::make_shared<FilterSpecObject>(ConfigStoreObjectId(name, id.group, id.component));
    Attempt([&] { instances = object.GetSubObjectInstances(filter); });
    if (instances.size() > kMaxMembers) instances.resize(kMaxMembers);
    for (const Object& instance : instances) {
      Walk(*instance, depth + 1);
      Attempt([&] {
        object.GetSubObject(SubObjectId(name, instance->GetConfigStoreObjectId().instanceId));
      });
    }
  }
}

// Views of the sub-objects named in the data, kept across the changes.
std::vector<Object> Views(const ConfigStoreObject& object, const std::vector<std::string>& names) {
  std::vector<Object> views;
  for (const std::string& name : names) {
    Attempt([&] { views.push_back(object.GetSubObject(SubObjectId(name))); });
    Attempt([&] { views.push_back(object.GetSubObject(SubObjectId(name, "nic0"))); });
  }
  return views;
}

// Setters, sub-objects created and deleted; then the views taken before,
// some of which no longer resolve.
void Change(ConfigStoreObject& object) {
  const std::vector<std::string> names =
      MemberNames(ParsedObject(object.GetData(), "GetData before changes"));
  const std::vector<Object> views = Views(object, names);
  std::size_t turn = 0;
  for (const std::string& name : names) {
    const char* key = name.c_str();
    switch (turn++ % 6) {
      case 0:
        Attempt([&] { object.SetValue(key, std::string("frontend")); });
        break;
      case 1:
        Attempt([&] { object.SetValue(key, 9000); });
        break;
      case 2:
        Attempt([&] { object.AppendValue(key, "storage"); });
        break;
      case 3:
        Attempt([&] { object.SetValue(key, std::vector<int>{1, 2}); });
        break;
      case 4:
        Attempt([&] { object.SetValueEmptyList(key); });
        break;
      default:
        Attempt([&] { object.Remove(key); });
    }
  }
  Attempt([&] { object.CreateSubObject(SubObjectId("addresses", "10.0.0.9")); });
  Attempt([&] { object.CreateSubObject(SubObjectId("options")); });
  for (const std::string& name : names) {
    Attempt([&] { object.CreateSubObject(SubObjectId(name)); });
    Attempt([&] { object.CreateSubObject(SubObjectId(name, "nic0")); });
    Attempt([&] { object.DeleteSubObject(SubObjectId(name, "nic0")); });
  }
  for (const Object& view : views) {
    if (!view) continue;
    Attempt([&] { view->GetData(); });
    Attempt([&] { view->SetValue("mtu", 1500); });
    Attempt([&] { view->CreateSubObject(SubObjectId("addresses", "10.0.0.8")); });
  }
  for (const std::string& name : names) Attempt([&] { object.DeleteSubObject(SubObjectId(name)); });
  Attempt([&] { object.SetInstanceIdFromCsoId(); });
  ParsedObject(object.GetData(), "GetData after changes");
  ParsedObject(object.GetSerializedData(), "GetSerializedData after changes");
}

void RunOn(const ConfigStoreObjectId& id, const std::string& input) {
  Object object;
  if (!Attempt([&] { object = OrinConfigStore::CreateObject(id, input); })) return;
  Attempt([&] { Walk(*object, 0); });
  // Built from text, an object has a text, and built from that text it
  // comes out the same.
  std::string serialized;
  if (!Attempt([&] { serialized = object->GetSerializedData(); })) {
    Fail("an object built from text has no text: " + input);
  }
  Object again;
  if (!Attempt([&] { again = OrinConfigStore::CreateObject(id, serialized); })) {
    Fail("an object's data does not build an object again: " + serialized);
  }
  if (again->GetSerializedData() != serialized) {
    Fail("an object built from its data differs: " + serialized + " became " +
         again->GetSerializedData());
  }
  Attempt([&] { Change(*object); });
}

}  // namespace

void ObjectText(const std::string& input) {
  EnterSampleRoot();
  Attempt([&] { RunOn(ConfigStoreObjectId("nics", "interfaces", "net", "nic1"), input); });
  Attempt([&] { RunOn(ConfigStoreObjectId("resolver", "dns", "net"), input); });
}

}  // namespace cfuzz
