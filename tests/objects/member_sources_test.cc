// Where each member of a merged object comes from: the highest source
// holding it, the lower ones it hides, repeated sub-objects taken whole
// and matched by instance id, and the defaults behind absent members.

#include "objects/member_sources.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/object_merge.h"
#include "outcome.h"

namespace OrinConfigStore {
namespace {

using cstest::Parse;

const char* const kIdMap = R"({"nics": "name", "addresses": "address"})";

// The leaves in one line each: "<pointer> <value> <source> <overrides...>".
std::vector<std::string> Explain(const char* vital, const char* cached, const char* automatic,
                                 const char* user, const char* defaults) {
  const char* texts[] = {vital, cached, automatic, user};
  const ConfigSource order[] = {ConfigSource::kVital, ConfigSource::kCached,
                                ConfigSource::kAutomatic, ConfigSource::kUser};
  std::vector<JDoc> layers;
  for (const char* text : texts) layers.push_back(Parse(text != nullptr ? text : "{}"));
  // The read's own merge: later sources win, arrays replace.
  JDoc merged = Parse("{}");
  SourceValues sources;
  for (std::size_t i = 0; i < layers.size(); ++i) {
    if (texts[i] != nullptr) MergeInto(merged, layers[i], nullptr, merged.GetAllocator());
    sources.emplace_back(order[i], texts[i] != nullptr ? &layers[i] : nullptr);
  }
  const JDoc defaultValues = Parse(defaults != nullptr ? defaults : "{}");
  std::vector<std::string> lines;
  for (const MemberSource& member : ExplainMembers(
           merged, sources, defaults != nullptr ? &defaultValues : nullptr, Parse(kIdMap))) {
    std::string line = member.pointer + " " + member.value + " " + ConfigSourceName(member.source);
    for (const ConfigSource source : member.overrides)
      line += std::string(" ") + ConfigSourceName(source);
    lines.push_back(line);
  }
  return lines;
}

// Leaves come in the merged data's order.
TEST(ExplainMembers, EachMemberFromTheHighestSourceHoldingIt) {
  const auto lines = Explain(R"({"macAddress": "02:00:00:00:00:01", "mtu": 1400})",
                             R"({"speed": 10000, "options": {"timeout": 3}})",
                             R"({"mtu": 1500, "network": "backend", "addresses": [
            {"address": "10.0.0.1", "prefixLength": 16},
            {"address": "10.0.0.2", "gateway": "10.0.0.1"}]})",
                             R"({"mtu": 9000, "options": {"rotate": true}, "addresses": [
            {"address": "10.0.0.2", "gateway": "10.0.0.254"},
            {"address": "10.0.0.3", "prefixLength": 20}]})",
                             R"({"mtu": 1500, "enabled": true, "addresses": {"prefixLength": 24},
          "options": {"timeout": 5, "rotate": false}})");
  EXPECT_EQ(lines, (std::vector<std::string>{
                       R"(/macAddress "02:00:00:00:00:01" vital)",
                       "/options/timeout 3 cached default",
                       "/options/rotate true user default",
                       "/speed 10000 cached",
                       "/mtu 9000 user automatic vital default",
                       R"(/network "backend" automatic)",
                       // The user's array replaced the automatic one: its
                       // instances are the user's, matched below by id.
                       R"(/addresses/0/address "10.0.0.2" user automatic)",
                       R"(/addresses/0/gateway "10.0.0.254" user automatic)",
                       "/addresses/0/prefixLength 24 default",
                       R"(/addresses/1/address "10.0.0.3" user)",
                       "/addresses/1/prefixLength 20 user default",
                       "/enabled true default",
                   }));
}

TEST(ExplainMembers, LeavesAndWhatOnlyTheDefaultsSupply) {
  // Empty objects and arrays, plain arrays and malformed instances are
  // leaves; escaped pointers; a lower source holding another type hides
  // nothing below an object.
  EXPECT_EQ(Explain(nullptr, nullptr, R"({"x": 1, "o": 5})",
                    R"({"e": {}, "servers": ["a"], "addresses": [], "nics": [{"id": 1}],
                        "a/b~c": 2, "o": {"p": 1}})",
                    nullptr),
            (std::vector<std::string>{
                "/x 1 automatic",
                "/a~1b~0c 2 user",
                "/e {} user",
                R"(/servers ["a"] user)",
                "/addresses [] user",
                R"(/nics [{"id":1}] user)",
                "/o/p 1 user",
            }));
  // Defaults fill empty objects and absent members, leaf by leaf; the
  // defaults of a repeated sub-object's instances list nothing without
  // instances, an annotated default of the whole array does.
  EXPECT_EQ(Explain(nullptr, nullptr, nullptr, R"({"options": {}})",
                    R"({"options": {"timeout": 5}, "addresses": {"prefixLength": 24},
                        "nics": [], "dns": {"servers": [], "addresses": {"prefixLength": 1}}})"),
            (std::vector<std::string>{
                "/options/timeout 5 default",
                "/nics [] default",
                "/dns/servers [] default",
            }));
  EXPECT_EQ(std::string(ConfigSourceName(ConfigSource::kAutomatic)), "automatic");
  EXPECT_EQ(std::string(ConfigSourceName(static_cast<ConfigSource>(9))), "");
}

}  // namespace
}  // namespace OrinConfigStore
