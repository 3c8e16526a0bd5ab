// history: the recorded changes of an object, or every change after a
// sequence number, optionally followed as they happen.

#include <poll.h>

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "identifier.h"
#include "stop_signal.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::HistoryRecord;
using OrinConfigStore::HistoryValue;
using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kHistoryHelp =
    "Print an object's recorded changes (newest first), or with --since every change after a "
    "sequence number (oldest first)";
constexpr const char* kIdHelp = "component/group/key[/instance-id]; a type: every instance";
constexpr const char* kLimitHelp = "At most this many records";
constexpr const char* kSinceHelp = "Every change after this sequence number";
constexpr const char* kFollowHelp = "With --since: go on printing changes, one per line";
constexpr const char* kIdOrSince = "history needs an ID or --since";
constexpr const char* kFollowNeedsSince = "--follow needs --since";
// How often --follow looks for new records.
constexpr int kFollowPollMs = 200;

struct HistoryArgs {
  std::string id;
  int limit = 0;
  long long since = -1;
  bool follow = false;
};

// A column's JSON text as a value; null for no value.
JVal ValueOf(const std::optional<std::string>& text, JAllocator& allocator) {
  return text ? ParseValue(*text, allocator) : JVal();
}

JVal Text(const std::string& text, JAllocator& allocator) {
  return JVal(text.c_str(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

JVal ChangeOf(const HistoryValue& change, JAllocator& allocator) {
  JVal entry(rapidjson::kObjectType);
  JVal before = ValueOf(change.before, allocator);
  JVal after = ValueOf(change.after, allocator);
  const auto patch = OrinConfigStore::JsonPatch(before, after);
  entry.AddMember("source", Text(change.source, allocator), allocator);
  entry.AddMember("patch", JVal(patch->GetDocument(), allocator), allocator);
  entry.AddMember("old", before, allocator);
  entry.AddMember("new", after, allocator);
  return entry;
}

JVal RecordOf(const HistoryRecord& record, JAllocator& allocator) {
  JVal entry(rapidjson::kObjectType);
  entry.AddMember("sequence", JVal(static_cast<int64_t>(record.sequence)), allocator);
  entry.AddMember("time", Text(record.time, allocator), allocator);
  entry.AddMember("id", Text(FormatIdentifier(record.id), allocator), allocator);
  entry.AddMember("change", Text(record.change, allocator), allocator);
  entry.AddMember("revision", JVal(record.revision), allocator);
  JVal changes(rapidjson::kArrayType);
  for (const HistoryValue& change : record.changes) {
    changes.PushBack(ChangeOf(change, allocator), allocator);
  }
  entry.AddMember("changes", changes, allocator);
  return entry;
}

void PrintRecords(const Tool& tool, const std::vector<HistoryRecord>& records) {
  JDoc list;
  list.SetArray();
  for (const HistoryRecord& record : records) {
    list.PushBack(RecordOf(record, list.GetAllocator()), list.GetAllocator());
  }
  tool.Printer().Print(list);
}

// Prints each new record on its own line until stopped.
int Follow(long long since) {
  const StopSignal stop;
  pollfd stopRequest{stop.Fd(), POLLIN, 0};
  for (;;) {
    for (const HistoryRecord& record : OrinConfigStore::GetHistorySince(since)) {
      JDoc line;
      line.CopyFrom(RecordOf(record, line.GetAllocator()), line.GetAllocator());
      JsonPrinter(false).Print(line);
      since = record.sequence;
    }
    if (::poll(&stopRequest, 1, kFollowPollMs) != 0) return kSuccess;
  }
}

int RunHistory(const Tool& tool, const HistoryArgs& args) {
  if (args.id.empty() == (args.since < 0)) throw UsageError(kIdOrSince);
  if (args.follow && args.since < 0) throw UsageError(kFollowNeedsSince);
  if (args.since >= 0) {
    if (args.follow) return Follow(args.since);
    PrintRecords(tool, OrinConfigStore::GetHistorySince(args.since, args.limit));
    return kSuccess;
  }
  PrintRecords(tool, OrinConfigStore::GetHistory(ParseIdentifier(args.id), args.limit));
  return kSuccess;
}

}  // namespace

void AddHistoryCommand(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<HistoryArgs>();
  CLI::App* history = app.add_subcommand("history", kHistoryHelp);
  history->add_option("ID", args->id, kIdHelp);
  history->add_option("--limit", args->limit, kLimitHelp)
      ->check(CLI::Range(1, std::numeric_limits<int>::max()));
  history->add_option("--since", args->since, kSinceHelp)
      ->check(CLI::Range(0LL, std::numeric_limits<long long>::max()));
  history->add_flag("--follow", args->follow, kFollowHelp);
  OnSelected(history, tool, [&tool, args] { return RunHistory(tool, *args); });
}

}  // namespace cfgstore
