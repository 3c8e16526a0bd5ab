// cfgstore: the host configuration store from the command line, for
// administrators, tests and the demo. See USAGE.md.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include "environment.h"
#include "tool.h"
#include "tool_error.h"

namespace {

constexpr const char* kProgramName = "cfgstore";
constexpr const char* kDescription =
    "Read and change the host configuration store. Output is JSON; the exit status is 0 for "
    "success, 1 not found, 2 usage error, 3 validation error, 4 any other failure.";
constexpr const char* kRootHelp = "Host root directory (sets CONFIGSTORE_ROOT)";
constexpr const char* kPrettyHelp = "Pretty-print JSON output";
constexpr const char* kVerboseHelp = "Log everything the library does to standard error";

void AddCommands(CLI::App& app, cfgstore::Tool& tool) {
  app.add_option("--root", tool.root, kRootHelp);
  app.add_flag("--pretty", tool.pretty, kPrettyHelp);
  app.add_flag("--verbose", tool.verbose, kVerboseHelp);
  // Global options may also follow the command.
  app.fallthrough();
  app.require_subcommand(1);
  cfgstore::AddSchemaCommands(app, tool);
  cfgstore::AddReadCommands(app, tool);
  cfgstore::AddWriteCommands(app, tool);
  cfgstore::AddKvCommands(app, tool);
  cfgstore::AddBootCommands(app, tool);
  cfgstore::AddTransferCommands(app, tool);
  cfgstore::AddWatchCommand(app, tool);
}

}  // namespace

int main(int argc, char** argv) {
  cfgstore::Tool tool;
  CLI::App app(kDescription, kProgramName);
  AddCommands(app, tool);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help and its kin end the parse with success and print the help.
    if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(e);
    cfgstore::ReportError(OrinConfigStore::CS_ERR_INVALID_ARGUMENT, e.what());
    return cfgstore::kUsage;
  }
  cfgstore::ApplyEnvironment(tool);
  try {
    return tool.action();
  } catch (...) {
    return cfgstore::ReportCurrentException();
  }
}
