// Typed reads and writes on a 50-member object through StoreObject, beside
// the same accesses written directly on rapidjson.

#include <benchmark/benchmark.h>
#include <configstore/configstore.h>

#include <string>
#include <vector>

namespace {

using namespace OrinConfigStore;

constexpr int kMembers = 50;

// The name of member `i`.
const char* Name(const std::vector<std::string>& keys, int i) {
  return keys[static_cast<std::size_t>(i)].c_str();
}

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
      object.SetValue(Name(keys, i), i);
    } else {
      object.SetValue(Name(keys, i), "value-" + std::to_string(i));
    }
  }
  return object;
}

void FillRaw(JDoc& doc, const std::vector<std::string>& keys) {
  doc.SetObject();
  for (int i = 0; i < kMembers; ++i) {
    JVal name(Name(keys, i), doc.GetAllocator());
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
    benchmark::DoNotOptimize(object.GetValue(Name(keys, i), &value));
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
    const auto member = doc.FindMember(Name(keys, i));
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
    benchmark::DoNotOptimize(object.GetValue(Name(keys, i), &value));
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
    const auto member = doc.FindMember(Name(keys, i));
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
    object.SetValue(Name(keys, i), i);
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
    const auto member = doc.FindMember(Name(keys, i));
    if (member != doc.MemberEnd()) {
      member->value.SetInt(i);
    } else {
      doc.AddMember(JVal(Name(keys, i), doc.GetAllocator()), JVal(i), doc.GetAllocator());
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
    object.SetValue(Name(keys, i), text);
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
    doc.FindMember(Name(keys, i))
        ->value.SetString(text.c_str(), static_cast<rapidjson::SizeType>(text.size()),
                          doc.GetAllocator());
    i = (i + 2) % kMembers;
  }
}
BENCHMARK(BM_Baseline_RapidjsonSetString);

}  // namespace
