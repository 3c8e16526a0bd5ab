// diff: the drift of the store from an export document, the desired state.

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

using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kDiffHelp =
    "Print the drift of the store from an export document (exit status 3 when there is any)";
constexpr const char* kSourceHelp = "The export document's file, or - for standard input";
constexpr const char* kIdMember = "id";
constexpr const char* kOperationMember = "operation";
constexpr const char* kDriftMember = "drift";

struct DiffArgs {
  std::string source;
};

JVal DriftEntry(const OrinConfigStore::DriftObject& drift, JAllocator& allocator) {
  JVal entry(rapidjson::kObjectType);
  const std::string id = FormatIdentifier(drift.GetConfigStoreObjectId());
  entry.AddMember(rapidjson::StringRef(kIdMember), TextValue(id, allocator), allocator);
  entry.AddMember(rapidjson::StringRef(kOperationMember),
                  TextValue(drift.GetOperation(), allocator), allocator);
  entry.AddMember(rapidjson::StringRef(kDriftMember), ParseValue(drift.GetData(), allocator),
                  allocator);
  return entry;
}

int RunDiff(const Tool& tool, const DiffArgs& args) {
  const auto document = OrinConfigStore::CreateDocumentFromString(ReadJsonSource(args.source));
  const auto drifts = OrinConfigStore::ComputeDocumentDrift(OpenStore(), document);
  JDoc output;
  output.SetArray();
  for (const auto& drift : drifts) {
    output.PushBack(DriftEntry(*drift, output.GetAllocator()), output.GetAllocator());
  }
  tool.Printer().Print(output);
  return drifts.empty() ? kSuccess : kInvalid;
}

}  // namespace

void AddDiffCommand(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<DiffArgs>();
  CLI::App* diff = app.add_subcommand("diff", kDiffHelp);
  diff->add_option("DOCUMENT", args->source, kSourceHelp)->required();
  OnSelected(diff, tool, [&tool, args] { return RunDiff(tool, *args); });
}

}  // namespace cfgstore
