// Drift objects: creation, the property list, and the walks into singleton
// and repeated sub-objects.

#include "configstore/drift_object.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kId("options", "kernix", "orin");

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

TEST(DriftObjectCreate, KeepsIdentifierOperationAndData) {
  const auto drift = CreateDriftObject(kId, R"({ "a" : [1, {"b": null}] })", "anything");
  EXPECT_EQ(drift->GetConfigStoreObjectId(), kId);
  EXPECT_EQ(drift->GetOperation(), "anything");
  EXPECT_EQ(drift->GetData(), R"({"a":[1,{"b":null}]})");
}

TEST(DriftObjectCreate, RefusesTextThatDoesNotParse) {
  for (const std::string& bad :
       std::vector<std::string>{"", "{", "{\"a\":1} x", std::string(600, '[')}) {
    EXPECT_CS_ERROR(InvalidArgumentException, 1080, "Failed to parse JSON String",
                    CreateDriftObject(kId, bad, "SET"));
  }
}

TEST(DriftObjectCreate, NonObjectDataIsKeptButCannotBeWalked) {
  const auto drift = Drift("[1]");
  EXPECT_EQ(drift->GetData(), "[1]");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", drift->Get());
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  drift->GetSubObject(SubObjectId("a")));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  drift->GetSubObjectInstances(SubObjectId("a")));
}

TEST(DriftObjectGet, ListsPropertiesInOrderWithTheirOperations) {
  using Pairs = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(Drift(R"({"a": 5, "b": "DELETE", "c": [], "d": "x"})")->Get(),
            (Pairs{{"a", "SET"}, {"b", "DELETE"}, {"c", "SET"}, {"d", "x"}}));
}

TEST(DriftSubObject, SingletonValuesAndWholeOperations) {
  const auto drift = Drift();
  EXPECT_EQ(Describe(drift->GetSubObject(SubObjectId("dns"))),
            R"(comp  grp  key dns | SET | {"domain":"lab"})");
  EXPECT_EQ(Describe(drift->GetSubObject(SubObjectId("d"))), R"(comp  grp  key d | SET | "x")");
  EXPECT_EQ(Describe(drift->GetSubObject(SubObjectId("b"))), "comp  grp  key b | DELETE | {}");
  // A sub-object deleted or added as a whole answers for any of its instances.
  EXPECT_EQ(Describe(drift->GetSubObject(SubObjectId("b", "3"))),
            "comp  grp  key b id 3 | DELETE | {}");
  EXPECT_EQ(Describe(drift->GetSubObject(SubObjectId("vlans", "3"))),
            "comp  grp  key vlans id 3 | ADD | {}");
}

TEST(DriftSubObject, AbsentPropertiesAndInstancesAreLoggedNotThrown) {
  const auto drift = Drift();
  cstest::LogCapture log;
  EXPECT_EQ(drift->GetSubObject(SubObjectId("ntp")), nullptr);
  EXPECT_TRUE(log.Contains(0, "property ntp is not in drift"));
  EXPECT_EQ(drift->GetSubObject(SubObjectId("nics", "9")), nullptr);
  EXPECT_TRUE(log.Contains(0, "subobject key nics id 9 is not in drift"));
  EXPECT_TRUE(drift->GetSubObjectInstances(SubObjectId("ntp", "1")).empty());
}

TEST(DriftSubObject, InstanceIdMustMatchTheShape) {
  const auto drift = Drift();
  EXPECT_CS_ERROR(ConfigStoreException, 1048,
                  "Non-Singleton object should contain instanceId: key c",
                  drift->GetSubObject(SubObjectId("c")));
  EXPECT_CS_ERROR(ConfigStoreException, 1049,
                  "Singleton object cannot contain instanceId: key a id 1",
                  drift->GetSubObject(SubObjectId("a", "1")));
  // Only the exact texts ADD and DELETE stand for a whole sub-object.
  EXPECT_CS_ERROR(ConfigStoreException, 1049,
                  "Singleton object cannot contain instanceId: key d id 1",
                  drift->GetSubObject(SubObjectId("d", "1")));
  EXPECT_CS_ERROR(ConfigStoreException, 1046, "Not a Non-Singleton object: key dns",
                  drift->GetSubObjectInstances(SubObjectId("dns")));
}

TEST(DriftSubObject, MalformedEntriesAreInvalidJson) {
  for (const char* text :
       {R"({"n": [{"INSTANCEID": "1"}]})", R"({"n": [{"INSTANCEID": "1", "DRIFTOP": 3}]})",
        R"({"n": [{"INSTANCEID": 1, "DRIFTOP": "ADD"}]})", R"({"n": [5]})"}) {
    const auto drift = Drift(text);
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                    drift->GetSubObject(SubObjectId("n", "1")))
        << text;
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                    drift->GetSubObjectInstances(SubObjectId("n")))
        << text;
  }
}

TEST(DriftSubObject, ResultsOutliveTheirParent) {
  auto drift = Drift();
  const auto dns = drift->GetSubObject(SubObjectId("dns"));
  const auto nics = drift->GetSubObjectInstances(SubObjectId("nics"));
  drift.reset();
  EXPECT_EQ(dns->GetData(), R"({"domain":"lab"})");
  EXPECT_EQ(nics.at(1)->GetData(), R"({"x":1})");
}

TEST(DriftSubObjectInstances, ListsEveryEntryOrTheWholeOperation) {
  const auto drift = Drift();
  const auto nics = drift->GetSubObjectInstances(SubObjectId("nics"));
  ASSERT_EQ(nics.size(), 2u);
  EXPECT_EQ(Describe(nics[0]), "comp  grp  key nics id 7 | ADD | {}");
  EXPECT_EQ(Describe(nics[1]), R"(comp  grp  key nics id 8 | SET | {"x":1})");
  EXPECT_TRUE(drift->GetSubObjectInstances(SubObjectId("c")).empty());

  const auto vlans = drift->GetSubObjectInstances(SubObjectId("vlans"));
  ASSERT_EQ(vlans.size(), 1u);
  EXPECT_EQ(Describe(vlans[0]), "comp  grp  key vlans | ADD | {}");

  // With an instance id: exactly the one answer, even when it is empty.
  const auto one = drift->GetSubObjectInstances(SubObjectId("nics", "8"));
  ASSERT_EQ(one.size(), 1u);
  EXPECT_EQ(Describe(one[0]), R"(comp  grp  key nics id 8 | SET | {"x":1})");
  const auto none = drift->GetSubObjectInstances(SubObjectId("nics", "9"));
  ASSERT_EQ(none.size(), 1u);
  EXPECT_EQ(none[0], nullptr);
}

}  // namespace
}  // namespace OrinConfigStore
