// Get of one object as the database grows from 1,000 to 100,000 objects,
// beside the raw baseline at each size: a read by primary key should cost
// the same whatever the size.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <string>

#include "baseline_reads.h"
#include "bench_root.h"

namespace {

using namespace OrinConfigStore;

const ConfigStoreObjectId kResolver("resolver", "dns", "net");

// The resolver with vital, automatic and user values, and network
// interfaces (user and vital values) up to `objects` rows in all.
class ScalingRoot : public BenchRoot {
 public:
  explicit ScalingRoot(int objects) {
    InitializeDatabase();
    const std::string path = DatabasePath();
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(db, "BEGIN;", nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db, kInsertSeedRow, -1, &insert, nullptr);
    Insert(insert, "dns", "resolver", "", R"({"servers": ["10.0.0.1", "10.0.0.2"]})",
           R"({"domain": "vital.example", "options": {"timeout": 3}})",
           R"({"domain": "auto.example", "searchDomains": ["example"]})");
    for (int i = 1; i < objects; ++i) {
      const std::string name = "nic" + std::to_string(i);
      Insert(insert, "interfaces", "nics", name, R"({"name": ")" + name + R"(", "mtu": 1500})",
             R"({"name": ")" + name + R"(", "macAddress": "02:00:00:00:00:01"})", "");
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(db);
  }

 private:
  static void Insert(sqlite3_stmt* insert, const char* group, const char* key,
                     const std::string& id, const std::string& user, const std::string& vital,
                     const std::string& automatic) {
    sqlite3_bind_text(insert, 1, "net", -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 2, group, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 3, key, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 4, id.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 5, user.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert, 6, vital.c_str(), -1, SQLITE_TRANSIENT);
    if (automatic.empty()) {
      sqlite3_bind_null(insert, 7);
    } else {
      sqlite3_bind_text(insert, 7, automatic.c_str(), -1, SQLITE_TRANSIENT);
    }
    sqlite3_step(insert);
    sqlite3_reset(insert);
  }
};

void BM_Store_Get_Scaling(benchmark::State& state) {
  ScalingRoot root(static_cast<int>(state.range(0)));
  const auto store = ConfigStore::GetStore("");
  for (auto _ : state) benchmark::DoNotOptimize(store->Get(kResolver));
}
BENCHMARK(BM_Store_Get_Scaling)->Arg(1000)->Arg(10000)->Arg(100000);

void BM_Baseline_Get_Scaling(benchmark::State& state) {
  ScalingRoot root(static_cast<int>(state.range(0)));
  sqlite3* db = nullptr;
  sqlite3_open_v2(root.DatabasePath().c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db, bench::kSelectOne, -1, &select, nullptr);
  for (auto _ : state) benchmark::DoNotOptimize(bench::ReadResolver(select));
  sqlite3_finalize(select);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_Get_Scaling)->Arg(1000)->Arg(10000)->Arg(100000);

}  // namespace
