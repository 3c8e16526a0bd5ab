// A new version of a type's definition: refused with a report when stored
// objects would not fit it, applied with its migration to every stored
// value in one transaction otherwise, and never half applied, even when the
// loading process is killed.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/history.h"
#include "configstore/provisioning.h"
#include "configstore/schema_evolution.h"
#include "configstore/store_check.h"
#include "database_root.h"
#include "platform/schema_store.h"

namespace OrinSchemaStore {
namespace {

using OrinConfigStore::ConfigStore;
using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::ValidationException;

const ConfigStoreObjectId kResolver("resolver", "dns", "net");

std::string ReadText(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// A fleet of hosts, version 1, and version 2 with its migration: "speed"
// renamed, "mode" mapped, and each link's "gw" renamed.
std::string Hosts(const std::string& version, bool withMigration = true,
                  const std::string& maxRate = "100000") {
  const std::string v1 = R"("speed": {"type": "integer"}, "mode": {"enum": ["fast", "slow"]},
      "links": {"type": "array", "instanceId": "id", "items": {"type": "object",
        "properties": {"id": {"type": "string", "instanceId": true}, "gw": {"type": "string"}}}})";
  const std::string v2 = R"("rateMbps": {"type": "integer", "maximum": )" + maxRate + R"(},
      "mode": {"enum": ["high", "low"]},
      "links": {"type": "array", "instanceId": "id", "items": {"type": "object",
        "properties": {"id": {"type": "string", "instanceId": true},
                       "gateway": {"type": "string"}}}})";
  const std::string migration = R"(, "migrations": [{"from": "1", "steps": [
      {"op": "rename", "path": "/speed", "to": "rateMbps"},
      {"op": "map", "path": "/mode", "values": [["fast", "high"], ["slow", "low"]]},
      {"op": "rename", "each": "/links", "path": "/gw", "to": "gateway"}]}])";
  return R"({"component": "lab", "group": "fleet", "key": "hosts", "nonSingleton": true,
    "version": ")" +
         version + R"(", "schema": {"type": "object", "properties": {
      "name": {"type": "string", "instanceId": true}, )" +
         (version == "1" ? v1 : v2) + "}}" + (version != "1" && withMigration ? migration : "") +
         "}";
}

std::shared_ptr<OrinConfigStore::ConfigStoreObject> Host(int number) {
  const std::string name = "h" + std::to_string(number);
  return OrinConfigStore::CreateObject(
      ConfigStoreObjectId("hosts", "fleet", "lab", name),
      R"({"name":")" + name +
          R"(","speed":100,"mode":"fast","links":[{"id":"l1","gw":"10.0.0.1"}]})");
}

class SchemaEvolutionTest : public ::testing::Test {
 protected:
  std::string StoredVersion(const char* component, const char* group, const char* key) const {
    return SchemaStore::GetStore()->GetSchemaObject(component, group, key)->GetVersion();
  }
  std::string Write(const std::string& name, const std::string& text) const {
    return db_.WriteFile(name, text);
  }

  cstest::DatabaseRoot db_;
  std::shared_ptr<ConfigStore> store_ = ConfigStore::GetStore("");
};

TEST_F(SchemaEvolutionTest, AnIncompatibleDefinitionWithoutMigrationIsRefusedAndChangesNothing) {
  store_->SetUserData(OrinConfigStore::CreateObject(
                          kResolver, R"({"domain":"lab.example","searchDomains":["lab.example"]})"),
                      OrinConfigStore::EXTERNAL);
  const std::vector<std::string> before = db_.Rows("SELECT * FROM Config;");
  const std::vector<std::string> defaults = db_.Rows("SELECT * FROM DefaultConfig;");
  std::string upgrade = ReadText(cstest::ExamplePath("schemas/upgrades/net-dns-resolver-2.0.json"));
  upgrade = upgrade.substr(0, upgrade.find(",\n  \"migrations\"")) + "}";
  const std::string file = Write("resolver.json", upgrade);

  const SchemaLoadReport report = CheckSchemaFile(file);
  ASSERT_TRUE(report.Refused());
  EXPECT_EQ(report.types[0].change, "version");
  ASSERT_EQ(report.types[0].refused.size(), 1u);
  EXPECT_EQ(report.types[0].refused[0].source, "user");
  try {
    LoadSchemaFile(file);
    FAIL() << "loaded";
  } catch (const ValidationException& e) {
    EXPECT_EQ(e.GetErrorCode(), 1083);
    EXPECT_STREQ(e.what(), "Schema load refused: net/dns/resolver");
    ASSERT_FALSE(e.GetErrors().empty());
    EXPECT_EQ(e.GetErrors()[0].field, "net/dns/resolver user /searchDomains");
  }
  EXPECT_EQ(StoredVersion("net", "dns", "resolver"), "1.2");
  EXPECT_EQ(db_.Rows("SELECT * FROM Config;"), before);
  EXPECT_EQ(db_.Rows("SELECT * FROM DefaultConfig;"), defaults);
}

TEST_F(SchemaEvolutionTest, AMigrationRewritesEverySourceAndTheDesiredValueAsOneChange) {
  store_->SetUserData(OrinConfigStore::CreateObject(
                          kResolver, R"({"searchDomains":["a.example"],"options":{"timeout":3}})"),
                      OrinConfigStore::EXTERNAL);
  store_->SetUserData(
      OrinConfigStore::CreateObject(kResolver, R"({"options":{"rotate":true,"attempts":2}})"),
      OrinConfigStore::INTERNAL);
  db_.Sql("UPDATE Config SET DesiredValue='{\"legacyResolver\":true,\"domain\":\"d\"}';");
  const std::string revision = db_.Rows("SELECT Revision FROM Config;")[0];

  ASSERT_EQ(LoadSchemaFile(cstest::ExamplePath("schemas/upgrades/net-dns-resolver-2.0.json")), 1u);
  EXPECT_EQ(StoredVersion("net", "dns", "resolver"), "2.0");
  EXPECT_EQ(
      db_.Rows("SELECT Version, AutoConfValue, UserValue, DesiredValue FROM Config;"),
      std::vector<std::string>{
          R"(Version=2.0, AutoConfValue={"options":{"attempts":2,"order":"round-robin","ndots":1}}, )"
          R"(UserValue={"options":{"ndots":1},"search":["a.example"],"timeoutSeconds":3}, )"
          R"(DesiredValue={"domain":"d","options":{"ndots":1}})"});
  EXPECT_NE(db_.Rows("SELECT Revision FROM Config;")[0], revision);
  EXPECT_EQ(OrinConfigStore::GetHistory(kResolver, 1).at(0).change, "migrate");
  EXPECT_TRUE(OrinConfigStore::CheckStore().problems.empty());
}

TEST_F(SchemaEvolutionTest, RowsOfTheNewVersionAreCheckedNotMigratedAgain) {
  LoadSchemaDefinition(Hosts("1"));
  store_->SetUserData(Host(1), OrinConfigStore::EXTERNAL);
  db_.Insert({"lab", "fleet", "hosts", "h2", "", R"({"name":"h2","rateMbps":5,"mode":"low"})", "",
              "", "", "1", "2"});
  const SchemaLoadReport report = CheckSchemaFile(Write("v2.json", Hosts("2")));
  ASSERT_FALSE(report.Refused());
  EXPECT_EQ(report.types[0].objects, 2);
  EXPECT_EQ(report.types[0].migrated, 1);
  LoadSchemaDefinition(Hosts("2"));
  EXPECT_EQ(
      db_.Rows("SELECT UserValue FROM Config WHERE Component='lab' ORDER BY Identifier;"),
      (std::vector<std::string>{
          R"(UserValue={"name":"h1","mode":"high","links":[{"id":"l1","gateway":"10.0.0.1"}],"rateMbps":100})",
          R"(UserValue={"name":"h2","rateMbps":5,"mode":"low"})"}));
}

TEST_F(SchemaEvolutionTest, ASchemaChangedUnderTheSameVersionNeedsForceAndStillFitsTheObjects) {
  LoadSchemaDefinition(Hosts("1"));
  LoadSchemaDefinition(Hosts("2"));
  store_->SetUserData(
      OrinConfigStore::CreateObject(ConfigStoreObjectId("hosts", "fleet", "lab", "h1"),
                                    R"({"name":"h1","rateMbps":500})"),
      OrinConfigStore::EXTERNAL);
  EXPECT_NO_THROW(LoadSchemaDefinition(Hosts("2")));
  const std::string narrower = Hosts("2", true, "100");
  EXPECT_EQ(CheckSchemaFile(Write("same.json", narrower)).types[0].refusal,
            "the schema differs from the stored one of the same version: give the definition a "
            "new version, or force the load");
  EXPECT_THROW(LoadSchemaDefinition(narrower), ValidationException);
  SchemaLoadOptions force;
  force.force = true;
  EXPECT_THROW(LoadSchemaDefinition(narrower, force), ValidationException);
  EXPECT_EQ(LoadSchemaDefinition(Hosts("2", true, "1000"), force), 1u);
}

constexpr int kFleet = 10000;

TEST_F(SchemaEvolutionTest, TenThousandObjectsMigrateAtOnceAndAKilledLoadLeavesTheOldVersionWhole) {
  LoadSchemaDefinition(Hosts("1"));
  std::vector<std::shared_ptr<OrinConfigStore::ConfigStoreObject>> hosts;
  for (int i = 0; i < kFleet; ++i) hosts.push_back(Host(i));
  store_->SetInstances(hosts, OrinConfigStore::EXTERNAL);
  const std::string count =
      "SELECT count(*) AS n FROM Config WHERE Component='lab' AND Version='%s';";
  auto rowsAt = [&](const char* version) {
    char query[128];
    std::snprintf(query, sizeof query, count.c_str(), version);
    return db_.Rows(query)[0];
  };
  const std::string all = "n=" + std::to_string(kFleet);
  // Planning takes about a fifth of a load, writing the rest: killing at
  // these multiples of its time stops the load while it plans, then while it
  // writes, and the longest wait may let it finish.
  const auto start = std::chrono::steady_clock::now();
  CheckSchemaFile(Write("v2.json", Hosts("2")));
  const auto planMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::steady_clock::now() - start)
                          .count();
  for (const long delayMs : {planMs / 2, 2 * planMs, 4 * planMs, 8 * planMs}) {
    const pid_t loader = fork();
    if (loader == 0) {
      LoadSchemaDefinition(Hosts("2"));
      _exit(0);
    }
    usleep(static_cast<useconds_t>(delayMs) * 1000);
    kill(loader, SIGKILL);
    waitpid(loader, nullptr, 0);
    const bool migrated = rowsAt("2") == all;
    EXPECT_TRUE(migrated || rowsAt("1") == all) << "after " << delayMs << " ms";
    EXPECT_TRUE(migrated || StoredVersion("lab", "fleet", "hosts") == "1");
    if (migrated) break;
    std::printf("a load killed after %ld ms left version 1 whole\n", delayMs);
  }
  LoadSchemaDefinition(Hosts("2"));
  EXPECT_EQ(rowsAt("2"), all);
  EXPECT_EQ(db_.Rows("SELECT count(*) AS n FROM Config WHERE UserValue LIKE "
                     "'%\"gateway\"%\"rateMbps\":100%';")[0],
            all);
  EXPECT_TRUE(OrinConfigStore::CheckStore().problems.empty());
}

}  // namespace
}  // namespace OrinSchemaStore
