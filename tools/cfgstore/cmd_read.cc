// get, list, ids, revision: reads of stored objects. Nothing stored for an
// object is "not found"; an empty list is a result.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "explanation.h"
#include "identifier.h"
#include "json_input.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::ConfigStoreObject;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kGetHelp = "Print an object's data: merged, shipped default, or desired";
constexpr const char* kListHelp = "Print the data of a non-singleton type's instances";
constexpr const char* kIdsHelp = "Print the instance ids of a non-singleton type";
constexpr const char* kRevisionHelp =
    "Print an object's revision; for a non-singleton type, instance id -> revision";
constexpr const char* kIdHelp = "component/group/key[/instance-id]";
constexpr const char* kTypeHelp = "component/group/key";
constexpr const char* kDefaultHelp = "The shipped default instead of the stored value";
constexpr const char* kDesiredHelp = "The value desired for the next boot";
constexpr const char* kExplainHelp =
    "With the source of each member and the lower sources it overrides";
constexpr const char* kFilterHelp = "Only instances whose data contains this JSON object";
constexpr int kNothingStored = -1;

struct ReadArgs {
  std::string id;
  std::string filter;
  bool shipped = false;
  bool desired = false;
  bool explain = false;
};

std::shared_ptr<ConfigStoreObject> ReadObject(const OrinConfigStore::ConfigStoreObjectId& id,
                                              const ReadArgs& args) {
  if (args.desired) return OrinConfigStore::GetDesiredUserConfig(id);
  const auto store = OpenStore();
  return args.shipped ? store->GetDefaultConfig(id) : store->Get(id);
}

int RunGet(const Tool& tool, const ReadArgs& args) {
  const auto id = ParseIdentifier(args.id);
  if (args.explain) return RunExplain(tool, id);
  const auto object = ReadObject(id, args);
  if (!object) throw NotFoundError(FormatIdentifier(id));
  tool.Printer().PrintText(object->GetData());
  return kSuccess;
}

int RunList(const Tool& tool, const ReadArgs& args) {
  const auto id = ParseIdentifier(args.id);
  const auto filter =
      BuildFilter(id, args.filter.empty() ? std::string() : ReadJsonObjectArgument(args.filter));
  const auto store = OpenStore();
  tool.Printer().Print(DataArray(args.shipped ? store->GetDefaultConfigInstances(filter)
                                              : store->GetInstances(filter)));
  return kSuccess;
}

int RunIds(const Tool& tool, const ReadArgs& args) {
  const auto ids = OpenStore()->GetInstanceIds(ParseTypeIdentifier(args.id));
  JDoc list;
  list.SetArray();
  for (const std::string& instanceId : ids) {
    list.PushBack(JVal(instanceId.c_str(), list.GetAllocator()), list.GetAllocator());
  }
  tool.Printer().Print(list);
  return kSuccess;
}

void PrintInstanceRevisions(const Tool& tool, const OrinConfigStore::ConfigStoreObjectId& id) {
  JDoc revisions;
  revisions.SetObject();
  for (const auto& [instanceId, revision] : OpenStore()->GetInstancesRevision(id)) {
    revisions.AddMember(JVal(instanceId.c_str(), revisions.GetAllocator()), JVal(revision),
                        revisions.GetAllocator());
  }
  tool.Printer().Print(revisions);
}

int RunRevision(const Tool& tool, const ReadArgs& args) {
  const auto id = ParseIdentifier(args.id);
  if (SchemaCatalog().NamesAllInstances(id)) {
    PrintInstanceRevisions(tool, id);
    return kSuccess;
  }
  const int revision = OpenStore()->GetRevision(id);
  if (revision == kNothingStored) throw NotFoundError(FormatIdentifier(id));
  tool.Printer().Print(JVal(revision));
  return kSuccess;
}

}  // namespace

void AddReadCommands(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<ReadArgs>();

  CLI::App* get = app.add_subcommand("get", kGetHelp);
  AddIdArgument(get, args->id, kIdHelp);
  CLI::Option* shipped = get->add_flag("--default", args->shipped, kDefaultHelp);
  CLI::Option* desired = get->add_flag("--desired", args->desired, kDesiredHelp)->excludes(shipped);
  get->add_flag("--explain", args->explain, kExplainHelp)->excludes(shipped)->excludes(desired);
  OnSelected(get, tool, [&tool, args] { return RunGet(tool, *args); });

  CLI::App* list = app.add_subcommand("list", kListHelp);
  AddIdArgument(list, args->id, kIdHelp);
  list->add_option("--filter", args->filter, kFilterHelp);
  list->add_flag("--default", args->shipped, kDefaultHelp);
  OnSelected(list, tool, [&tool, args] { return RunList(tool, *args); });

  CLI::App* ids = app.add_subcommand("ids", kIdsHelp);
  AddIdArgument(ids, args->id, kTypeHelp);
  OnSelected(ids, tool, [&tool, args] { return RunIds(tool, *args); });

  CLI::App* revision = app.add_subcommand("revision", kRevisionHelp);
  AddIdArgument(revision, args->id, kIdHelp);
  OnSelected(revision, tool, [&tool, args] { return RunRevision(tool, *args); });
}

}  // namespace cfgstore
