// Loading schema files: the types and their shipped defaults, all of a file
// or nothing of it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "configstore/provisioning.h"
#include "platform/db_store.h"
#include "platform/schema_store.h"
#include "test_support.h"

namespace OrinSchemaStore {
namespace {

using OrinConfigStore::InvalidArgumentException;

constexpr const char* kTypes = R"([
  {"component": "net", "group": "test", "key": "x", "version": "1",
   "schema": {"properties": {"mtu": {"type": "integer"}, "mac": {"type": "string", "vital": true}}},
   "defaultConfig": {"mtu": 1500, "mac": "m"}},
  {"component": "net", "group": "test", "key": "y", "nonSingleton": true,
   "schema": {"properties": {"id": {"type": "string", "instanceId": true}}},
   "defaultConfig": [{"id": "a"}, {"id": "b"}]}])";

// Every DefaultConfig row as "name/identifier value vital".
std::vector<std::string> Defaults() {
  std::vector<std::string> rows;
  const auto add = [](void* out, int, char** values, char**) {
    static_cast<std::vector<std::string>*>(out)->push_back(values[0]);
    return 0;
  };
  EXPECT_EQ(DBStore::ExecuteV2(DBStore::GetConnection(DBStore::CONFIG),
                               "SELECT Name || '/' || Identifier || ' ' || coalesce(Value, '-') || "
                               "' ' || coalesce(VitalValue, '-') FROM DefaultConfig ORDER BY 1;",
                               add, &rows, DBStore::kStatementTimeoutMs),
            0);
  return rows;
}

const std::vector<std::string> kLoaded{R"(x/ {"mtu":1500} {"mac":"m"})", R"(y/a {"id":"a"} -)",
                                       R"(y/b {"id":"b"} -)"};

// A refused file changes nothing and is named in the error; a type loaded
// again without defaults loses those it had.
TEST(SchemaLoading, AllOfAFileOrNothingOfIt) {
  cstest::TempRoot root;
  EXPECT_EQ(LoadSchemaDefinition(kTypes), 2u);
  EXPECT_EQ(Defaults(), kLoaded);
  const std::string bad = root.WriteFile(
      "bad.json", R"([{"component": "net", "group": "test", "key": "x", "version": "2",
                       "schema": {}, "defaultConfig": {"mtu": 1}}, 1])");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  "Invalid schema definition in " + bad + ": definition 2: not a JSON object",
                  LoadSchemaFile(bad));
  EXPECT_EQ(Defaults(), kLoaded);
  EXPECT_EQ(SchemaStore::GetStore()->GetSchemaObject("net", "test", "x")->GetVersion(), "1");
  for (const std::string& unreadable : {root.Path() + "/none.json", root.Path()}) {
    EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                    "Invalid schema definition in " + unreadable + ": the file cannot be read",
                    LoadSchemaFile(unreadable));
  }

  EXPECT_EQ(LoadSchemaDefinition(
                R"({"component": "net", "group": "test", "key": "y", "version": "2",
                    "nonSingleton": true, "schema": {"properties": {"id": {"instanceId": true}}}})"),
            1u);
  EXPECT_EQ(Defaults(), std::vector<std::string>{kLoaded[0]});
  EXPECT_EQ(SchemaStore::GetStore()->GetSchemaObject("net", "test", "y")->GetVersion(), "2");
  EXPECT_EQ(LoadSchemaFile(cstest::ExamplePath("schemas/orin.json")), 4u);
}

}  // namespace
}  // namespace OrinSchemaStore
