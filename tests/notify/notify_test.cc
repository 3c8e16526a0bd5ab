// Change notifications to the host agent: the switch, the allowlist and its
// once-per-process reading, the exact request sent, and the failures that are
// logged instead of reaching the caller. The agent's real socket is tested
// with the tool that listens on it (cfgstore watch).
//
// A process keeps the first allowlist it reads, so every scenario that reads
// one runs in a child process: each starts unread, whatever ran before it.

#include "notify/notify.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "configstore/config_store.h"
#include "database_root.h"
#include "platform/host.h"
#include "platform/socket_calls.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic0");
const ConfigStoreObjectId kResolver("resolver", "dns", "net");
// Of the sample types, only the network interfaces (by their group) and the
// hardware platform (by its name) are listed.
constexpr const char* kAllowlist = R"(["net.interfaces.*", "orin.kernix", "orin.*.options",
                                       "net.dns.resolve", "orin.hardware.platform"])";

// The request announcing a change of the type `name` from this process.
std::string ExpectedRequest(const std::string& name) {
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

using LogLines = std::vector<std::pair<int, std::string>>;

// Runs `steps` in a child process. The test fails when they throw, or when
// the child's log (without the priority 0 lines of the exceptions it made)
// or the requests it sent (named by their type) are not those expected.
void InChild(const std::function<void()>& steps, const LogLines& expectedLog,
             const std::vector<std::string>& expectedTypes,
             int (*connect)(int, const sockaddr*, socklen_t) = Reach) {
  const pid_t child = fork();
  if (child == 0) {
    int status = 2;
    try {
      HostSocketCalls().connect = connect;
      HostSocketCalls().write = Record;
      cstest::LogCapture log;
      steps();
      LogLines lines;
      for (const auto& line : log.Lines()) {
        if (line.first != 0) lines.push_back(line);
      }
      std::vector<std::string> expectedRequests;
      for (const auto& type : expectedTypes) expectedRequests.push_back(ExpectedRequest(type));
      status = lines == expectedLog && sent == expectedRequests ? 0 : 1;
      for (const auto& [priority, line] : status == 0 ? LogLines() : lines) {
        std::fprintf(stderr, "child logged: %d %s\n", priority, line.c_str());
      }
      for (const auto& request : status == 0 ? std::vector<std::string>() : sent) {
        std::fprintf(stderr, "child sent: %s\n", request.c_str());
      }
    } catch (...) {
    }
    _exit(status);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
}

// A scratch host root with its database; the switch is on.
class NotifyTest : public ::testing::Test {
 protected:
  NotifyTest() { SetKeyValue("NOTIFY_WARDEN", "true"); }
  void WriteAllowlist(const std::string& json) const {
    root_.WriteFile(std::string(kNotifyAllowlistFile).substr(1), json);
  }

  cstest::DatabaseRoot root_;
  const std::string allowlistPath_ = HostPath(kNotifyAllowlistFile);
};

TEST(WardenSwitch, OnlyTheTextTrueTurnsItOn) {
  {
    cstest::TempRoot withoutDatabase;
    EXPECT_FALSE(IsWardenNotificationEnabled());
  }
  cstest::DatabaseRoot db;
  EXPECT_FALSE(IsWardenNotificationEnabled());
  for (const char* value : {"TRUE", "1", "true "}) {
    SetKeyValue("NOTIFY_WARDEN", value);
    EXPECT_FALSE(IsWardenNotificationEnabled()) << value;
  }
  SetKeyValue("NOTIFY_WARDEN", "true");
  EXPECT_TRUE(IsWardenNotificationEnabled());
}

TEST_F(NotifyTest, SwitchedOffNothingIsReadOrSent) {
  SetKeyValue("NOTIFY_WARDEN", "false");
  cstest::LogCapture log;
  NotifyIfAllowlisted(kNic);  // neither a missing allowlist nor a missing agent is noticed
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(NotifyTest, AllowlistedTypesAreAnnouncedWithoutTheirInstanceId) {
  WriteAllowlist(kAllowlist);
  InChild(
      [] {
        NotifyIfAllowlisted(kNic);
        NotifyIfAllowlisted(kResolver);
        NotifyIfAllowlisted(ConfigStoreObjectId("options", "kernix", "orin"));
        NotifyIfAllowlisted(ConfigStoreObjectId("platform", "hardware", "orin"));
      },
      {}, {"net.interfaces.nics", "orin.hardware.platform"});
  InChild([] { NotifyIfAllowlisted(kNic); },
          {{2,
            "Error while sending notification for config object 'net.interfaces.nics' to "
            "Warden: Failed to connect socket: Connection refused"}},
          {}, Refuse);
}

TEST_F(NotifyTest, AllowlistFileProblems) {
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Notification allowlist " + allowlistPath_ + " missing.", ReadNotifyAllowlist());
  WriteAllowlist(R"(["net.dns.resolver")");
  EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file " + allowlistPath_,
                  ReadNotifyAllowlist());
  for (const char* wrongShape : {R"({"net.dns.resolver": true})", R"(["net.dns.resolver", 1])"}) {
    WriteAllowlist(wrongShape);
    EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", ReadNotifyAllowlist());
  }
  WriteAllowlist(R"(["net.dns.resolver", "net.interfaces.*"])");
  EXPECT_EQ(ReadNotifyAllowlist(),
            (std::unordered_set<std::string>{"net.dns.resolver", "net.interfaces.*"}));
}

// A failed read is logged on every attempt and tried again; after the first
// success the file is never read again.
TEST_F(NotifyTest, TheAllowlistIsReadUntilItsFirstSuccessThenKept) {
  const std::string missing = "Failed to read notify list: Notification allowlist " +
                              allowlistPath_ + " missing.. Defaulting to empty list.";
  InChild(
      [this] {
        NotifyIfAllowlisted(kResolver);
        NotifyIfAllowlisted(kResolver);
        WriteAllowlist(R"(["net.dns.resolver"])");
        NotifyIfAllowlisted(kResolver);
        WriteAllowlist("[]");
        NotifyIfAllowlisted(kResolver);
      },
      {{1, missing}, {1, missing}}, {"net.dns.resolver", "net.dns.resolver"});
}

}  // namespace
}  // namespace OrinConfigStore
