// cfgstore: the host configuration store from the command line, for
// administrators, tests and the demo. See USAGE.md. This file holds the
// command line itself: the global options, the helpers every family of
// commands registers with, the environment the library reads, and main().

#include <configstore/configstore.h>
#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <utility>

#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kContextHelp =
    "Who makes the change: user (an outside client) or internal (the host's own services)";
constexpr const char* kRootVariable = "CONFIGSTORE_ROOT";
constexpr const char* kLogVariable = "CONFIGSTORE_LOG";
constexpr const char* kLogLevelVariable = "CONFIGSTORE_LOG_LEVEL";
constexpr const char* kSilentLog = "none";
constexpr const char* kVerboseLog = "stderr";
constexpr const char* kVerboseLevel = "4";

constexpr int kKeep = 0;
constexpr int kOverwrite = 1;

// --root sets CONFIGSTORE_ROOT. The tool reports errors itself, so the
// library's log goes nowhere unless CONFIGSTORE_LOG is already set;
// --verbose sends every line, read traces included, to standard error.
// Applied once, after the command line parsed and before any library call.
void ApplyEnvironment(const Tool& tool) {
  if (!tool.root.empty()) setenv(kRootVariable, tool.root.c_str(), kOverwrite);
  if (tool.verbose) {
    setenv(kLogVariable, kVerboseLog, kOverwrite);
    setenv(kLogLevelVariable, kVerboseLevel, kOverwrite);
  } else {
    setenv(kLogVariable, kSilentLog, kKeep);
  }
}

}  // namespace

void OnSelected(CLI::App* command, Tool& tool, std::function<int()> run) {
  command->callback([&tool, run = std::move(run)] { tool.action = run; });
}

void AddContextOption(CLI::App* command, std::string& context) {
  command->add_option("--context", context, kContextHelp)
      ->check(CLI::IsMember({kUserContext, kInternalContext}))
      ->capture_default_str();
}

void AddIdArgument(CLI::App* command, std::string& id, const char* help) {
  command->add_option("ID", id, help)->required();
}

}  // namespace cfgstore

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
  cfgstore::AddHistoryCommand(app, tool);
  cfgstore::AddRollbackCommand(app, tool);
  cfgstore::AddWatchCommand(app, tool);
  cfgstore::AddDiffCommand(app, tool);
  cfgstore::AddCheckCommand(app, tool);
  cfgstore::AddBackupCommands(app, tool);
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
