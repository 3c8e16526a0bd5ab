#include "json_validator_report.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>

namespace OrinConfigStore {

namespace {

constexpr const char* kRootField = "/";

std::size_t PointerDepth(const std::string& pointer) {
  return static_cast<std::size_t>(std::count(pointer.begin(), pointer.end(), '/'));
}

JVal ReportEntry(const ValidatorError& entry, JAllocator& allocator) {
  const std::string& field = entry.field.empty() ? std::string(kRootField) : entry.field;
  JVal object(rapidjson::kObjectType);
  object.AddMember("field", JVal(field, allocator), allocator);
  object.AddMember("error", JVal(entry.error, allocator), allocator);
  return object;
}

}  // namespace

bool PointerWithin(const std::string& pointer, const std::string& ancestor) {
  return pointer.compare(0, ancestor.size(), ancestor) == 0 &&
         (pointer.size() == ancestor.size() || pointer[ancestor.size()] == '/');
}

void WriteReport(ValidatorErrors errors, JDoc& result) {
  std::stable_sort(errors.begin(), errors.end(),
                   [](const ValidatorError& a, const ValidatorError& b) {
                     return PointerDepth(a.field) > PointerDepth(b.field);
                   });
  result.SetArray();
  std::set<std::pair<std::string, std::string>> seen;
  for (const ValidatorError& entry : errors) {
    if (!seen.emplace(entry.field, entry.error).second) continue;
    result.PushBack(ReportEntry(entry, result.GetAllocator()), result.GetAllocator());
  }
}

}  // namespace OrinConfigStore
