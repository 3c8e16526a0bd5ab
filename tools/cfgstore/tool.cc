#include "tool.h"

#include <CLI/CLI.hpp>

#include <utility>

#include "store_access.h"

namespace cfgstore {

namespace {

constexpr const char* kContextHelp =
    "Who makes the change: user (an outside client) or internal (the host's own services)";

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
