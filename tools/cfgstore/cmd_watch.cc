// watch: a stand-in for the host agent. Listens on the agent's socket in the
// working directory and prints the JSON body of each change notification,
// one per line, as it arrives.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <limits>
#include <memory>
#include <string>

#include "agent_socket.h"
#include "stop_signal.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kWatchHelp =
    "Listen on the agent's socket in the working directory and print each notification's body";
constexpr const char* kCountHelp = "Exit after this many notifications";
constexpr const char* kMalformed = "Malformed notification request ignored";
constexpr const char* kNotJson = "Notification body is not JSON: ";

struct WatchArgs {
  int count = 0;  // 0: until stopped
};

// Prints the body on one line, whatever --pretty says, so that each line is
// one notification. False when the body is not JSON.
bool PrintBody(const std::string& body) {
  OrinConfigStore::JDoc document;
  if (OrinConfigStore::ParseJsonText(document, body.c_str(), body.size()).IsError()) return false;
  JsonPrinter(false).Print(document);
  return true;
}

// Serves one writer; true when it delivered a notification.
bool ServeWriter(const AgentSocket& socket, int stopFd) {
  std::string body;
  bool empty = false;
  if (!socket.ReceiveRequest(stopFd, &body, &empty)) {
    if (!empty) ReportError(OrinConfigStore::CS_ERR_INVALID_ARGUMENT, kMalformed);
    return false;
  }
  if (PrintBody(body)) return true;
  ReportError(OrinConfigStore::CS_ERR_JSON_PARSE_STRING, kNotJson + body);
  return false;
}

int RunWatch(const WatchArgs& args) {
  const StopSignal stop;
  const AgentSocket socket(kAgentSocketName);
  for (int received = 0; args.count == 0 || received < args.count;) {
    if (!socket.WaitForWriter(stop.Fd())) break;
    if (ServeWriter(socket, stop.Fd())) ++received;
  }
  return kSuccess;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Tool& tool) {
  auto args = std::make_shared<WatchArgs>();
  CLI::App* watch = app.add_subcommand("watch", kWatchHelp);
  watch->add_option("--count", args->count, kCountHelp)
      ->check(CLI::Range(1, std::numeric_limits<int>::max()));
  OnSelected(watch, tool, [args] { return RunWatch(*args); });
}

}  // namespace cfgstore
