#include "notify.h"

#include <unistd.h>

#include <algorithm>
#include <boost/format.hpp>
#include <exception>
#include <memory>

#include "configstore/exceptions.h"
#include "configstore/json_doc.h"
#include "configstore/logger.h"
#include "platform/host.h"
#include "platform/switches.h"
#include "uds_client.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kSwitchKey = "NOTIFY_WARDEN";
constexpr const char* kSwitchOn = "true";

constexpr const char* kAllowlistMissing = "Notification allowlist ";
constexpr const char* kAllowlistMissingEnd = " missing.";
constexpr const char* kLogAllowlistFailed =
    "Failed to read notify list: %s. Defaulting to empty list.";
constexpr const char* kLogSendFailed =
    "Error while sending notification for config object '%s' to Warden: %s";

// The JSON-RPC call the agent expects, compact and in this member order. The
// service and security-scheme identifiers are the ones agreed with the
// agent. %1% is the object name, put in without escaping; %2% the sender's
// process id, a bare number.
constexpr const char* kBodyTemplate =
    R"({"method":"invoke","id":"9","params":{"serviceId":"com.tessel.configstore.notifier",)"
    R"("operationId":"notify","input":{"STRUCTURE":{"operation-input":{"identifiers":["%1%"],)"
    R"("cohort_id":%2%}}},"ctx":{"securityCtx":{"schemeId":"com.tessel.security.scheme.noauth"}}},)"
    R"("jsonrpc":"2.0"})";
// The request never leaves the host, so it carries no Host header.
constexpr const char* kRequestTemplate =
    "POST /api HTTP/1.1\r\nContent-Length: %1%\r\nContent-Type: application/json\r\n\r\n%2%";

constexpr const char* kPatternSuffix = ".*";
constexpr const char* kLogBudgetSpent =
    "The agent took too long; notifications from %s on are dropped";

std::string BuildRequest(const std::string& objectName) {
  const std::string body = (boost::format(kBodyTemplate) % objectName % getpid()).str();
  return (boost::format(kRequestTemplate) % body.size() % body).str();
}

// One connection per notification; the client closes it on leaving scope.
void SendToAgent(const std::string& objectName, std::chrono::milliseconds budget) {
  const std::string request = BuildRequest(objectName);
  try {
    UdsClient client(kWardenEndpoint, budget);
    client.Connect();
    client.Send(request);
  } catch (const std::exception& e) {
    CSLogger::Log(2, kLogSendFailed, objectName.c_str(), e.what());
  }
}

}  // namespace

// Notification never fails a write: a switch that cannot be read is off.
bool IsWardenNotificationEnabled() {
  std::string value;
  return ReadSwitch(kSwitchKey, value) && value == kSwitchOn;
}

bool IsWardenNotificationEnabled(const std::shared_ptr<DBStore::StoreConnection>& connection) {
  std::string value;
  return ReadSwitch(kSwitchKey, value, connection) && value == kSwitchOn;
}

std::unordered_set<std::string> ReadNotifyAllowlist() {
  const std::string path = HostPath(kNotifyAllowlistFile);
  if (!FileExists(path)) {
    throw ConfigStoreException(kAllowlistMissing + path + kAllowlistMissingEnd);
  }
  const std::shared_ptr<JsonDoc> document = CreateDocumentFromFile(path);
  const JDoc& entries = document->GetDocument();
  if (!entries.IsArray()) ThrowInvalidJson();
  std::unordered_set<std::string> allowlist;
  for (const JVal& entry : entries.GetArray()) {
    if (!entry.IsString()) ThrowInvalidJson();
    allowlist.emplace(entry.GetString(), entry.GetStringLength());
  }
  return allowlist;
}

// A read that throws leaves the static uninitialised, so the next caller
// tries the file again; after the first success the file is never re-read.
const std::unordered_set<std::string>& GetNotifyAllowlist() {
  static const std::unordered_set<std::string> allowlist = ReadNotifyAllowlist();
  return allowlist;
}

namespace {

// The notification of one change, the agent given `budget` at most.
void NotifyWithin(const ConfigStoreObjectId& id, std::chrono::milliseconds budget) {
  if (!IsWardenNotificationEnabled()) return;
  // The instance id is left out: the agent learns which type changed.
  const std::string groupName = id.component + "." + id.group;
  const std::string name = groupName + "." + id.key;
  const std::string groupPattern = groupName + kPatternSuffix;

  const std::unordered_set<std::string>* allowlist = nullptr;
  try {
    allowlist = &GetNotifyAllowlist();
  } catch (const ConfigStoreException& e) {
    CSLogger::Log(1, kLogAllowlistFailed, e.what());
    return;
  }
  // ".*" is a literal suffix of a group entry, not a regular expression.
  if (allowlist->count(name) != 0 || allowlist->count(groupPattern) != 0) {
    SendToAgent(name, budget);
  }
}

}  // namespace

void NotifyIfAllowlisted(const ConfigStoreObjectId& id) { NotifyWithin(id, kNotificationBudget); }

void NotifyIfAllowlisted(const std::vector<ConfigStoreObjectId>& ids) {
  const auto deadline = std::chrono::steady_clock::now() + kWriteNotificationBudget;
  for (const ConfigStoreObjectId& id : ids) {
    // Rounded up: the last notification runs to the write's deadline, and
    // the next one finds nothing left.
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      CSLogger::Log(2, kLogBudgetSpent, id.toString().c_str());
      return;
    }
    NotifyWithin(id, std::min(kNotificationBudget, left));
  }
}

}  // namespace OrinConfigStore
