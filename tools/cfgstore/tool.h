#ifndef CFGSTORE_TOOL_H_
#define CFGSTORE_TOOL_H_

// The command line of cfgstore: global options, the command the parse
// selected, and the registration of each family of commands.
//
// Commands do nothing while the line is parsed: CLI11 runs callbacks before
// it has checked every requirement, so a selected command only records what
// to run, and main() runs it once the whole line has parsed and the
// environment is set up.

#include <functional>
#include <string>

#include "json_output.h"

namespace CLI {
class App;
}  // namespace CLI

namespace cfgstore {

struct Tool {
  std::string root;
  bool pretty = false;
  bool verbose = false;
  // The selected command; returns the exit status.
  std::function<int()> action;

  JsonPrinter Printer() const { return JsonPrinter(pretty); }
};

// Records `run` as the action when the parse selects `command`.
void OnSelected(CLI::App* command, Tool& tool, std::function<int()> run);

// Adds --context user|internal (default user) bound to `context`.
void AddContextOption(CLI::App* command, std::string& context);

// Adds a positional ID (required) bound to `id`.
void AddIdArgument(CLI::App* command, std::string& id, const char* help);

void AddSchemaCommands(CLI::App& app, Tool& tool);    // init, schema load|list|show
void AddReadCommands(CLI::App& app, Tool& tool);      // get, list, ids, revision
void AddWriteCommands(CLI::App& app, Tool& tool);     // set, update, delete, validate
void AddKvCommands(CLI::App& app, Tool& tool);        // kv get|set
void AddBootCommands(CLI::App& app, Tool& tool);      // boot ...
void AddTransferCommands(CLI::App& app, Tool& tool);  // export, import
void AddWatchCommand(CLI::App& app, Tool& tool);      // watch
void AddHistoryCommand(CLI::App& app, Tool& tool);    // history
void AddRollbackCommand(CLI::App& app, Tool& tool);   // rollback
void AddDiffCommand(CLI::App& app, Tool& tool);       // diff
void AddCheckCommand(CLI::App& app, Tool& tool);      // check
void AddBackupCommands(CLI::App& app, Tool& tool);    // backup, restore

}  // namespace cfgstore

#endif  // CFGSTORE_TOOL_H_
