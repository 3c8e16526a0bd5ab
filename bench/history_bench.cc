// What the change history costs a write: the same writes with the history
// and with HISTORY_MAX_RECORDS 0, which records nothing. Each write's raw
// SQLite baseline is in write_bench.cc. Run them interleaved with
// scripts/bench.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench_root.h"

namespace {

using namespace OrinConfigStore;

constexpr int kInstances = 1000;

// A scratch root whose database keeps a history or, with
// HISTORY_MAX_RECORDS 0, records nothing.
class WriteRoot : public BenchRoot {
 public:
  explicit WriteRoot(bool history) {
    if (history) return;
    sqlite3* db = nullptr;
    sqlite3_open_v2(DatabasePath().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    if (sqlite3_exec(db, "INSERT INTO KVTable(Key, Value) VALUES ('HISTORY_MAX_RECORDS', '0');",
                     nullptr, nullptr, nullptr) != SQLITE_OK) {
      std::abort();  // not the database this benchmark knows
    }
    sqlite3_close(db);
  }
};

std::vector<std::shared_ptr<ConfigStoreObject>> Nics() {
  std::vector<std::shared_ptr<ConfigStoreObject>> nics;
  for (int i = 0; i < kInstances; ++i) {
    const std::string id = "nic" + std::to_string(i);
    nics.push_back(CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", id),
                                R"({"name": ")" + id + R"(", "mtu": 1500, "network": "net)" +
                                    std::to_string(i) + "\", \"enabled\": true}"));
  }
  return nics;
}

// One user write per iteration, the 1,000 instances in turn: each object's
// history fills to its retention bound, as on a host that runs for long.
void SetUserDataInTurn(benchmark::State& state, bool history) {
  WriteRoot root(history);
  const auto store = ConfigStore::GetStore("");
  const auto nics = Nics();
  std::size_t next = 0;
  for (auto _ : state) {
    store->SetUserData(nics[next], EXTERNAL);
    next = (next + 1) % nics.size();
  }
}

// Every instance replaced in one transaction: 1,000 deletes and 1,000
// inserts recorded.
void SetInstances(benchmark::State& state, bool history) {
  WriteRoot root(history);
  const auto store = ConfigStore::GetStore("");
  const auto nics = Nics();
  for (auto _ : state) store->SetInstances(nics, EXTERNAL);
}

// One member of one stored object changed per iteration.
void UpdateOneMember(benchmark::State& state, bool history) {
  WriteRoot root(history);
  const auto store = ConfigStore::GetStore("");
  const ConfigStoreObjectId resolver("resolver", "dns", "net");
  store->SetUserData(
      CreateObject(resolver, R"({"domain": "lab.example", "servers": ["10.0.0.1"]})"), EXTERNAL);
  const auto update = CreateObject(resolver, R"({"domain": "other.example"})");
  for (auto _ : state) store->Update(update, EXTERNAL);
}

void BM_History_SetUserData(benchmark::State& state) { SetUserDataInTurn(state, true); }
void BM_NoHistory_SetUserData(benchmark::State& state) { SetUserDataInTurn(state, false); }
void BM_History_SetInstances_1000(benchmark::State& state) { SetInstances(state, true); }
void BM_NoHistory_SetInstances_1000(benchmark::State& state) { SetInstances(state, false); }

void BM_History_UpdateOneMember(benchmark::State& state) { UpdateOneMember(state, true); }
void BM_NoHistory_UpdateOneMember(benchmark::State& state) { UpdateOneMember(state, false); }

BENCHMARK(BM_History_SetUserData);
BENCHMARK(BM_NoHistory_SetUserData);
BENCHMARK(BM_History_SetInstances_1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NoHistory_SetInstances_1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_History_UpdateOneMember);
BENCHMARK(BM_NoHistory_UpdateOneMember);

}  // namespace
