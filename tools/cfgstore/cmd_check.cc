// check: whether the host's store is whole and what it holds fits its types.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <string>

#include "identifier.h"
#include "json_output.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kCheckHelp =
    "Check the store's databases and every stored value against its type (exit status 3 when "
    "something is wrong, 4 when the store cannot be read)";

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

int RunCheck(const Tool& tool) {
  const OrinConfigStore::StoreCheck check = OrinConfigStore::CheckStore();
  JDoc output;
  output.SetObject();
  JAllocator& allocator = output.GetAllocator();
  JVal problems(rapidjson::kArrayType);
  for (const auto& problem : check.problems) {
    problems.PushBack(ProblemEntry(problem, allocator), allocator);
  }
  output.AddMember("objects", JVal(static_cast<int64_t>(check.objects)), allocator);
  output.AddMember("problems", problems, allocator);
  tool.Printer().Print(output);
  return check.problems.empty() ? kSuccess : kInvalid;
}

}  // namespace

void AddCheckCommand(CLI::App& app, Tool& tool) {
  CLI::App* check = app.add_subcommand("check", kCheckHelp);
  OnSelected(check, tool, [&tool] { return RunCheck(tool); });
}

}  // namespace cfgstore
