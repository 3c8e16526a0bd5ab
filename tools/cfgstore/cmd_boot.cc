// boot ...: the boot-time side of the store. The desired configuration is
// what the next boot applies; kernel options are read and changed through
// their desired value.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "identifier.h"
#include "json_input.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::ConfigStoreObjectId;

constexpr const char* kBootHelp = "Boot status, desired configuration and kernel options";
constexpr const char* kStateHelp = "Print whether the host is booting (true or false)";
constexpr const char* kDesiredHelp =
    "Print the desired value; for a non-singleton type, every instance's";
constexpr const char* kApplyHelp = "Mark the object applied: its desired value becomes its value";
constexpr const char* kRestoreHelp = "Restore part of the desired value into the applied value";
constexpr const char* kKernelHelp = "Print the kernel options in force (after --update, if given)";
constexpr const char* kUpdateHelp = "Merge this JSON object into the desired kernel options first";
constexpr const char* kIdHelp = "component/group/key[/instance-id]";
constexpr const char* kJsonHelp = "A JSON object: inline, @FILE, or - for standard input";

const ConfigStoreObjectId kKernelOptions("options", "kernix", "orin");

struct BootArgs {
  std::string id;
  std::string json;
  std::string update;
};

int RunState(const Tool& tool) {
  tool.Printer().Print(OrinConfigStore::JVal(OrinConfigStore::IsBoot()));
  return kSuccess;
}

int RunDesired(const Tool& tool, const BootArgs& args) {
  const auto id = ParseIdentifier(args.id);
  if (SchemaCatalog().NamesAllInstances(id)) {
    tool.Printer().Print(DataArray(OrinConfigStore::GetDesiredUserConfigInstances(id)));
    return kSuccess;
  }
  const auto desired = OrinConfigStore::GetDesiredUserConfig(id);
  if (!desired) throw NotFoundError(FormatIdentifier(id));
  tool.Printer().PrintText(desired->GetData());
  return kSuccess;
}

int RunApply(const BootArgs& args) {
  OrinConfigStore::SetBootStatus(ParseIdentifier(args.id), true);
  return kSuccess;
}

int RunRestore(const BootArgs& args) {
  const auto id = ParseIdentifier(args.id);
  OrinConfigStore::SetPartialBootStatus(BuildObject(id, ReadJsonObjectArgument(args.json)));
  return kSuccess;
}

int RunKernelOptions(const Tool& tool, const BootArgs& args) {
  if (!args.update.empty()) {
    OrinConfigStore::UpdateKernelOptions(
        BuildObject(kKernelOptions, ReadJsonObjectArgument(args.update)));
  }
  const auto options = OrinConfigStore::GetKernelOptions(kKernelOptions);
  if (!options) throw NotFoundError(FormatIdentifier(kKernelOptions));
  tool.Printer().PrintText(options->GetData());
  return kSuccess;
}

}  // namespace

void AddBootCommands(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<BootArgs>();
  CLI::App* boot = app.add_subcommand("boot", kBootHelp)->require_subcommand(1);

  OnSelected(boot->add_subcommand("state", kStateHelp), tool, [&tool] { return RunState(tool); });

  CLI::App* desired = boot->add_subcommand("desired", kDesiredHelp);
  AddIdArgument(desired, args->id, kIdHelp);
  OnSelected(desired, tool, [&tool, args] { return RunDesired(tool, *args); });

  CLI::App* apply = boot->add_subcommand("apply", kApplyHelp);
  AddIdArgument(apply, args->id, kIdHelp);
  OnSelected(apply, tool, [args] { return RunApply(*args); });

  CLI::App* restore = boot->add_subcommand("restore", kRestoreHelp);
  AddIdArgument(restore, args->id, kIdHelp);
  restore->add_option("JSON", args->json, kJsonHelp)->required();
  OnSelected(restore, tool, [args] { return RunRestore(*args); });

  CLI::App* kernel = boot->add_subcommand("kernel-options", kKernelHelp);
  kernel->add_option("--update", args->update, kUpdateHelp);
  OnSelected(kernel, tool, [&tool, args] { return RunKernelOptions(tool, *args); });
}

}  // namespace cfgstore
