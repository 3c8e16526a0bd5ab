#ifndef SRC_NOTIFY_NOTIFY_H_
#define SRC_NOTIFY_NOTIFY_H_

// Telling the host management agent that a configuration object changed:
// one HTTP POST carrying a JSON-RPC message over the agent's local socket,
// sent only when the key "NOTIFY_WARDEN" holds "true" and the object's type
// is on the notification allowlist. A notification never fails the store
// operation that caused it: every failure is logged and swallowed.

#include <chrono>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "configstore/object_id.h"

namespace DBStore {
class StoreConnection;
}

namespace OrinConfigStore {

// Where the allowlist lives (under the host root) and the agent's socket
// (relative, used as it stands).
constexpr const char* kNotifyAllowlistFile =
    "/usr/lib/tessel/configmanager/notify-list/allowlist.json";
constexpr const char* kWardenEndpoint = "tslLocalSocketWardenNotifyNexa";

// Whether the switch is on; read anew on every call.
bool IsWardenNotificationEnabled();
// The same, read on `connection` (in its open transaction, if any).
bool IsWardenNotificationEnabled(const std::shared_ptr<DBStore::StoreConnection>& connection);

// Reads and parses the allowlist file: an array of "component.group.key"
// names and "component.group.*" patterns. Throws ConfigStoreException 2000
// "Notification allowlist <path> missing.", InvalidArgumentException 1081,
// or ConfigStoreException 2000 "Invalid JSON" for the wrong shape.
std::unordered_set<std::string> ReadNotifyAllowlist();

// The allowlist, read once per process after the first successful read.
const std::unordered_set<std::string>& GetNotifyAllowlist();

// How long the agent may hold up one notification, and the notifications of
// one write together, whatever state it is in (missing, dead, never
// accepting, never reading): a write never waits longer for it.
constexpr std::chrono::milliseconds kNotificationBudget{250};
constexpr std::chrono::milliseconds kWriteNotificationBudget{1000};

// The whole notification for one changed object; reports nothing.
void NotifyIfAllowlisted(const ConfigStoreObjectId& id);
// The notifications of one write, in order; once kWriteNotificationBudget is
// spent the rest are dropped, which is logged.
void NotifyIfAllowlisted(const std::vector<ConfigStoreObjectId>& ids);

}  // namespace OrinConfigStore

#endif  // SRC_NOTIFY_NOTIFY_H_
