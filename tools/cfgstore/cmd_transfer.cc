// export, import: whole types moved as one document,
//   {"<component>": {"<group>": {"<key>": <data> | [<instance data>, ...]}}}

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "identifier.h"
#include "json_input.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kExportHelp =
    "Print the objects of the given types (or instances), or of every type, as one document";
constexpr const char* kImportHelp = "Write an export document (replacing the instances it lists)";
constexpr const char* kIdsHelp = "component/group/key[/instance-id]; none for every type";
constexpr const char* kFilterHelp = "Only objects whose data contains this JSON object";
constexpr const char* kSourceHelp = "The export document's file, or - for standard input";
constexpr const char* kFilterNeedsIds = "--filter needs at least one ID to apply to";

struct TransferArgs {
  std::vector<std::string> ids;
  std::string filter;
  std::string source;
  std::string context = kUserContext;
};

int RunExport(const Tool& tool, const TransferArgs& args) {
  if (!args.filter.empty() && args.ids.empty()) throw UsageError(kFilterNeedsIds);
  const std::string filterData =
      args.filter.empty() ? std::string() : ReadJsonObjectArgument(args.filter);
  std::vector<std::shared_ptr<OrinConfigStore::FilterSpecObject>> filters;
  for (const std::string& id : args.ids)
    filters.push_back(BuildFilter(ParseIdentifier(id), filterData));
  const auto document = OpenStore()->Export(filters);
  tool.Printer().Print(document->GetDocument());
  return kSuccess;
}

int RunImport(const TransferArgs& args) {
  const auto document = OrinConfigStore::CreateDocumentFromString(ReadJsonSource(args.source));
  OpenStore()->Import(document, ToContext(args.context));
  return kSuccess;
}

}  // namespace

void AddTransferCommands(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<TransferArgs>();

  CLI::App* exporter = app.add_subcommand("export", kExportHelp);
  exporter->add_option("ID", args->ids, kIdsHelp);
  exporter->add_option("--filter", args->filter, kFilterHelp);
  OnSelected(exporter, tool, [&tool, args] { return RunExport(tool, *args); });

  CLI::App* importer = app.add_subcommand("import", kImportHelp);
  importer->add_option("FILE", args->source, kSourceHelp)->required();
  AddContextOption(importer, args->context);
  OnSelected(importer, tool, [args] { return RunImport(*args); });
}

}  // namespace cfgstore
