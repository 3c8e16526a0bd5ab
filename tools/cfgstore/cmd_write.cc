// set, update, delete, validate: changes to stored objects, and the check
// a change would undergo. Writes print nothing; the exit status tells.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <limits>
#include <memory>
#include <string>

#include "identifier.h"
#include "json_input.h"
#include "store_access.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kSetHelp = "Write an object's data to one source (or all of them)";
constexpr const char* kUpdateHelp = "Merge data into a stored object";
constexpr const char* kDeleteHelp =
    "Delete an object or instance; with a type, all its instances (or those matching --filter)";
constexpr const char* kValidateHelp =
    "Check data against the type's schema; prints the problems, exit status 3 when any";
constexpr const char* kIdHelp = "component/group/key[/instance-id]";
constexpr const char* kJsonHelp = "A JSON object: inline, @FILE, or - for standard input";
constexpr const char* kSourceHelp =
    "The source written: user (or automatic, with --context internal), vital, cached, or all";
constexpr const char* kFilterHelp = "Only instances whose data contains this JSON object";
constexpr const char* kFilterNeedsType =
    "--filter selects among the instances of a non-singleton type; give the type without "
    "instance id: ";

constexpr const char* kUserSource = "user";
constexpr const char* kVitalSource = "vital";
constexpr const char* kCachedSource = "cached";
constexpr const char* kAllSources = "all";
constexpr const char* kIfRevisionHelp =
    "Write only if the object's stored revision is this (-1: only if nothing is stored); "
    "a conflict exits 5";
constexpr const char* kIfRevisionSources = "--if-revision writes the user source or all";
constexpr const char* kIfRevisionFilter = "--if-revision names one object, not a filter";
constexpr int kUnconditional = -2;

struct WriteArgs {
  std::string id;
  std::string json;
  std::string source = kUserSource;
  std::string context = kUserContext;
  std::string filter;
  int ifRevision = kUnconditional;
};

bool Conditional(const WriteArgs& args) { return args.ifRevision != kUnconditional; }

int RunSet(const WriteArgs& args) {
  const auto id = ParseIdentifier(args.id);
  const auto object = BuildObject(id, ReadJsonObjectArgument(args.json));
  const auto context = ToContext(args.context);
  auto store = OpenStore();
  if (Conditional(args)) {
    if (args.source != kUserSource && args.source != kAllSources) {
      throw UsageError(kIfRevisionSources);
    }
    if (args.source == kAllSources) {
      OrinConfigStore::SetIfRevision(store, object, context, args.ifRevision);
    } else {
      OrinConfigStore::SetUserDataIfRevision(store, object, context, args.ifRevision);
    }
  } else if (args.source == kVitalSource) {
    store->SetVitalData(object);
  } else if (args.source == kCachedSource) {
    store->SetCachedData(object);
  } else if (args.source == kAllSources) {
    store->Set(object, context);
  } else {
    store->SetUserData(object, context);
  }
  return kSuccess;
}

int RunUpdate(const WriteArgs& args) {
  const auto id = ParseIdentifier(args.id);
  const auto object = BuildObject(id, ReadJsonObjectArgument(args.json));
  auto store = OpenStore();
  if (Conditional(args)) {
    OrinConfigStore::UpdateIfRevision(store, object, ToContext(args.context), args.ifRevision);
  } else {
    store->Update(object, ToContext(args.context));
  }
  return kSuccess;
}

int RunDelete(const WriteArgs& args) {
  const auto id = ParseIdentifier(args.id);
  if (Conditional(args)) {
    if (!args.filter.empty()) throw UsageError(kIfRevisionFilter);
    auto store = OpenStore();
    OrinConfigStore::DeleteIfRevision(store, id, args.ifRevision);
    return kSuccess;
  }
  if (SchemaCatalog().NamesAllInstances(id)) {
    const std::string filter =
        args.filter.empty() ? std::string() : ReadJsonObjectArgument(args.filter);
    OpenStore()->DeleteInstances(BuildFilter(id, filter));
    return kSuccess;
  }
  if (!args.filter.empty()) throw UsageError(kFilterNeedsType + args.id);
  OpenStore()->Delete(id);
  return kSuccess;
}

int RunValidate(const Tool& tool, const WriteArgs& args) {
  const auto id = ParseIdentifier(args.id);
  const auto errors = OpenStore()->Validate(BuildObject(id, ReadJsonObjectArgument(args.json)));
  JDoc list;
  list.SetArray();
  for (const OrinConfigStore::ErrorInfo& error : errors) {
    JVal entry(rapidjson::kObjectType);
    entry.AddMember("field", JVal(error.field.c_str(), list.GetAllocator()), list.GetAllocator());
    entry.AddMember("error", JVal(error.error.c_str(), list.GetAllocator()), list.GetAllocator());
    list.PushBack(entry, list.GetAllocator());
  }
  tool.Printer().Print(list);
  return errors.empty() ? kSuccess : kInvalid;
}

void AddIfRevisionOption(CLI::App* command, int& revision) {
  command->add_option("--if-revision", revision, kIfRevisionHelp)
      ->check(CLI::Range(-1, std::numeric_limits<int>::max()));
}

CLI::App* AddObjectCommand(CLI::App& app, const char* name, const char* help, WriteArgs& args) {
  CLI::App* command = app.add_subcommand(name, help);
  AddIdArgument(command, args.id, kIdHelp);
  command->add_option("JSON", args.json, kJsonHelp)->required();
  return command;
}

}  // namespace

void AddWriteCommands(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<WriteArgs>();

  CLI::App* set = AddObjectCommand(app, "set", kSetHelp, *args);
  set->add_option("--source", args->source, kSourceHelp)
      ->check(CLI::IsMember({kUserSource, kVitalSource, kCachedSource, kAllSources}))
      ->capture_default_str();
  AddContextOption(set, args->context);
  AddIfRevisionOption(set, args->ifRevision);
  OnSelected(set, tool, [args] { return RunSet(*args); });

  CLI::App* update = AddObjectCommand(app, "update", kUpdateHelp, *args);
  AddContextOption(update, args->context);
  AddIfRevisionOption(update, args->ifRevision);
  OnSelected(update, tool, [args] { return RunUpdate(*args); });

  CLI::App* remove = app.add_subcommand("delete", kDeleteHelp);
  AddIdArgument(remove, args->id, kIdHelp);
  remove->add_option("--filter", args->filter, kFilterHelp);
  AddIfRevisionOption(remove, args->ifRevision);
  OnSelected(remove, tool, [args] { return RunDelete(*args); });

  CLI::App* validate = AddObjectCommand(app, "validate", kValidateHelp, *args);
  OnSelected(validate, tool, [&tool, args] { return RunValidate(tool, *args); });
}

}  // namespace cfgstore
