// Schema lookups through the public API, warm (cached) and cold (after the
// store changed), beside what a lookup without a cache costs: one prepared
// SQLite select and a rapidjson parse of the schema text.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "bench_root.h"

namespace {

using namespace OrinConfigStore;

const ConfigStoreObjectId kNics("nics", "interfaces", "net", "nic0");
const char* const kTouch =
    R"({"component": "bench", "group": "g", "key": "k", "schema": {"type": "object"}})";

void BM_SchemaLookup_Warm(benchmark::State& state) {
  BenchRoot root;
  GetSchemaVersion(kNics);
  for (auto _ : state) benchmark::DoNotOptimize(GetSchemaVersion(kNics));
}
BENCHMARK(BM_SchemaLookup_Warm);

void BM_SchemaLookup_Cold(benchmark::State& state) {
  BenchRoot root;
  for (auto _ : state) {
    state.PauseTiming();
    OrinSchemaStore::LoadSchemaDefinition(kTouch);  // any change empties the cache
    state.ResumeTiming();
    benchmark::DoNotOptimize(GetSchemaVersion(kNics));
  }
}
BENCHMARK(BM_SchemaLookup_Cold);

// The baseline's own connection runs after a change too, so both pay for
// SQLite reading the changed pages again; arg 0 measures it without changes.
void BM_Baseline_SqliteSelectAndParse(benchmark::State& state) {
  BenchRoot root;
  const bool touch = state.range(0) != 0;
  sqlite3* db = nullptr;
  sqlite3_open_v2((root.Path() + "/etc/tessel/schemastore/schema-store-1").c_str(), &db,
                  SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db,
                     "SELECT Version, Value FROM Schema WHERE Component = ? AND ConfigGroup = ? "
                     "AND Name = ?;",
                     -1, &select, nullptr);
  for (auto _ : state) {
    if (touch) {
      state.PauseTiming();
      OrinSchemaStore::LoadSchemaDefinition(kTouch);
      state.ResumeTiming();
    }
    sqlite3_bind_text(select, 1, "net", -1, SQLITE_STATIC);
    sqlite3_bind_text(select, 2, "interfaces", -1, SQLITE_STATIC);
    sqlite3_bind_text(select, 3, "nics", -1, SQLITE_STATIC);
    if (sqlite3_step(select) == SQLITE_ROW) {
      JDoc schema;
      schema.Parse(reinterpret_cast<const char*>(sqlite3_column_text(select, 1)));
      benchmark::DoNotOptimize(schema.IsObject());
    }
    sqlite3_reset(select);
  }
  sqlite3_finalize(select);
  sqlite3_close(db);
}
BENCHMARK(BM_Baseline_SqliteSelectAndParse)->Arg(0)->Arg(1);

}  // namespace
