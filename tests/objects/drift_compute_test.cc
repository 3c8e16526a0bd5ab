// Computing drift: the text for each kind of change, repeated sub-objects
// matched by instance id, and the operations of whole objects.

#include "configstore/drift_compute.h"

#include <gtest/gtest.h>

#include <string>

#include "outcome.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

using cstest::kInvalidJson;
using cstest::Parse;

const char* const kIdMap = R"({"nics": "name", "addresses": "address"})";

std::string Text(const char* reference, const char* desired) {
  return ComputeDriftText(Parse(reference), Parse(desired), Parse(kIdMap));
}

TEST(ComputeDriftText, EachKindOfChange) {
  const struct {
    const char* reference;
    const char* desired;
    const char* drift;
  } cases[] = {
      // Member order does not count.
      {R"({"a": 1, "b": {"c": 2}})", R"({"b": {"c": 2}, "a": 1})", "{}"},
      // Changed, added and deleted members: the desired order, then deletions.
      {R"({"mtu": 1500, "gone": true, "network": "a"})",
       R"({"new": 1, "mtu": 9000, "network": "frontend"})",
       R"({"new":"ADD","mtu":9000,"network":"frontend","gone":"DELETE"})"},
      // A singleton sub-object: drift text of its own.
      {R"({"options": {"timeout": 5, "rotate": true, "attempts": 2}})",
       R"({"options": {"timeout": 7, "attempts": 2, "x": {}}})",
       R"({"options":{"timeout":7,"x":"ADD","rotate":"DELETE"}})"},
      // An object replacing another value: its members are added.
      {R"({"options": 3})", R"({"options": {"timeout": 7}})", R"({"options":{"timeout":"ADD"}})"},
      // Plain arrays and other values travel whole.
      {R"({"servers": ["10.0.0.1"], "o": {}})", R"({"servers": ["10.0.0.2"], "o": null})",
       R"({"servers":["10.0.0.2"],"o":null})"},
      // Repeated sub-objects instance by instance, whatever their order.
      {R"({"addresses": [{"address": "a", "prefixLength": 24}, {"address": "b"},
                         {"address": "c", "gateway": "g"}]})",
       R"({"addresses": [{"address": "d"}, {"address": "c", "gateway": "g"},
                         {"address": "a", "prefixLength": 16}]})",
       R"({"addresses":[{"INSTANCEID":"d","DRIFTOP":"ADD"},)"
       R"({"INSTANCEID":"a","DRIFTOBJ":{"prefixLength":16}},)"
       R"({"INSTANCEID":"b","DRIFTOP":"DELETE"}]})"},
      {R"({"addresses": [{"address": "a"}, {"address": "b"}]})",
       R"({"addresses": [{"address": "b"}, {"address": "a"}]})", "{}"},
      {R"({"x": {"addresses": [{"address": "a"}, {"address": "b"}]}})",
       R"({"x": {"addresses": [{"address": "b"}, {"address": "a"}]}})", "{}"},
      // Nothing to match against: every instance is added.
      {R"({"addresses": {}})", R"({"addresses": [{"address": "a"}]})",
       R"({"addresses":[{"INSTANCEID":"a","DRIFTOP":"ADD"}]})"},
      // Whole repeated sub-objects added or deleted.
      {R"({"addresses": [{"address": "a"}]})", R"({"nics": [{"name": "n"}]})",
       R"({"nics":"ADD","addresses":"DELETE"})"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Text(c.reference, c.desired), c.drift) << c.reference << " -> " << c.desired;
  }
}

TEST(ComputeDriftText, RefusesWhatItCannotMatch) {
  EXPECT_EQ(RAISED(Text("[]", "{}")), kInvalidJson);
  // An instance without its instance id, on either side.
  EXPECT_EQ(RAISED(Text(R"({"addresses": [{"address": "a"}]})", R"({"addresses": [{"x": 1}]})")),
            kInvalidJson);
  EXPECT_EQ(RAISED(Text(R"({"addresses": [{"x": 1}]})", R"({"addresses": [{"address": "a"}]})")),
            kInvalidJson);
}

class ComputeDriftTest : public ::testing::Test {
 protected:
  static std::shared_ptr<ConfigStoreObject> Nic(const char* id, const char* json) {
    return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", id), json);
  }
  static std::string Describe(const std::shared_ptr<DriftObject>& drift) {
    if (drift == nullptr) return "null";
    return drift->GetConfigStoreObjectId().toString() + " | " + drift->GetOperation() + " | " +
           drift->GetData();
  }

  cstest::SampleSchemaRoot root_;
};

// The objects' id map tells repeated sub-objects apart; a missing side is
// an empty object.
TEST_F(ComputeDriftTest, OperationsOfWholeObjects) {
  const auto before = Nic("nic1", R"({"mtu": 1500, "addresses": [{"address": "a"}]})");
  const auto after = Nic("nic1", R"({"mtu": 9000, "addresses": [{"address": "b"}]})");
  const std::string id = "comp net grp interfaces key nics id nic1";
  EXPECT_EQ(Describe(ComputeDrift(before, after)),
            id + R"( | SET | {"mtu":9000,"addresses":[{"INSTANCEID":"b","DRIFTOP":"ADD"},)"
                 R"({"INSTANCEID":"a","DRIFTOP":"DELETE"}]})");
  EXPECT_EQ(Describe(ComputeDrift(nullptr, after)),
            id + R"( | ADD | {"mtu":"ADD","addresses":"ADD","name":"ADD"})");
  EXPECT_EQ(Describe(ComputeDrift(before, nullptr)),
            id + R"( | DELETE | {"mtu":"DELETE","addresses":"DELETE","name":"DELETE"})");
  EXPECT_EQ(Describe(ComputeDrift(before, Nic("nic1", R"({"addresses": [{"address": "a"}],
                                                         "mtu": 1500})"))),
            "null");
  EXPECT_EQ(Describe(ComputeDrift(nullptr, nullptr)), "null");
  EXPECT_EQ(RAISED(ComputeDrift(before,
                                CreateObject(ConfigStoreObjectId("resolver", "dns", "net"), "{}"))),
            "InvalidArgument 2000 Drift between different types: comp net grp interfaces key "
            "nics id nic1 and comp net grp dns key resolver");
}

}  // namespace
}  // namespace OrinConfigStore
