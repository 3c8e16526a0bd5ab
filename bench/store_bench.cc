// Store reads on a database of 10,000 objects, each beside a baseline
// written directly on SQLite and rapidjson: one prepared select of the same
// columns, a parse of each value column and a hand merge.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <string>

#include "baseline_reads.h"
#include "bench_root.h"

namespace {

using namespace OrinConfigStore;
using bench::Document;
using bench::kSelectOne;
using bench::ParseAndMerge;

constexpr int kItems = 9000;
constexpr int kNics = 1000;
constexpr int kItemMembers = 30;

const char* const kItemDefinition = R"({"component": "bench", "group": "load", "key": "item",
  "nonSingleton": true, "schema": {"type": "object", "properties": {
    "id": {"type": "string", "instanceId": true},
    "m0": {"type": "integer", "minimum": 0}, "m1": {"type": "string", "maxLength": 64},
    "m2": {"type": "boolean"}, "m3": {"type": "integer", "minimum": 0},
    "m4": {"type": "string", "maxLength": 64}, "m5": {"type": "boolean"},
    "m6": {"type": "integer", "minimum": 0}, "m7": {"type": "string", "maxLength": 64},
    "m8": {"type": "boolean"}, "m9": {"type": "integer", "minimum": 0},
    "m10": {"type": "string", "maxLength": 64}, "m11": {"type": "boolean"},
    "m12": {"type": "integer", "minimum": 0}, "m13": {"type": "string", "maxLength": 64},
    "m14": {"type": "boolean"}, "m15": {"type": "integer", "minimum": 0},
    "m16": {"type": "string", "maxLength": 64}, "m17": {"type": "boolean"},
    "m18": {"type": "integer", "minimum": 0}, "m19": {"type": "string", "maxLength": 64},
    "m20": {"type": "boolean"}, "m21": {"type": "integer", "minimum": 0},
    "m22": {"type": "string", "maxLength": 64}, "m23": {"type": "boolean"},
    "m24": {"type": "integer", "minimum": 0}, "m25": {"type": "string", "maxLength": 64},
    "m26": {"type": "boolean"}, "m27": {"type": "integer", "minimum": 0},
    "m28": {"type": "string", "pattern": "^[a-z0-9-]+$"}, "m29": {"type": "boolean"}}}})";

std::string ItemJson(int i) {
  std::string json = R"({"id": "item-)" + std::to_string(i) + "\"";
  for (int m = 0; m < kItemMembers; ++m) {
    json += ", \"m" + std::to_string(m) + "\": ";
    switch (m % 3) {
      case 0:
        json += std::to_string(i + m);
        break;
      case 1:
        json += "\"value-" + std::to_string(m) + "\"";
        break;
      default:
        json += (i + m) % 2 ? "true" : "false";
    }
  }
  return json + "}";
}

// 9,000 items, 1,000 network interfaces (user and vital values) and the DNS
// resolver with vital, automatic and user values: 10,001 rows.
class StoreBenchRoot : public BenchRoot {
 public:
  StoreBenchRoot() {
    OrinSchemaStore::LoadSchemaDefinition(kItemDefinition);
    sqlite3_open_v2(DatabasePath().c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(db_, "BEGIN;", nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db_, kInsertSeedRow, -1, &insert, nullptr);
    for (int i = 0; i < kItems; ++i) {
      Insert(insert, "bench", "load", "item", "item-" + std::to_string(i), ItemJson(i), "", "");
    }
    for (int i = 0; i < kNics; ++i) {
      const std::string name = "nic" + std::to_string(i);
      Insert(
          insert, "net", "interfaces", "nics", name,
          R"({"name": ")" + name + R"(", "mtu": 1500, "network": "net)" + std::to_string(i) + "\"}",
          R"({"name": ")" + name + R"(", "macAddress": "02:00:00:00:00:01"})", "");
    }
    Insert(
        insert, "net", "dns", "resolver", "", R"({"servers": ["10.0.0.1", "10.0.0.2"]})",
        R"({"domain": "vital.example", "options": {"timeout": 3}})",
        R"({"domain": "auto.example", "searchDomains": ["example"], "options": {"attempts": 3}})");
    sqlite3_finalize(insert);
    sqlite3_exec(db_, "COMMIT;", nullptr, nullptr, nullptr);
    SettleSchemaStore();
  }
  ~StoreBenchRoot() { sqlite3_close(db_); }

 private:
  void Insert(sqlite3_stmt* insert, const char* component, const char* group, const char* key,
              const std::string& id, const std::string& user, const std::string& vital,
              const std::string& automatic) {
    const std::string* texts[] = {&id, &user, &vital, &automatic};
    sqlite3_bind_text(insert, 1, component, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 2, group, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 3, key, -1, SQLITE_STATIC);
    for (int i = 0; i < 4; ++i) {
      if (i > 0 && texts[i]->empty()) {
        sqlite3_bind_null(insert, 4 + i);
      } else {
        sqlite3_bind_text(insert, 4 + i, texts[i]->c_str(), -1, SQLITE_TRANSIENT);
      }
    }
    sqlite3_step(insert);
    sqlite3_reset(insert);
  }
  sqlite3* db_ = nullptr;
};

const char* const kSelectInstances =
    "SELECT Version, Success, Identifier, VitalValue, CachedValue, AutoConfValue, UserValue, "
    "CreationTime, ModifiedTime, Revision FROM Config WHERE Name=? AND ConfigGroup=? AND "
    "Component=?;";

void BM_Store_Get_ThreeSources(benchmark::State& state) {
  StoreBenchRoot root;
  const auto store = ConfigStore::GetStore("");
  const ConfigStoreObjectId resolver("resolver", "dns", "net");
  for (auto _ : state) benchmark::DoNotOptimize(store->Get(resolver));
}
BENCHMARK(BM_Store_Get_ThreeSources);

void BM_Baseline_Get_ThreeSources(benchmark::State& state) {
  StoreBenchRoot root;
  sqlite3* db = nullptr;
  sqlite3_open_v2(root.DatabasePath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db, kSelectOne, -1, &select, nullptr);
  for (auto _ : state) benchmark::DoNotOptimize(bench::ReadResolver(select));
  sqlite3_finalize(select);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_Get_ThreeSources);

void BM_Store_GetInstances_1000(benchmark::State& state) {
  StoreBenchRoot root;
  const auto store = ConfigStore::GetStore("");
  const auto filter =
      std::make_shared<FilterSpecObject>(ConfigStoreObjectId("nics", "interfaces", "net"));
  for (auto _ : state) benchmark::DoNotOptimize(store->GetInstances(filter).size());
}
BENCHMARK(BM_Store_GetInstances_1000)->Unit(benchmark::kMicrosecond);

void BM_Baseline_GetInstances_1000(benchmark::State& state) {
  StoreBenchRoot root;
  sqlite3* db = nullptr;
  sqlite3_open_v2(root.DatabasePath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db, kSelectInstances, -1, &select, nullptr);
  for (auto _ : state) {
    sqlite3_bind_text(select, 1, "nics", -1, SQLITE_STATIC);
    sqlite3_bind_text(select, 2, "interfaces", -1, SQLITE_STATIC);
    sqlite3_bind_text(select, 3, "net", -1, SQLITE_STATIC);
    std::vector<std::unique_ptr<Document>> objects;
    while (sqlite3_step(select) == SQLITE_ROW) {
      auto merged = std::make_unique<Document>();
      ParseAndMerge(select, 3, 6, merged->doc);
      objects.push_back(std::move(merged));
    }
    benchmark::DoNotOptimize(objects.size());
    sqlite3_reset(select);
  }
  sqlite3_finalize(select);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_GetInstances_1000)->Unit(benchmark::kMicrosecond);

// Validation touches no database: its measure is its own time, with the
// type's schema and compiled validator warm.
void BM_Store_Validate_30Members(benchmark::State& state) {
  StoreBenchRoot root;
  const auto store = ConfigStore::GetStore("");
  const auto item =
      CreateObject(ConfigStoreObjectId("item", "load", "bench", "item-1"), ItemJson(1));
  store->Validate(item);
  for (auto _ : state) benchmark::DoNotOptimize(store->Validate(item).size());
}
BENCHMARK(BM_Store_Validate_30Members);

}  // namespace
