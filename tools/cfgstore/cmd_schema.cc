// init, schema load|list|show: setting up a host root and reading back the
// types it holds.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "identifier.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kInitHelp = "Create the schema store and the configuration database";
constexpr const char* kSchemaHelp = "Load and inspect object types";
constexpr const char* kLoadHelp = "Load schema definition files; prints {\"loaded\": N}";
constexpr const char* kFilesHelp = "Schema definition files";
constexpr const char* kListHelp = "List the stored types";
constexpr const char* kShowHelp = "Show one type with its schema";
constexpr const char* kTypeHelp = "The type: component/group/key";
constexpr const char* kLoadedMember = "loaded";
// Left out of the list, which is for scanning; `schema show` has it.
constexpr const char* kSchemaMember = "schema";

int RunInit() {
  OrinSchemaStore::InitializeSchemaStore();
  OrinConfigStore::InitializeDatabase();
  return kSuccess;
}

int RunLoad(const Tool& tool, const std::vector<std::string>& files) {
  std::size_t loaded = 0;
  for (const std::string& file : files) loaded += OrinSchemaStore::LoadSchemaFile(file);
  JDoc result;
  result.SetObject();
  result.AddMember(rapidjson::StringRef(kLoadedMember), static_cast<uint64_t>(loaded),
                   result.GetAllocator());
  tool.Printer().Print(result);
  return kSuccess;
}

int RunList(const Tool& tool) {
  const SchemaCatalog catalog;
  JDoc list;
  list.SetArray();
  for (const JVal& type : catalog.Types().GetArray()) {
    JVal summary(rapidjson::kObjectType);
    for (const auto& member : type.GetObject()) {
      if (std::strcmp(member.name.GetString(), kSchemaMember) == 0) continue;
      summary.AddMember(JVal(member.name, list.GetAllocator()),
                        JVal(member.value, list.GetAllocator()), list.GetAllocator());
    }
    list.PushBack(summary, list.GetAllocator());
  }
  tool.Printer().Print(list);
  return kSuccess;
}

int RunShow(const Tool& tool, const std::string& type) {
  const SchemaCatalog catalog;
  tool.Printer().Print(catalog.Require(ParseTypeIdentifier(type)));
  return kSuccess;
}

struct SchemaArgs {
  std::vector<std::string> files;
  std::string type;
};

}  // namespace

void AddSchemaCommands(CLI::App& app, Tool& tool) {
  OnSelected(app.add_subcommand("init", kInitHelp), tool, RunInit);

  auto args = std::make_shared<SchemaArgs>();
  CLI::App* schema = app.add_subcommand("schema", kSchemaHelp)->require_subcommand(1);

  CLI::App* load = schema->add_subcommand("load", kLoadHelp);
  load->add_option("FILE", args->files, kFilesHelp)->required();
  OnSelected(load, tool, [&tool, args] { return RunLoad(tool, args->files); });

  OnSelected(schema->add_subcommand("list", kListHelp), tool, [&tool] { return RunList(tool); });

  CLI::App* show = schema->add_subcommand("show", kShowHelp);
  AddIdArgument(show, args->type, kTypeHelp);
  OnSelected(show, tool, [&tool, args] { return RunShow(tool, args->type); });
}

}  // namespace cfgstore
