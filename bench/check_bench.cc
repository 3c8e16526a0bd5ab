// CheckStore on a store of 100,000 objects, beside a baseline written on
// SQLite and rapidjson: SQLite's integrity check, then one prepared select
// of the same value columns and a parse of each (without validation, which
// the baseline has no way to do).

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <sqlite3.h>

#include <string>

#include "bench_root.h"

namespace {

using namespace OrinConfigStore;

constexpr int kObjects = 100000;

// 100,000 network interfaces, each with a user and a vital value.
class CheckBenchRoot : public BenchRoot {
 public:
  CheckBenchRoot() {
    sqlite3_open_v2(DatabasePath().c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(db_, "BEGIN;", nullptr, nullptr, nullptr);
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(db_,
                       "INSERT INTO Config(Component, ConfigGroup, Name, Identifier, UserValue, "
                       "VitalValue, Version, Revision) VALUES('net', 'interfaces', 'nics', ?, ?, "
                       "?, '1.0', 1);",
                       -1, &insert, nullptr);
    for (int i = 0; i < kObjects; ++i) {
      const std::string name = "nic" + std::to_string(i);
      const std::string user = R"({"name": ")" + name + R"(", "mtu": 1500, "network": "net)" +
                               std::to_string(i % 50) + R"(", "enabled": true})";
      const std::string vital = R"({"name": ")" + name + R"(", "macAddress": "02:00:00:00:00:01"})";
      sqlite3_bind_text(insert, 1, name.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_text(insert, 2, user.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_text(insert, 3, vital.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db_, "COMMIT;", nullptr, nullptr, nullptr);
    SettleSchemaStore();
  }
  ~CheckBenchRoot() { sqlite3_close(db_); }
  sqlite3* Db() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
};

void BM_CheckStore_100000(benchmark::State& state) {
  CheckBenchRoot root;
  for (auto _ : state) {
    const StoreCheck check = CheckStore();
    if (!check.problems.empty() || check.objects != kObjects) state.SkipWithError("not healthy");
  }
}

void BM_Baseline_CheckStore_100000(benchmark::State& state) {
  CheckBenchRoot root;
  sqlite3_stmt* read = nullptr;
  sqlite3_prepare_v2(root.Db(),
                     "SELECT AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue "
                     "FROM Config;",
                     -1, &read, nullptr);
  for (auto _ : state) {
    sqlite3_exec(root.Db(), "PRAGMA integrity_check;", nullptr, nullptr, nullptr);
    long long parsed = 0;
    while (sqlite3_step(read) == SQLITE_ROW) {
      for (int column = 0; column < 5; ++column) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(read, column));
        if (text == nullptr) continue;
        rapidjson::Document document;
        parsed += document.Parse(text).HasParseError() ? 0 : 1;
      }
    }
    sqlite3_reset(read);
    benchmark::DoNotOptimize(parsed);
  }
  sqlite3_finalize(read);
}

BENCHMARK(BM_CheckStore_100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Baseline_CheckStore_100000)->Unit(benchmark::kMillisecond);

}  // namespace
