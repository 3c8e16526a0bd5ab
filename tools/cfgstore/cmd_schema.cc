// init, schema load|check|list|show: setting up a host root and reading back the
// types it holds.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "identifier.h"
#include "json_output.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kInitHelp = "Create the schema store and the configuration database";
constexpr const char* kSchemaHelp = "Load and inspect object types";
constexpr const char* kLoadHelp = "Load schema definition files; prints {\"loaded\": N}";
constexpr const char* kFilesHelp = "Schema definition files";
constexpr const char* kListHelp = "List the stored types";
constexpr const char* kShowHelp = "Show one type with its schema";
constexpr const char* kTypeHelp = "The type: component/group/key";
constexpr const char* kCheckHelp =
    "Tell what loading FILE would do to the stored objects of its types, changing nothing (exit "
    "status 3 when the load would be refused)";
constexpr const char* kFileHelp = "A schema definition file";
constexpr const char* kForceHelp =
    "Load a schema that differs from the stored one at the same version (the stored objects are "
    "still checked against it)";
constexpr const char* kLoadedMember = "loaded";
// Left out of the list, which is for scanning; `schema show` has it.
constexpr const char* kSchemaMember = "schema";

int RunInit() {
  OrinSchemaStore::InitializeSchemaStore();
  OrinConfigStore::InitializeDatabase();
  return kSuccess;
}

int RunLoad(const Tool& tool, const std::vector<std::string>& files, bool force) {
  OrinSchemaStore::SchemaLoadOptions options;
  options.force = force;
  std::size_t loaded = 0;
  for (const std::string& file : files) loaded += OrinSchemaStore::LoadSchemaFile(file, options);
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

JVal RefusedEntry(const OrinSchemaStore::RefusedObject& object, JAllocator& allocator) {
  JVal entry(rapidjson::kObjectType);
  entry.AddMember("id", TextValue(FormatIdentifier(object.id), allocator), allocator);
  entry.AddMember("source", TextValue(object.source, allocator), allocator);
  JVal errors(rapidjson::kArrayType);
  for (const auto& error : object.errors) {
    JVal item(rapidjson::kObjectType);
    item.AddMember("field", TextValue(error.field, allocator), allocator);
    item.AddMember("error", TextValue(error.error, allocator), allocator);
    errors.PushBack(item, allocator);
  }
  entry.AddMember("errors", errors, allocator);
  return entry;
}

JVal TypeEntry(const OrinSchemaStore::TypeChange& type, JAllocator& allocator) {
  JVal entry(rapidjson::kObjectType);
  entry.AddMember("type", TextValue(type.type, allocator), allocator);
  entry.AddMember("change", TextValue(type.change, allocator), allocator);
  entry.AddMember("from", TextValue(type.fromVersion, allocator), allocator);
  entry.AddMember("to", TextValue(type.toVersion, allocator), allocator);
  entry.AddMember("objects", static_cast<int64_t>(type.objects), allocator);
  entry.AddMember("migrated", static_cast<int64_t>(type.migrated), allocator);
  if (!type.refusal.empty()) {
    entry.AddMember("refusal", TextValue(type.refusal, allocator), allocator);
  }
  JVal refused(rapidjson::kArrayType);
  for (const auto& object : type.refused)
    refused.PushBack(RefusedEntry(object, allocator), allocator);
  entry.AddMember("refused", refused, allocator);
  return entry;
}

int RunCheck(const Tool& tool, const std::string& file, bool force) {
  OrinSchemaStore::SchemaLoadOptions options;
  options.force = force;
  const OrinSchemaStore::SchemaLoadReport report = OrinSchemaStore::CheckSchemaFile(file, options);
  JDoc output;
  output.SetObject();
  JAllocator& allocator = output.GetAllocator();
  output.AddMember("refused", report.Refused(), allocator);
  JVal types(rapidjson::kArrayType);
  for (const auto& type : report.types) types.PushBack(TypeEntry(type, allocator), allocator);
  output.AddMember("types", types, allocator);
  tool.Printer().Print(output);
  return report.Refused() ? kInvalid : kSuccess;
}

struct SchemaArgs {
  std::vector<std::string> files;
  std::string file;
  std::string type;
  bool force = false;
};

}  // namespace

void AddSchemaCommands(CLI::App& app, Tool& tool) {
  OnSelected(app.add_subcommand("init", kInitHelp), tool, RunInit);

  auto args = std::make_shared<SchemaArgs>();
  CLI::App* schema = app.add_subcommand("schema", kSchemaHelp)->require_subcommand(1);

  CLI::App* load = schema->add_subcommand("load", kLoadHelp);
  load->add_option("FILE", args->files, kFilesHelp)->required();
  load->add_flag("--force", args->force, kForceHelp);
  OnSelected(load, tool, [&tool, args] { return RunLoad(tool, args->files, args->force); });

  CLI::App* check = schema->add_subcommand("check", kCheckHelp);
  check->add_option("FILE", args->file, kFileHelp)->required();
  check->add_flag("--force", args->force, kForceHelp);
  OnSelected(check, tool, [&tool, args] { return RunCheck(tool, args->file, args->force); });

  OnSelected(schema->add_subcommand("list", kListHelp), tool, [&tool] { return RunList(tool); });

  CLI::App* show = schema->add_subcommand("show", kShowHelp);
  AddIdArgument(show, args->type, kTypeHelp);
  OnSelected(show, tool, [&tool, args] { return RunShow(tool, args->type); });
}

}  // namespace cfgstore
