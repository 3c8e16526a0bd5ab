// check: whether the host's store is whole and what it holds fits its types.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include "check_report.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kCheckHelp =
    "Check the store's databases and every stored value against its type (exit status 3 when "
    "something is wrong, 4 when the store cannot be read)";

int RunCheck(const Tool& tool) {
  const OrinConfigStore::StoreCheck check = OrinConfigStore::CheckStore();
  OrinConfigStore::JDoc output;
  output.SetObject();
  AddCheckReport(output, check, output.GetAllocator());
  tool.Printer().Print(output);
  return check.problems.empty() ? kSuccess : kInvalid;
}

}  // namespace

void AddCheckCommand(CLI::App& app, Tool& tool) {
  CLI::App* check = app.add_subcommand("check", kCheckHelp);
  OnSelected(check, tool, [&tool] { return RunCheck(tool); });
}

}  // namespace cfgstore
