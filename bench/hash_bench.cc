// The identifier hash against hashing the concatenated strings with
// std::hash, the obvious alternative a caller might write.

#include <benchmark/benchmark.h>
#include <configstore/configstore.h>

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using OrinConfigStore::ConfigStoreObjectId;

std::vector<ConfigStoreObjectId> SampleIds(int count) {
  std::vector<ConfigStoreObjectId> ids;
  for (int i = 0; i < count; ++i) {
    ids.emplace_back("interfaces", "network", "orin",
                     "3f2a9c1e-0b7d-4c55-9e21-" + std::to_string(100000000000 + i));
  }
  return ids;
}

void BM_HashCsoId(benchmark::State& state) {
  const auto ids = SampleIds(64);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(OrinConfigStore::hashCsoId(ids[i++ & 63]));
  }
}
BENCHMARK(BM_HashCsoId);

void BM_Baseline_StdHashOfConcatenation(benchmark::State& state) {
  const auto ids = SampleIds(64);
  std::size_t i = 0;
  for (auto _ : state) {
    const ConfigStoreObjectId& id = ids[i++ & 63];
    benchmark::DoNotOptimize(
        std::hash<std::string>()(id.key + id.group + id.component + id.instanceId));
  }
}
BENCHMARK(BM_Baseline_StdHashOfConcatenation);

// Lookups in the kind of map the bulk reads and writes build.
void BM_UnorderedMapFind(benchmark::State& state) {
  const auto ids = SampleIds(static_cast<int>(state.range(0)));
  std::unordered_map<ConfigStoreObjectId, int> map;
  for (std::size_t i = 0; i < ids.size(); ++i) map.emplace(ids[i], static_cast<int>(i));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(ids[i++ % ids.size()]));
  }
}
BENCHMARK(BM_UnorderedMapFind)->Arg(1000)->Arg(100000);

}  // namespace
