// kv get|set: the configuration database's key-value table, which holds the
// host's switches (IS_BOOT, NOTIFY_WARDEN, ...).

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kKvHelp = "Read and write the key-value table";
constexpr const char* kGetHelp = "Print a key's value as a JSON string";
constexpr const char* kSetHelp = "Set a key's value";
constexpr const char* kKeyHelp = "The key";
constexpr const char* kValueHelp = "The value (text)";
constexpr const char* kKeyNotFound = "Key not found: ";

struct KvArgs {
  std::string key;
  std::string value;
};

// The table cannot tell a missing key from an empty value; both read "".
int RunGet(const Tool& tool, const KvArgs& args) {
  const std::string value = OrinConfigStore::GetKeyValue(args.key);
  if (value.empty()) {
    throw ToolError(kNotFound, OrinConfigStore::CS_ERR_KEY_NOT_FOUND, kKeyNotFound + args.key);
  }
  tool.Printer().Print(OrinConfigStore::JVal(rapidjson::StringRef(value.c_str(), value.size())));
  return kSuccess;
}

int RunSet(const KvArgs& args) {
  OrinConfigStore::SetKeyValue(args.key, args.value);
  return kSuccess;
}

}  // namespace

void AddKvCommands(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<KvArgs>();
  CLI::App* kv = app.add_subcommand("kv", kKvHelp)->require_subcommand(1);

  CLI::App* get = kv->add_subcommand("get", kGetHelp);
  get->add_option("KEY", args->key, kKeyHelp)->required();
  OnSelected(get, tool, [&tool, args] { return RunGet(tool, *args); });

  CLI::App* set = kv->add_subcommand("set", kSetHelp);
  set->add_option("KEY", args->key, kKeyHelp)->required();
  set->add_option("VALUE", args->value, kValueHelp)->required();
  OnSelected(set, tool, [args] { return RunSet(*args); });
}

}  // namespace cfgstore
