// Filter matching: a filter's data from the first line, objects from the
// others; whole objects and repeated sub-objects filtered.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace cfuzz {

namespace {

using OrinConfigStore::ConfigStoreObject;
using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::FilterSpecObject;
using Object = std::shared_ptr<ConfigStoreObject>;
using Filter = std::shared_ptr<FilterSpecObject>;

constexpr std::size_t kMaxObjects = 16;

Filter MakeFilter(const ConfigStoreObjectId& id, const std::string& data) {
  auto filter = std::make_shared<FilterSpecObject>(id);
  filter->SetData(data.c_str());
  return filter;
}

// Matching is a test of each object alone: the kept objects, in order, are
// those a filter keeps on their own, and filtering them again keeps them all.
void CheckFiltering(const std::vector<Object>& objects, const Filter& filter) {
  std::vector<Object> narrowed = objects;
  const std::vector<Object> result = OrinConfigStore::FilterConfigStoreObjects(narrowed, filter);
  if (result != narrowed) Fail("the result differs from the narrowed list");
  std::vector<Object> expected;
  for (const Object& object : objects) {
    std::vector<Object> one{object};
    if (!OrinConfigStore::FilterConfigStoreObjects(one, filter).empty()) expected.push_back(object);
  }
  if (narrowed != expected) Fail("a list is not narrowed to the objects that match alone");
  std::vector<Object> again = narrowed;
  OrinConfigStore::FilterConfigStoreObjects(again, filter);
  if (again != narrowed) Fail("filtering the kept objects again drops some");
}

// Instances that match are listed; once deleted, none is listed any more.
void CheckInstances(const Object& object, const Filter& filter) {
  if (!Attempt([&] { object->GetSubObjectInstances(filter); })) return;
  if (!Attempt([&] { object->DeleteSubObjectInstances(filter); })) return;
  std::vector<Object> left;
  Attempt([&] { left = object->GetSubObjectInstances(filter); });
  if (!left.empty()) Fail("instances still match after their deletion: " + object->GetData());
}

void Match(const std::string& input) {
  const std::vector<std::string> lines = SplitLines(input);
  if (lines.empty()) return;
  const ConfigStoreObjectId nics("nics", "interfaces", "net");
  Filter filter;
  if (!Attempt([&] { filter = MakeFilter(nics, lines[0]); })) return;
  std::vector<Object> objects;
  for (std::size_t i = 1; i < lines.size() && objects.size() < kMaxObjects; ++i) {
    Attempt([&] { objects.push_back(OrinConfigStore::CreateObject(nics, lines[i])); });
  }
  CheckFiltering(objects, filter);

  // The same data as a filter of the repeated sub-object "addresses", for
  // every instance and for one.
  for (const char* instance : {"", "10.0.0.1"}) {
    const Filter addresses =
        MakeFilter(ConfigStoreObjectId("addresses", "interfaces", "net", instance), lines[0]);
    for (const Object& object : objects) CheckInstances(object, addresses);
  }
}

}  // namespace

void FilterMatch(const std::string& input) {
  EnterSampleRoot();
  Attempt([&] { Match(input); });
}

}  // namespace cfuzz
