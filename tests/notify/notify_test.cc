// Change notifications to the host agent: the switch, the allowlist and its
// once-per-process reading, the exact request sent, and failures that never
// reach the caller (their log lines are diagnostics). The agent's real socket is tested with the
// tool that listens on it (cfgstore watch).

#include "notify/notify.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "database_root.h"
#include "platform/socket_calls.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic0");
const ConfigStoreObjectId kResolver("resolver", "dns", "net");

// The request announcing a change of the type `name` from this process.
std::string Request(const std::string& name) {
  const std::string body =
      R"({"method":"invoke","id":"9","params":{"serviceId":"com.tessel.configstore.notifier",)"
      R"("operationId":"notify","input":{"STRUCTURE":{"operation-input":{"identifiers":[")" +
      name + R"("],"cohort_id":)" + std::to_string(getpid()) +
      R"(}}},"ctx":{"securityCtx":{"schemeId":"com.tessel.security.scheme.noauth"}}},)"
      R"("jsonrpc":"2.0"})";
  return "POST /api HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nContent-Type: application/json\r\n\r\n" + body;
}

// The agent: it takes every connection, or refuses them, and every request
// is recorded as written.
std::vector<std::string> sent;
int Reach(int, const sockaddr*, socklen_t) { return 0; }
int Refuse(int, const sockaddr*, socklen_t) {
  errno = ECONNREFUSED;
  return -1;
}
ssize_t Record(int, const void* data, std::size_t size) {
  sent.emplace_back(static_cast<const char*>(data), size);
  return static_cast<ssize_t>(size);
}

// A scratch host root with its database; the switch is on, the agent fake.
class NotifyTest : public ::testing::Test {
 protected:
  NotifyTest() {
    SetKeyValue("NOTIFY_WARDEN", "true");
    sent.clear();
    HostSocketCalls().connect = Reach;
    HostSocketCalls().write = Record;
  }
  ~NotifyTest() override { HostSocketCalls() = SystemSocketCalls(); }
  void WriteAllowlist(const std::string& json) const {
    root_.WriteFile(std::string(kNotifyAllowlistFile).substr(1), json);
  }

  cstest::DatabaseRoot root_;
};

TEST(WardenSwitch, OnlyTheTextTrueTurnsItOn) {
  {
    cstest::TempRoot withoutDatabase;
    EXPECT_FALSE(IsWardenNotificationEnabled());
  }
  cstest::DatabaseRoot db;
  EXPECT_FALSE(IsWardenNotificationEnabled());
  SetKeyValue("NOTIFY_WARDEN", "TRUE");
  EXPECT_FALSE(IsWardenNotificationEnabled());
  SetKeyValue("NOTIFY_WARDEN", "true");
  EXPECT_TRUE(IsWardenNotificationEnabled());
}

// The only test that reads the allowlist: the process keeps the first list
// it reads. A missing or malformed list is tried again on the next change;
// the instance id is left out; a refused connection reaches no one.
TEST_F(NotifyTest, AllowlistedTypesAreAnnouncedWithoutTheirInstanceId) {
  NotifyIfAllowlisted(kNic);
  WriteAllowlist(R"(["net.interfaces.*", 1])");
  NotifyIfAllowlisted(kNic);
  WriteAllowlist(R"(["net.interfaces.*", "orin.kernix", "orin.*.options", "net.dns.resolve",
                    "orin.hardware.platform"])");
  SetKeyValue("NOTIFY_WARDEN", "false");
  NotifyIfAllowlisted(kNic);
  SetKeyValue("NOTIFY_WARDEN", "true");
  NotifyIfAllowlisted(kNic);
  NotifyIfAllowlisted(kResolver);
  NotifyIfAllowlisted(ConfigStoreObjectId("options", "kernix", "orin"));
  NotifyIfAllowlisted(ConfigStoreObjectId("platform", "hardware", "orin"));
  WriteAllowlist("[]");
  NotifyIfAllowlisted(kNic);
  HostSocketCalls().connect = Refuse;
  NotifyIfAllowlisted(kNic);
  EXPECT_EQ(sent, (std::vector<std::string>{Request("net.interfaces.nics"),
                                            Request("orin.hardware.platform"),
                                            Request("net.interfaces.nics")}));
}

}  // namespace
}  // namespace OrinConfigStore
