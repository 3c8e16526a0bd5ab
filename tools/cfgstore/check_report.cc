#include "check_report.h"

#include <string>

#include "identifier.h"
#include "json_output.h"

namespace cfgstore {

namespace {

using OrinConfigStore::JAllocator;
using OrinConfigStore::JVal;

// A member of `entry` named `name`, left out when `text` is empty.
void AddText(JVal& entry, const char* name, const std::string& text, JAllocator& allocator) {
  if (text.empty()) return;
  entry.AddMember(rapidjson::StringRef(name), TextValue(text, allocator), allocator);
}

JVal ProblemEntry(const OrinConfigStore::StoreProblem& problem, JAllocator& allocator) {
  JVal entry(rapidjson::kObjectType);
  AddText(entry, "kind", problem.kind, allocator);
  AddText(entry, "database", problem.database, allocator);
  if (!problem.id.component.empty()) AddText(entry, "id", FormatIdentifier(problem.id), allocator);
  AddText(entry, "source", problem.source, allocator);
  AddText(entry, "detail", problem.detail, allocator);
  return entry;
}

}  // namespace

void AddCheckReport(JVal& output, const OrinConfigStore::StoreCheck& check, JAllocator& allocator) {
  JVal problems(rapidjson::kArrayType);
  for (const auto& problem : check.problems) {
    problems.PushBack(ProblemEntry(problem, allocator), allocator);
  }
  output.AddMember("objects", JVal(static_cast<int64_t>(check.objects)), allocator);
  output.AddMember("problems", problems, allocator);
}

}  // namespace cfgstore
