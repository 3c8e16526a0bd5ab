// Migration steps on one stored value, and the format that carries them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json/document.h"
#include "platform/schema_migration.h"

namespace OrinSchemaStore {
namespace {

using OrinConfigStore::ConfigStoreDocument;

Migration Read(const std::string& text, std::string& problem) {
  JDoc list;
  EXPECT_TRUE(ConfigStoreDocument::Parse(list, text.data(), text.size())) << text;
  const std::vector<Migration> migrations = ReadMigrations(list, problem);
  return migrations.empty() ? Migration{} : migrations.front();
}

// The value after the steps (`adds` for every "add"), or "refused: ...".
std::string Migrated(const std::string& steps, const std::string& value, bool adds = true) {
  std::string problem;
  const Migration migration = Read(R"([{"from": "1", "steps": )" + steps + "}]", problem);
  EXPECT_EQ(problem, "");
  JDoc data;
  ConfigStoreDocument::Parse(data, value.data(), value.size());
  if (!Migrate(
          migration, data, [adds](const MigrationStep&) { return adds; }, problem)) {
    return "refused: " + problem;
  }
  std::string text;
  ConfigStoreDocument::SerializeValue(data, text);
  return text;
}

TEST(SchemaMigration, EachStepRewritesWhatItNamesAndSkipsWhatIsAbsent) {
  const std::string steps = R"([
    {"op": "rename", "path": "/searchDomains", "to": "search"},
    {"op": "move", "from": "/options/timeout", "path": "/timeoutSeconds"},
    {"op": "move", "from": "/attempts", "path": "/options/attempts"},
    {"op": "map", "path": "/mode", "values": [["dhcp", "auto"], [0, "off"]]},
    {"op": "add", "path": "/options/ndots", "value": 1},
    {"op": "remove", "path": "/legacy"},
    {"op": "rename", "each": "/routes", "path": "/gw", "to": "gateway"}])";
  EXPECT_EQ(Migrated(steps, R"({"searchDomains":["a"],"options":{"timeout":3},"attempts":2,)"
                            R"("mode":"dhcp","legacy":true,"routes":[{"gw":"g1"},{"to":"x"}]})"),
            R"({"options":{"attempts":2,"ndots":1},"mode":"auto","routes":[{"gateway":"g1"},)"
            R"({"to":"x"}],"search":["a"],"timeoutSeconds":3})");
  // A part holding none of the members gets only what is added, and only
  // where the member belongs.
  EXPECT_EQ(Migrated(steps, R"({"mode":0})"), R"({"mode":"off","options":{"ndots":1}})");
  EXPECT_EQ(Migrated(steps, R"({"mode":"static"})", false), R"({"mode":"static"})");
  EXPECT_EQ(Migrated(R"([{"op": "add", "path": "/mtu", "value": 9000}])", R"({"mtu":1500})"),
            R"({"mtu":1500})");
}

TEST(SchemaMigration, AStepThatWouldLoseOrBreakDataRefusesTheValue) {
  EXPECT_EQ(Migrated(R"([{"op": "rename", "path": "/a", "to": "b"}])", R"({"a":1,"b":2})"),
            "refused: rename /a: the member it would write is already there");
  EXPECT_EQ(Migrated(R"([{"op": "move", "from": "/a", "path": "/b/c"}])", R"({"a":1,"b":2})"),
            "refused: move /a to /b/c: the path passes through a value that is not an object");
  EXPECT_EQ(Migrated(R"([{"op": "remove", "each": "/r", "path": "/x"}])", R"({"r":{"x":1}})"),
            "refused: remove /r/*/x: \"each\" does not lead to an array");
}

TEST(SchemaMigration, MalformedMigrationsAreRefusedWithTheirPlace) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {R"({})", "\"migrations\" is not an array"},
      {R"([{"from": "1"}])", "a migration needs \"from\" (a version) and \"steps\" (an array)"},
      {R"([{"from": "1", "steps": [{"op": "drop", "path": "/a"}]}])",
       "migration from \"1\", step 1: \"op\" is not one of rename, move, add, remove, map"},
      {R"([{"from": "1", "steps": [{"op": "remove", "path": "a"}]}])",
       "migration from \"1\", step 1: \"path\" is not a JSON pointer to a member"},
      {R"([{"from": "1", "steps": [{"op": "remove", "path": "/a", "form": "/b"}]}])",
       "migration from \"1\", step 1: unknown member \"form\""},
      {R"([{"from": "1", "steps": [{"op": "rename", "path": "/a"}]}])",
       "migration from \"1\", step 1: \"to\" is missing or not a member name"},
      {R"([{"from": "1", "steps": [{"op": "map", "path": "/a", "values": [[1]]}]}])",
       "migration from \"1\", step 1: \"values\" is not an array of [from, to] pairs"},
      {R"([{"from": "1", "steps": []}, {"from": "1", "steps": []}])", "two migrations from \"1\""},
  };
  for (const auto& [text, expected] : cases) {
    std::string problem;
    JDoc list;
    ConfigStoreDocument::Parse(list, text.data(), text.size());
    ReadMigrations(list, problem);
    EXPECT_EQ(problem, expected) << text;
  }
}

}  // namespace
}  // namespace OrinSchemaStore
