#include "schema_reading.h"

#include <regex>
#include <unordered_map>

#include <rapidjson/pointer.h>

#include "errors/format.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRefKeyword = "$ref";
constexpr const char* kDanglingRef = "\"$ref\": \"%s\" does not name a part of this schema";
constexpr const char* kCyclicRef = "\"$ref\": \"%s\" leads back to itself";
constexpr const char* kBadPattern = "pattern \"%s\" is not a regular expression: %s";
// Far more than any real chain of references to references; a guard only.
constexpr int kMaxRefChain = 64;

// Depth-first search over the reference graph: a target is "open" while its
// own subschemas are searched, and reaching an open target closes a cycle.
class RefChecker {
 public:
  explicit RefChecker(const JVal& root) : root_(root) {}

  bool Run(std::string* error) {
    state_[&root_] = State::kOpen;
    const bool ok = Visit(root_);
    if (!ok && error != nullptr) *error = error_;
    return ok;
  }

 private:
  enum class State { kNew, kOpen, kDone };

  bool Visit(const JVal& node) {
    const JVal* ref = SchemaMember(node, kRefKeyword);
    if (ref != nullptr) return !ref->IsString() || Enter(*ref);
    bool ok = true;
    ForEachSubschema(node, [&](const char*, const JVal& sub) { ok = ok && Visit(sub); });
    return ok;
  }

  bool Enter(const JVal& ref) {
    const JVal* target = ResolveSchemaRef(root_, ref);
    if (target == nullptr) return Fail(kDanglingRef, ref);
    State& state = state_[target];
    if (state == State::kDone) return true;
    if (state == State::kOpen) return Fail(kCyclicRef, ref);
    state = State::kOpen;
    const bool ok = Visit(*target);
    state_[target] = State::kDone;
    return ok;
  }

  bool Fail(const char* format, const JVal& ref) {
    error_ = Str_Format(format, ref.GetString());
    return false;
  }

  const JVal& root_;
  std::unordered_map<const JVal*, State> state_;
  std::string error_;
};

// Builds each expression the way valijson does (ECMAScript grammar).
bool CheckPattern(const JVal& pattern, std::string* error) {
  if (!pattern.IsString()) return true;  // valijson refuses the type itself
  try {
    const std::regex built(pattern.GetString(), pattern.GetStringLength());
  } catch (const std::regex_error& e) {
    *error = Str_Format(kBadPattern, pattern.GetString(), e.what());
    return false;
  }
  return true;
}

bool CheckNodePatterns(const JVal& node, std::string* error) {
  if (const JVal* pattern = SchemaMember(node, "pattern")) {
    if (!CheckPattern(*pattern, error)) return false;
  }
  const JVal* properties = SchemaMember(node, "patternProperties");
  if (properties != nullptr && properties->IsObject()) {
    for (const auto& property : properties->GetObject()) {
      if (!CheckPattern(property.name, error)) return false;
    }
  }
  bool ok = true;
  ForEachSubschema(node,
                   [&](const char*, const JVal& sub) { ok = ok && CheckNodePatterns(sub, error); });
  return ok;
}

}  // namespace

bool CheckSchemaPatterns(const JVal& root, std::string* error) {
  std::string reason;
  const bool ok = CheckNodePatterns(root, &reason);
  if (!ok && error != nullptr) *error = reason;
  return ok;
}

const JVal* ResolveSchemaRef(const JVal& root, const JVal& ref) {
  if (!ref.IsString() || ref.GetStringLength() == 0 || ref.GetString()[0] != '#') return nullptr;
  std::string text(ref.GetString(), ref.GetStringLength());
  // "#/a/" names "#/a", as valijson reads it.
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  const rapidjson::GenericPointer<JVal> pointer(text.data(), text.size());
  return pointer.IsValid() ? pointer.Get(root) : nullptr;
}

const JVal* FollowSchemaRefs(const JVal& root, const JVal* node) {
  for (int hop = 0; node != nullptr && hop < kMaxRefChain; ++hop) {
    const JVal* ref = SchemaMember(*node, kRefKeyword);
    if (ref == nullptr) return node;
    node = ResolveSchemaRef(root, *ref);
  }
  return nullptr;
}

bool CheckSchemaRefs(const JVal& root, std::string* error) { return RefChecker(root).Run(error); }

}  // namespace OrinConfigStore
