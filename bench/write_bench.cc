// Store writes beside raw SQLite doing the same work with the same
// durability (WAL, synchronous=FULL, one commit per operation): a user
// write of one object, an update of one member of a stored object, and
// replacing a type's 1,000 instances.

#include <benchmark/benchmark.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sqlite3.h>

#include <string>

#include "bench_root.h"

namespace {

using namespace OrinConfigStore;

constexpr int kInstances = 1000;

const ConfigStoreObjectId kResolver("resolver", "dns", "net");
const char* const kResolverJson =
    R"({"domain": "lab.example", "servers": ["10.0.0.1", "10.0.0.2"], "options": {"timeout": 3}})";

std::string NicJson(int i) {
  return R"({"name": "nic)" + std::to_string(i) + R"(", "mtu": 1500, "network": "net)" +
         std::to_string(i) + "\", \"enabled\": true}";
}

// The baselines' connection, set up as the library's are.
sqlite3* OpenDurable(const BenchRoot& root) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(root.DatabasePath().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;", nullptr, nullptr, nullptr);
  return db;
}

// The user write: the row's other sources, creation time and revision kept.
const char* const kUserWrite =
    "INSERT OR REPLACE INTO Config(Component, ConfigGroup, Name, Identifier, Version, "
    "CreationTime, Revision, AutoConfValue, VitalValue, CachedValue, UserValue) "
    "SELECT ?1, ?2, ?3, ?4, '1.2', "
    "coalesce((SELECT CreationTime FROM Config WHERE Component=?1 AND ConfigGroup=?2 AND Name=?3 "
    "AND Identifier=?4), datetime(CURRENT_TIMESTAMP)), "
    "coalesce((SELECT Revision FROM Config WHERE Component=?1 AND ConfigGroup=?2 AND Name=?3 AND "
    "Identifier=?4), 0) + 1, "
    "(SELECT AutoConfValue FROM Config WHERE Component=?1 AND ConfigGroup=?2 AND Name=?3 AND "
    "Identifier=?4), "
    "(SELECT VitalValue FROM Config WHERE Component=?1 AND ConfigGroup=?2 AND Name=?3 AND "
    "Identifier=?4), "
    "(SELECT CachedValue FROM Config WHERE Component=?1 AND ConfigGroup=?2 AND Name=?3 AND "
    "Identifier=?4), ?5;";

void BindRow(sqlite3_stmt* statement, const char* component, const char* group, const char* key,
             const std::string& id, const std::string& json) {
  sqlite3_bind_text(statement, 1, component, -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 2, group, -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 3, key, -1, SQLITE_STATIC);
  sqlite3_bind_text(statement, 4, id.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(statement, 5, json.c_str(), -1, SQLITE_TRANSIENT);
}

void Step(sqlite3_stmt* statement) {
  sqlite3_step(statement);
  sqlite3_reset(statement);
}

void BM_Store_SetUserData(benchmark::State& state) {
  BenchRoot root;
  const auto store = ConfigStore::GetStore("");
  const auto object = CreateObject(kResolver, kResolverJson);
  for (auto _ : state) store->SetUserData(object, EXTERNAL);
}
BENCHMARK(BM_Store_SetUserData);

void BM_Baseline_SetUserData(benchmark::State& state) {
  BenchRoot root;
  sqlite3* db = OpenDurable(root);
  sqlite3_stmt* write = nullptr;
  sqlite3_prepare_v2(db, kUserWrite, -1, &write, nullptr);
  for (auto _ : state) {
    BindRow(write, "net", "dns", "resolver", "", kResolverJson);
    Step(write);
  }
  sqlite3_finalize(write);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_SetUserData);

void BM_Store_UpdateOneMember(benchmark::State& state) {
  BenchRoot root;
  const auto store = ConfigStore::GetStore("");
  store->SetUserData(CreateObject(kResolver, kResolverJson), EXTERNAL);
  const auto update = CreateObject(kResolver, R"({"domain": "other.example"})");
  for (auto _ : state) store->Update(update, EXTERNAL);
}
BENCHMARK(BM_Store_UpdateOneMember);

// Read the stored value, change one member, write it back, in one
// transaction.
void BM_Baseline_UpdateOneMember(benchmark::State& state) {
  BenchRoot root;
  sqlite3* db = OpenDurable(root);
  sqlite3_stmt* write = nullptr;
  sqlite3_stmt* read = nullptr;
  sqlite3_prepare_v2(db, kUserWrite, -1, &write, nullptr);
  sqlite3_prepare_v2(db,
                     "SELECT UserValue FROM Config WHERE Component=? AND ConfigGroup=? AND Name=? "
                     "AND Identifier='';",
                     -1, &read, nullptr);
  BindRow(write, "net", "dns", "resolver", "", kResolverJson);
  Step(write);
  for (auto _ : state) {
    sqlite3_exec(db, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr);
    sqlite3_bind_text(read, 1, "net", -1, SQLITE_STATIC);
    sqlite3_bind_text(read, 2, "dns", -1, SQLITE_STATIC);
    sqlite3_bind_text(read, 3, "resolver", -1, SQLITE_STATIC);
    JDoc stored;
    if (sqlite3_step(read) == SQLITE_ROW) {
      stored.Parse(reinterpret_cast<const char*>(sqlite3_column_text(read, 0)));
    }
    sqlite3_reset(read);
    stored["domain"].SetString("other.example", stored.GetAllocator());
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    stored.Accept(writer);
    BindRow(write, "net", "dns", "resolver", "", text.GetString());
    Step(write);
    sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
  }
  sqlite3_finalize(read);
  sqlite3_finalize(write);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_UpdateOneMember);

void BM_Store_SetInstances_1000(benchmark::State& state) {
  BenchRoot root;
  const auto store = ConfigStore::GetStore("");
  std::vector<std::shared_ptr<ConfigStoreObject>> nics;
  for (int i = 0; i < kInstances; ++i) {
    nics.push_back(CreateObject(
        ConfigStoreObjectId("nics", "interfaces", "net", "nic" + std::to_string(i)), NicJson(i)));
  }
  for (auto _ : state) store->SetInstances(nics, EXTERNAL);
}
BENCHMARK(BM_Store_SetInstances_1000)->Unit(benchmark::kMillisecond);

// Per iteration, deletes the type's instances and writes the 1,000 with
// `writeRow(id, json)`, in one transaction.
template <typename WriteRow>
void ReplaceNics(benchmark::State& state, sqlite3* db, const WriteRow& writeRow) {
  std::vector<std::string> texts;
  for (int i = 0; i < kInstances; ++i) texts.push_back(NicJson(i));
  for (auto _ : state) {
    sqlite3_exec(db,
                 "BEGIN IMMEDIATE; DELETE FROM Config WHERE Component='net' AND "
                 "ConfigGroup='interfaces' AND Name='nics';",
                 nullptr, nullptr, nullptr);
    for (int i = 0; i < kInstances; ++i) {
      writeRow("nic" + std::to_string(i), texts[static_cast<std::size_t>(i)]);
    }
    sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
  }
}

// One prepared statement for every row.
void BM_Baseline_SetInstances_1000(benchmark::State& state) {
  BenchRoot root;
  sqlite3* db = OpenDurable(root);
  sqlite3_stmt* write = nullptr;
  sqlite3_prepare_v2(db, kUserWrite, -1, &write, nullptr);
  ReplaceNics(state, db, [write](const std::string& id, const std::string& json) {
    BindRow(write, "net", "interfaces", "nics", id, json);
    Step(write);
  });
  sqlite3_finalize(write);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_SetInstances_1000)->Unit(benchmark::kMillisecond);

// The floor that the store's statement texts set: raw SQLite running the
// store's own complete-row statement, whose text names the instance, so
// that each of the 1,000 rows is a statement prepared afresh. Nothing else
// of the store's work (validation, source split, history) is done.
std::string CompleteRowStatement(const std::string& id) {
  const std::string row = " from config where identifier='" + id +
                          "' and name='nics' and configgroup='interfaces' and component='net')";
  return "insert or replace into config(identifier, name, configgroup, component, version, "
         "CreationTime, Revision, autoconfvalue, uservalue, vitalvalue, cachedvalue) values ('" +
         id + "', 'nics', 'interfaces', 'net', '2.0', coalesce((select CreationTime" + row +
         ", (datetime(CURRENT_TIMESTAMP))), coalesce(( select Revision" + row +
         ",( 0 )) + 1,  ?, ?, ?, ?)";
}

void BM_Floor_SetInstances_1000(benchmark::State& state) {
  BenchRoot root;
  sqlite3* db = OpenDurable(root);
  ReplaceNics(state, db, [db](const std::string& id, const std::string& json) {
    sqlite3_stmt* write = nullptr;
    sqlite3_prepare_v2(db, CompleteRowStatement(id).c_str(), -1, &write, nullptr);
    sqlite3_bind_text(write, 2, json.c_str(), -1, SQLITE_STATIC);
    sqlite3_step(write);
    sqlite3_finalize(write);
  });
  sqlite3_close(db);
}
BENCHMARK(BM_Floor_SetInstances_1000)->Unit(benchmark::kMillisecond);

}  // namespace
