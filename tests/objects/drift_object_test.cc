// Drift objects: creation, the property list, and the walks into singleton
// and repeated sub-objects.

#include "configstore/drift_object.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "outcome.h"

namespace OrinConfigStore {
namespace {

using cstest::kInvalidJson;
const ConfigStoreObjectId kId("options", "kernix", "orin");

std::shared_ptr<DriftObject> Drift(const char* text = R"({
  "a": 5, "b": "DELETE", "d": "x", "dns": {"domain": "lab"}, "vlans": "ADD",
  "nics": [{"INSTANCEID": "7", "DRIFTOP": "ADD"}, {"INSTANCEID": "8", "DRIFTOBJ": {"x": 1}}]})") {
  return CreateDriftObject(kId, text, "UPDATE");
}

// The identifier, operation and data of a result, in one line.
std::string Describe(const std::shared_ptr<DriftObject>& drift) {
  if (drift == nullptr) return "null";
  return drift->GetConfigStoreObjectId().toString() + " | " + drift->GetOperation() + " | " +
         drift->GetData();
}

TEST(DriftObject, CreationAndThePropertyList) {
  EXPECT_EQ(Describe(Drift(R"({ "a" : [1, {"b": null}] })")),
            R"(comp orin grp kernix key options | UPDATE | {"a":[1,{"b":null}]})");
  std::string properties;
  for (const auto& [key, operation] : Drift()->Get()) properties += key + ":" + operation + " ";
  EXPECT_EQ(properties, "a:SET b:DELETE d:x dns:SET vlans:ADD nics:SET ");
  EXPECT_EQ(RAISED(Drift("{")), "InvalidArgument 1080 Failed to parse JSON String");
  // Data other than an object is kept, but cannot be walked.
  EXPECT_EQ(Drift("[1]")->GetData(), "[1]");
  EXPECT_EQ(RAISED(Drift("[1]")->Get()), kInvalidJson);
}

TEST(DriftObject, SubObjectsByKeyAndInstance) {
  const std::pair<SubObjectId, std::string> cases[] = {
      {SubObjectId("dns"), R"(comp  grp  key dns | SET | {"domain":"lab"})"},
      {SubObjectId("b"), "comp  grp  key b | DELETE | {}"},
      {SubObjectId("nics", "7"), "comp  grp  key nics id 7 | ADD | {}"},
      {SubObjectId("nics", "8"), R"(comp  grp  key nics id 8 | SET | {"x":1})"},
      // A sub-object deleted or added as a whole answers for any of its instances.
      {SubObjectId("vlans", "3"), "comp  grp  key vlans id 3 | ADD | {}"},
      {SubObjectId("nics", "9"), "null"},
      {SubObjectId("nics"),
       "ConfigStore 1048 Non-Singleton object should contain instanceId: key nics"},
      // Only the exact texts ADD and DELETE stand for a whole sub-object.
      {SubObjectId("d", "1"),
       "ConfigStore 1049 Singleton object cannot contain instanceId: key d id 1"},
  };
  for (const auto& [sid, expected] : cases) {
    std::string result;
    const std::string outcome = RAISED(result = Describe(Drift()->GetSubObject(sid)));
    EXPECT_EQ(outcome == "ok" ? result : outcome, expected);
  }
  EXPECT_EQ(RAISED(Drift(R"({"n": [5]})")->GetSubObject(SubObjectId("n", "1"))), kInvalidJson);
}

TEST(DriftObject, InstancesListEveryEntryOrTheWholeOperationAndOutliveTheParent) {
  auto drift = Drift();
  const auto list = [&](const SubObjectId& sid) {
    std::string lines;
    for (const auto& instance : drift->GetSubObjectInstances(sid))
      lines += Describe(instance) + "; ";
    return lines;
  };
  const auto nics = drift->GetSubObjectInstances(SubObjectId("nics"));
  EXPECT_EQ(list(SubObjectId("nics")),
            R"(comp  grp  key nics id 7 | ADD | {}; comp  grp  key nics id 8 | SET | {"x":1}; )");
  EXPECT_EQ(list(SubObjectId("ntp")), "");
  EXPECT_EQ(list(SubObjectId("vlans")), "comp  grp  key vlans | ADD | {}; ");
  EXPECT_EQ(list(SubObjectId("nics", "9")), "null; ");  // with an instance id: exactly one answer
  EXPECT_EQ(RAISED(drift->GetSubObjectInstances(SubObjectId("dns"))),
            "ConfigStore 1046 Not a Non-Singleton object: key dns");

  drift.reset();
  EXPECT_EQ(nics.at(1)->GetData(), R"({"x":1})");
}

}  // namespace
}  // namespace OrinConfigStore
