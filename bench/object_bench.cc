// Sub-object lookups in a large repeated sub-object, and filtering a long
// list of objects, each beside the same work written directly on rapidjson.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "bench_root.h"

namespace {

using namespace OrinConfigStore;

constexpr int kInstances = 1000;
constexpr int kObjects = 10000;

std::string AddressOf(int i) {
  return "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250);
}

std::string NicWithAddresses() {
  std::string json = R"({"name": "nic0", "addresses": [)";
  for (int i = 0; i < kInstances; ++i) {
    json += (i ? "," : "") + std::string(R"({"address": ")") + AddressOf(i) +
            R"(", "prefixLength": 24})";
  }
  return json + "]}";
}

std::vector<int> RandomIndexes() {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> pick(0, kInstances - 1);
  std::vector<int> indexes(1024);
  for (int& index : indexes) index = pick(random);
  return indexes;
}

void BM_GetSubObject_1000Instances(benchmark::State& state) {
  BenchRoot root;
  const auto nic =
      CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", "nic0"), NicWithAddresses());
  const auto indexes = RandomIndexes();
  std::vector<SubObjectId> ids;
  for (int index : indexes) ids.emplace_back("addresses", AddressOf(index));
  std::size_t i = 0;
  for (auto _ : state) {
    int prefix = 0;
    nic->GetSubObject(ids[i++ & 1023])->GetValue("prefixLength", &prefix);
    benchmark::DoNotOptimize(prefix);
  }
}
BENCHMARK(BM_GetSubObject_1000Instances);

void BM_Baseline_RapidjsonFindInstance(benchmark::State& state) {
  JDoc doc;
  doc.Parse(NicWithAddresses().c_str());
  const auto indexes = RandomIndexes();
  std::vector<std::string> ids;
  for (int index : indexes) ids.push_back(AddressOf(index));
  std::size_t i = 0;
  for (auto _ : state) {
    const std::string& id = ids[i++ & 1023];
    for (const JVal& element : doc["addresses"].GetArray()) {
      const JVal& address = element["address"];
      if (address.GetStringLength() == id.size() &&
          std::memcmp(address.GetString(), id.data(), id.size()) == 0) {
        benchmark::DoNotOptimize(element["prefixLength"].GetInt());
        break;
      }
    }
  }
}
BENCHMARK(BM_Baseline_RapidjsonFindInstance);

std::string ResolverJson(int i) {
  return R"({"domain": "d)" + std::to_string(i % 10) + R"(", "servers": ["10.0.0.1"], )" +
         R"("options": {"timeout": )" + std::to_string(i % 7 + 1) + R"(, "rotate": true}})";
}

// One in seventy objects matches: domain d3 and a timeout of 4.
void BM_FilterConfigStoreObjects_10000(benchmark::State& state) {
  BenchRoot root;
  const ConfigStoreObjectId id("resolver", "dns", "net");
  std::vector<std::shared_ptr<ConfigStoreObject>> all;
  for (int i = 0; i < kObjects; ++i) all.push_back(CreateObject(id, ResolverJson(i)));
  auto filter = std::make_shared<FilterSpecObject>(id);
  filter->SetValue("domain", "d3");
  filter->CreateSubObjectFilter(SubObjectId("options"))->SetValue("timeout", 4);
  for (auto _ : state) {
    auto objects = all;
    benchmark::DoNotOptimize(FilterConfigStoreObjects(objects, filter).size());
  }
}
BENCHMARK(BM_FilterConfigStoreObjects_10000);

void BM_Baseline_RapidjsonFilter_10000(benchmark::State& state) {
  std::vector<std::shared_ptr<JDoc>> all;
  for (int i = 0; i < kObjects; ++i) {
    all.push_back(std::make_shared<JDoc>());
    all.back()->Parse(ResolverJson(i).c_str());
  }
  for (auto _ : state) {
    auto objects = all;
    objects.erase(std::remove_if(objects.begin(), objects.end(),
                                 [](const std::shared_ptr<JDoc>& doc) {
                                   const auto domain = doc->FindMember("domain");
                                   const auto options = doc->FindMember("options");
                                   if (domain == doc->MemberEnd() || options == doc->MemberEnd()) {
                                     return true;
                                   }
                                   const auto timeout = options->value.FindMember("timeout");
                                   return !(domain->value == "d3" &&
                                            timeout != options->value.MemberEnd() &&
                                            timeout->value == 4);
                                 }),
                  objects.end());
    benchmark::DoNotOptimize(objects.size());
  }
}
BENCHMARK(BM_Baseline_RapidjsonFilter_10000);

}  // namespace
