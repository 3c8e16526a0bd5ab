// Change notifications to the host agent: the switch, the allowlist and its
// once-per-process reading, the exact request on the agent's socket, and the
// failures that are logged instead of reaching the caller.
//
// A process keeps the first allowlist it reads, so every scenario that reads
// one runs in a child process: each starts unread, whatever ran before it.

#include "notify/notify.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "configstore/config_store.h"
#include "database_root.h"
#include "platform/host.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNic("nics", "interfaces", "net", "nic0");
const ConfigStoreObjectId kResolver("resolver", "dns", "net");
// Of the sample types, only the network interfaces (by their group) and the
// hardware platform (by its name) are listed.
constexpr const char* kAllowlist = R"(["net.interfaces.*", "orin.kernix", "orin.*.options",
                                       "net.dns.resolve", "orin.hardware.platform"])";

std::string ExpectedRequest(const std::string& name, pid_t sender) {
  const std::string body =
      R"({"method":"invoke","id":"9","params":{"serviceId":"com.tessel.configstore.notifier",)"
      R"("operationId":"notify","input":{"STRUCTURE":{"operation-input":{"identifiers":[")" +
      name + R"("],"cohort_id":)" + std::to_string(sender) +
      R"(}}},"ctx":{"securityCtx":{"schemeId":"com.tessel.security.scheme.noauth"}}},)"
      R"("jsonrpc":"2.0"})";
  return "POST /api HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nContent-Type: application/json\r\n\r\n" + body;
}

// The agent's socket in the working directory.
class AgentListener {
 public:
  AgentListener() : fd_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kWardenEndpoint);
    EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(fd_, 8), 0);
  }
  ~AgentListener() {
    close(fd_);
    unlink(kWardenEndpoint);
  }
  AgentListener(const AgentListener&) = delete;
  AgentListener& operator=(const AgentListener&) = delete;

  // What each pending connection carried, read until the client closed.
  std::vector<std::string> Requests() const {
    std::vector<std::string> requests;
    pollfd pending{fd_, POLLIN, 0};
    while (poll(&pending, 1, 0) == 1) {
      const int connection = accept(fd_, nullptr, nullptr);
      std::string text;
      char buffer[4096];
      for (ssize_t n; (n = read(connection, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(n));
      }
      requests.push_back(text);
      close(connection);
    }
    return requests;
  }

 private:
  int fd_;
};

using LogLines = std::vector<std::pair<int, std::string>>;

// Runs `steps` in a child process and returns its pid; the test fails when
// the steps throw or the child's log (without the priority 0 lines of the
// exceptions it made) differs from `expectedLog`. Steps must not use gtest
// assertions: the child's results are what it logs and sends.
pid_t InChild(const std::function<void()>& steps, const LogLines& expectedLog) {
  const pid_t child = fork();
  if (child == 0) {
    int status = 2;
    try {
      cstest::LogCapture log;
      steps();
      LogLines lines;
      for (const auto& line : log.Lines()) {
        if (line.first != 0) lines.push_back(line);
      }
      status = lines == expectedLog ? 0 : 1;
      for (const auto& [priority, line] : status == 0 ? LogLines() : lines) {
        std::fprintf(stderr, "child's log: %d %s\n", priority, line.c_str());
      }
    } catch (...) {
    }
    _exit(status);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  return child;
}

// A scratch host root with its database, which is also the working
// directory, where the agent's socket lives; the switch is on.
class NotifyTest : public ::testing::Test {
 protected:
  NotifyTest() : previousDirectory_(std::filesystem::current_path()) {
    std::filesystem::current_path(root_.Path());
    SetKeyValue("NOTIFY_WARDEN", "true");
  }
  ~NotifyTest() override { std::filesystem::current_path(previousDirectory_); }

  void WriteAllowlist(const std::string& json) const {
    root_.WriteFile(std::string(kNotifyAllowlistFile).substr(1), json);
  }

  cstest::DatabaseRoot root_;
  std::filesystem::path previousDirectory_;
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
  InChild([] { NotifyIfAllowlisted(kNic); },  // no agent: logged, never thrown
          {{2,
            "Error while sending notification for config object 'net.interfaces.nics' to "
            "Warden: Failed to connect socket: No such file or directory"}});
  AgentListener agent;
  const pid_t child = InChild(
      [] {
        NotifyIfAllowlisted(kNic);
        NotifyIfAllowlisted(kResolver);
        NotifyIfAllowlisted(ConfigStoreObjectId("options", "kernix", "orin"));
        NotifyIfAllowlisted(ConfigStoreObjectId("platform", "hardware", "orin"));
      },
      {});
  EXPECT_EQ(agent.Requests(),
            (std::vector<std::string>{ExpectedRequest("net.interfaces.nics", child),
                                      ExpectedRequest("orin.hardware.platform", child)}));
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
  AgentListener agent;
  const std::string missing = "Failed to read notify list: Notification allowlist " +
                              allowlistPath_ + " missing.. Defaulting to empty list.";
  const pid_t child = InChild(
      [this] {
        NotifyIfAllowlisted(kResolver);
        NotifyIfAllowlisted(kResolver);
        WriteAllowlist(R"(["net.dns.resolver"])");
        NotifyIfAllowlisted(kResolver);
        WriteAllowlist("[]");
        NotifyIfAllowlisted(kResolver);
      },
      {{1, missing}, {1, missing}});
  EXPECT_EQ(agent.Requests(),
            std::vector<std::string>(2, ExpectedRequest("net.dns.resolver", child)));
}

}  // namespace
}  // namespace OrinConfigStore
