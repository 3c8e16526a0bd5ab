// Typed reads and writes on a 50-member object through StoreObject, beside
// the same accesses written directly on rapidjson.

#include <benchmark/benchmark.h>
#include <configstore/configstore.h>

#include <string>
#include <vector>

namespace {

using namespace OrinConfigStore;

constexpr int kMembers = 50;

std::vector<std::string> Keys() {
  std::vector<std::string> keys;
  for (int i = 0; i < kMembers; ++i) keys.push_back("member_" + std::to_string(i));
  return keys;
}

// Even members hold integers, odd ones strings.
StoreObject FiftyMemberObject(const std::vector<std::string>& keys) {
  StoreObject object(ConfigStoreObjectId("options", "kernix", "orin"));
  for (int i = 0; i < kMembers; ++i) {
    if (i % 2 == 0) {
      object.SetValue(keys[i].c_str(), i);
    } else {
      object.SetValue(keys[i].c_str(), "value-" + std::to_string(i));
    }
  }
  return object;
}

void FillRaw(JDoc& doc, const std::vector<std::string>& keys) {
  doc.SetObject();
  for (int i = 0; i < kMembers; ++i) {
    JVal name(keys[i].c_str(), doc.GetAllocator());
    if (i % 2 == 0) {
      doc.AddMember(name, JVal(i), doc.GetAllocator());
    } else {
      const std::string text = "value-" + std::to_string(i);
      doc.AddMember(name, JVal(text.c_str(), doc.GetAllocator()), doc.GetAllocator());
    }
  }
}

void BM_StoreObject_GetInt(benchmark::State& state) {
  const auto keys = Keys();
  const StoreObject object = FiftyMemberObject(keys);
  int i = 0;
  for (auto _ : state) {
    int value = 0;
    benchmark::DoNotOptimize(object.GetValue(keys[i].c_str(), &value));
    benchmark::DoNotOptimize(value);
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_StoreObject_GetInt);

void BM_Baseline_RapidjsonGetInt(benchmark::State& state) {
  const auto keys = Keys();
  JDoc doc;
  FillRaw(doc, keys);
  int i = 0;
  for (auto _ : state) {
    const auto member = doc.FindMember(keys[i].c_str());
    benchmark::DoNotOptimize(
        member != doc.MemberEnd() && member->value.IsInt() ? member->value.GetInt() : 0);
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_Baseline_RapidjsonGetInt);

void BM_StoreObject_GetString(benchmark::State& state) {
  const auto keys = Keys();
  const StoreObject object = FiftyMemberObject(keys);
  int i = 1;
  for (auto _ : state) {
    std::string value;
    benchmark::DoNotOptimize(object.GetValue(keys[i].c_str(), &value));
    benchmark::DoNotOptimize(value.data());
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_StoreObject_GetString);

void BM_Baseline_RapidjsonGetString(benchmark::State& state) {
  const auto keys = Keys();
  JDoc doc;
  FillRaw(doc, keys);
  int i = 1;
  for (auto _ : state) {
    const auto member = doc.FindMember(keys[i].c_str());
    std::string value(member->value.GetString(), member->value.GetStringLength());
    benchmark::DoNotOptimize(value.data());
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_Baseline_RapidjsonGetString);

void BM_StoreObject_SetInt(benchmark::State& state) {
  const auto keys = Keys();
  StoreObject object = FiftyMemberObject(keys);
  int i = 0;
  for (auto _ : state) {
    object.SetValue(keys[i].c_str(), i);
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_StoreObject_SetInt);

void BM_Baseline_RapidjsonSetInt(benchmark::State& state) {
  const auto keys = Keys();
  JDoc doc;
  FillRaw(doc, keys);
  int i = 0;
  for (auto _ : state) {
    const auto member = doc.FindMember(keys[i].c_str());
    if (member != doc.MemberEnd()) {
      member->value.SetInt(i);
    } else {
      doc.AddMember(JVal(keys[i].c_str(), doc.GetAllocator()), JVal(i), doc.GetAllocator());
    }
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_Baseline_RapidjsonSetInt);

void BM_StoreObject_SetString(benchmark::State& state) {
  const auto keys = Keys();
  StoreObject object = FiftyMemberObject(keys);
  const std::string text = "a replacement value";
  int i = 1;
  for (auto _ : state) {
    object.SetValue(keys[i].c_str(), text);
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_StoreObject_SetString);

void BM_Baseline_RapidjsonSetString(benchmark::State& state) {
  const auto keys = Keys();
  JDoc doc;
  FillRaw(doc, keys);
  const std::string text = "a replacement value";
  int i = 1;
  for (auto _ : state) {
    doc.FindMember(keys[i].c_str())
        ->value.SetString(text.c_str(), static_cast<rapidjson::SizeType>(text.size()),
                          doc.GetAllocator());
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_Baseline_RapidjsonSetString);

}  // namespace
