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

const ConfigStoreObjectId kId("options", "kernix", "orin");
const std::string kInvalidJson = "ConfigStore 2000 Invalid JSON";

constexpr const char* kDrift = R"({
  "a": 5, "b": "DELETE", "c": [], "d": "x",
  "dns": {"domain": "lab"},
  "nics": [{"INSTANCEID": "7", "DRIFTOP": "ADD"}, {"INSTANCEID": "8", "DRIFTOBJ": {"x": 1}}],
  "vlans": "ADD"
})";

std::shared_ptr<DriftObject> Drift(const char* text = kDrift) {
  return CreateDriftObject(kId, text, "UPDATE");
}

// The identifier, operation and data of a sub-object result, in one line.
std::string Describe(const std::shared_ptr<DriftObject>& drift) {
  if (drift == nullptr) return "null";
  return drift->GetConfigStoreObjectId().toString() + " | " + drift->GetOperation() + " | " +
         drift->GetData();
}

// Describe() of GetSubObject, or what it raised.
std::string SubObject(const SubObjectId& sid) {
  std::string result;
  const std::string outcome = RAISED(result = Describe(Drift()->GetSubObject(sid)));
  return outcome == "ok" ? result : outcome;
}

TEST(DriftObject, CreationKeepsAnyParsedJson) {
  const auto drift = CreateDriftObject(kId, R"({ "a" : [1, {"b": null}] })", "anything");
  EXPECT_EQ(drift->GetConfigStoreObjectId(), kId);
  EXPECT_EQ(drift->GetOperation(), "anything");
  EXPECT_EQ(drift->GetData(), R"({"a":[1,{"b":null}]})");
  EXPECT_EQ(RAISED(CreateDriftObject(kId, "{", "SET")),
            "InvalidArgument 1080 Failed to parse JSON String");

  // Data other than an object is kept, but cannot be walked.
  const auto array = Drift("[1]");
  EXPECT_EQ(array->GetData(), "[1]");
  EXPECT_EQ(RAISED(array->Get()), kInvalidJson);
  EXPECT_EQ(RAISED(array->GetSubObject(SubObjectId("a"))), kInvalidJson);
  EXPECT_EQ(RAISED(array->GetSubObjectInstances(SubObjectId("a"))), kInvalidJson);
}

TEST(DriftObject, PropertiesAndSubObjectsByKeyAndInstance) {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(Drift()->Get(), (Pairs{{"a", "SET"},
                                   {"b", "DELETE"},
                                   {"c", "SET"},
                                   {"d", "x"},
                                   {"dns", "SET"},
                                   {"nics", "SET"},
                                   {"vlans", "ADD"}}));
  const std::pair<SubObjectId, std::string> cases[] = {
      {SubObjectId("dns"), R"(comp  grp  key dns | SET | {"domain":"lab"})"},
      {SubObjectId("d"), R"(comp  grp  key d | SET | "x")"},
      {SubObjectId("b"), "comp  grp  key b | DELETE | {}"},
      {SubObjectId("nics", "7"), "comp  grp  key nics id 7 | ADD | {}"},
      {SubObjectId("nics", "8"), R"(comp  grp  key nics id 8 | SET | {"x":1})"},
      // A sub-object deleted or added as a whole answers for any of its instances.
      {SubObjectId("b", "3"), "comp  grp  key b id 3 | DELETE | {}"},
      {SubObjectId("vlans", "3"), "comp  grp  key vlans id 3 | ADD | {}"},
      {SubObjectId("ntp"), "null"},
      {SubObjectId("nics", "9"), "null"},
      {SubObjectId("c"), "ConfigStore 1048 Non-Singleton object should contain instanceId: key c"},
      {SubObjectId("a", "1"),
       "ConfigStore 1049 Singleton object cannot contain instanceId: key a id 1"},
      // Only the exact texts ADD and DELETE stand for a whole sub-object.
      {SubObjectId("d", "1"),
       "ConfigStore 1049 Singleton object cannot contain instanceId: key d id 1"},
  };
  for (const auto& [sid, expected] : cases) EXPECT_EQ(SubObject(sid), expected);
}

TEST(DriftObject, InstancesListEveryEntryOrTheWholeOperation) {
  const auto drift = Drift();
  const auto list = [&](const SubObjectId& sid) {
    std::vector<std::string> lines;
    for (const auto& instance : drift->GetSubObjectInstances(sid))
      lines.push_back(Describe(instance));
    return lines;
  };
  using Lines = std::vector<std::string>;
  EXPECT_EQ(list(SubObjectId("nics")), (Lines{"comp  grp  key nics id 7 | ADD | {}",
                                              R"(comp  grp  key nics id 8 | SET | {"x":1})"}));
  EXPECT_EQ(list(SubObjectId("c")), Lines{});
  EXPECT_EQ(list(SubObjectId("ntp", "1")), Lines{});
  EXPECT_EQ(list(SubObjectId("vlans")), Lines{"comp  grp  key vlans | ADD | {}"});
  // With an instance id: exactly the one answer, even when it is empty.
  EXPECT_EQ(list(SubObjectId("nics", "8")), Lines{R"(comp  grp  key nics id 8 | SET | {"x":1})"});
  EXPECT_EQ(list(SubObjectId("nics", "9")), Lines{"null"});
  EXPECT_EQ(RAISED(drift->GetSubObjectInstances(SubObjectId("dns"))),
            "ConfigStore 1046 Not a Non-Singleton object: key dns");
}

TEST(DriftObject, MalformedEntriesAreInvalidJson) {
  for (const char* text :
       {R"({"n": [{"INSTANCEID": "1"}]})", R"({"n": [{"INSTANCEID": "1", "DRIFTOP": 3}]})",
        R"({"n": [{"INSTANCEID": 1, "DRIFTOP": "ADD"}]})", R"({"n": [5]})"}) {
    EXPECT_EQ(RAISED(Drift(text)->GetSubObject(SubObjectId("n", "1"))), kInvalidJson) << text;
    EXPECT_EQ(RAISED(Drift(text)->GetSubObjectInstances(SubObjectId("n"))), kInvalidJson) << text;
  }
}

TEST(DriftObject, ResultsOutliveTheirParent) {
  auto drift = Drift();
  const auto dns = drift->GetSubObject(SubObjectId("dns"));
  const auto nics = drift->GetSubObjectInstances(SubObjectId("nics"));
  drift.reset();
  EXPECT_EQ(dns->GetData(), R"({"domain":"lab"})");
  EXPECT_EQ(nics.at(1)->GetData(), R"({"x":1})");
}

}  // namespace
}  // namespace OrinConfigStore
