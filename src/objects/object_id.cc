#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "configstore/object_id.h"
#include "platform/uuid.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kComponentLabel = "comp ";
constexpr const char* kGroupLabel = " grp ";
constexpr const char* kKeyLabel = " key ";
constexpr const char* kInstanceLabel = " id ";
constexpr const char* kSubObjectKeyLabel = "key ";

// boost's 64-bit hash_combine mixing (MurmurHash2's inner step).
constexpr std::uint64_t kMultiplier = 0xc6a4a7935bd1e995ULL;
constexpr int kShift = 47;
constexpr std::uint64_t kIncrement = 0xe6546b64ULL;

constexpr std::uint64_t Mix(std::uint64_t value) {
  std::uint64_t k = value * kMultiplier;
  k ^= k >> kShift;
  return k * kMultiplier;
}

constexpr std::uint64_t CombineMixed(std::uint64_t seed, std::uint64_t mixed) {
  return (seed ^ mixed) * kMultiplier + kIncrement;
}

constexpr std::uint64_t Combine(std::uint64_t seed, std::uint64_t value) {
  return CombineMixed(seed, Mix(value));
}

// The mixing of a value does not depend on the seed, so for bytes it is
// looked up: one multiplication per byte stays on the dependency chain.
constexpr std::array<std::uint64_t, 256> MakeMixedBytes() {
  std::array<std::uint64_t, 256> table{};
  for (std::size_t b = 0; b < table.size(); ++b) table[b] = Mix(b);
  return table;
}

constexpr std::array<std::uint64_t, 256> kMixedBytes = MakeMixedBytes();

// Bytes are taken as 0-255: boost's own string hash sign-extends them where
// char is signed, which would make the hash depend on the platform.
std::uint64_t HashString(const std::string& text) {
  std::uint64_t hash = 0;
  for (const char c : text) hash = CombineMixed(hash, kMixedBytes[static_cast<unsigned char>(c)]);
  return hash;
}

}  // namespace

// The parameters are named after what they fill, with a prefix: the members
// themselves must stay plain (they are the public fields callers use).
ConfigStoreObjectId::ConfigStoreObjectId(const std::string& aKey, const std::string& aGroup,
                                         const std::string& aComponent)
    : key(aKey), component(aComponent), group(aGroup) {}

ConfigStoreObjectId::ConfigStoreObjectId(const std::string& aKey, const std::string& aGroup,
                                         const std::string& aComponent,
                                         const std::string& anInstanceId)
    : key(aKey), component(aComponent), group(aGroup), instanceId(anInstanceId) {}

ConfigStoreObjectId::ConfigStoreObjectId(const char* aKey, const char* aGroup,
                                         const char* aComponent)
    : key(aKey), component(aComponent), group(aGroup) {}

ConfigStoreObjectId::ConfigStoreObjectId(const char* aKey, const char* aGroup,
                                         const char* aComponent, const char* anInstanceId)
    : key(aKey), component(aComponent), group(aGroup), instanceId(anInstanceId) {}

std::string ConfigStoreObjectId::toString() const {
  std::string text = kComponentLabel + component + kGroupLabel + group + kKeyLabel + key;
  if (!instanceId.empty()) text += kInstanceLabel + instanceId;
  return text;
}

bool operator==(const ConfigStoreObjectId& a, const ConfigStoreObjectId& b) {
  return a.key == b.key && a.component == b.component && a.instanceId == b.instanceId &&
         a.group == b.group;
}

std::string SubObjectId::toString() const {
  std::string text = kSubObjectKeyLabel + key;
  if (!instanceId.empty()) text += kInstanceLabel + instanceId;
  return text;
}

std::size_t hashCsoId(const ConfigStoreObjectId& id) noexcept {
  std::uint64_t seed = 0;
  seed = Combine(seed, HashString(id.key));
  seed = Combine(seed, HashString(id.group));
  seed = Combine(seed, HashString(id.component));
  seed = Combine(seed, HashString(id.instanceId));
  return static_cast<std::size_t>(seed);
}

std::string GenerateInstanceId() {
  std::unique_ptr<char, decltype(&std::free)> text(UUID_CreateRandom(), &std::free);
  return std::string(text.get());
}

}  // namespace OrinConfigStore
