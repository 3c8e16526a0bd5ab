// rollback: an object's source values put back as they were at an earlier
// revision, printed as the revision the write made.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <limits>
#include <memory>
#include <string>

#include "identifier.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kRollbackHelp =
    "Put an object's source values back as the change history recorded them at a revision, "
    "as one new write; prints the revision it made";
constexpr const char* kIdHelp = "component/group/key[/instance-id]";
constexpr const char* kToRevisionHelp = "The revision to put back";

struct RollbackArgs {
  std::string id;
  int revision = 0;
};

int RunRollback(const Tool& tool, const RollbackArgs& args) {
  auto store = OpenStore();
  const int revision =
      OrinConfigStore::RollbackToRevision(store, ParseIdentifier(args.id), args.revision);
  OrinConfigStore::JDoc result;
  result.SetObject();
  result.AddMember("revision", revision, result.GetAllocator());
  tool.Printer().Print(result);
  return kSuccess;
}

}  // namespace

void AddRollbackCommand(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<RollbackArgs>();
  CLI::App* rollback = app.add_subcommand("rollback", kRollbackHelp);
  AddIdArgument(rollback, args->id, kIdHelp);
  rollback->add_option("--to-revision", args->revision, kToRevisionHelp)
      ->required()
      ->check(CLI::Range(0, std::numeric_limits<int>::max()));
  OnSelected(rollback, tool, [&tool, args] { return RunRollback(tool, *args); });
}

}  // namespace cfgstore
