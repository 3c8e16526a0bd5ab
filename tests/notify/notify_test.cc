// Change notifications to the host agent: the switch, the allowlist and its
// once-per-process reading, the exact request on the agent's socket, and
// the failures that are logged instead of reaching the caller.
//
// A process keeps the first allowlist it reads, so every notification runs
// in a forked child: each scenario starts unread, whatever ran before it.

#include "notify/notify.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
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

std::string ReadToEnd(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t count;
  while ((count = read(fd, buffer, sizeof(buffer))) > 0)
    text.append(buffer, static_cast<std::size_t>(count));
  return text;
}

// The agent's socket in the working directory, bound before a scenario runs.
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
      requests.push_back(ReadToEnd(connection));
      close(connection);
    }
    return requests;
  }

 private:
  int fd_;
};

// The outcome of a scenario run in a child process.
struct ChildRun {
  pid_t pid = -1;
  std::vector<std::pair<int, std::string>> lines;

  std::vector<std::string> LinesAt(int priority) const {
    std::vector<std::string> selected;
    for (const auto& [linePriority, line] : lines) {
      if (linePriority == priority) selected.push_back(line);
    }
    return selected;
  }
};

// Runs `steps` in a forked child and returns its pid and log lines; the test
// fails if the steps throw or the child dies. Steps must not use gtest
// assertions: the child's results are only what it logs and sends.
ChildRun InFreshProcess(const std::function<void()>& steps) {
  int channel[2];
  EXPECT_EQ(pipe(channel), 0);
  ChildRun run;
  run.pid = fork();
  if (run.pid < 0) {
    ADD_FAILURE() << "fork failed";
    return run;
  }
  if (run.pid == 0) {
    close(channel[0]);
    cstest::LogCapture log;
    int status = 0;
    try {
      steps();
    } catch (...) {
      status = 1;
    }
    std::string report;
    for (const auto& [priority, line] : log.Lines()) {
      report += std::to_string(priority) + ' ' + line + '\0';
    }
    const bool reported =
        write(channel[1], report.data(), report.size()) == static_cast<ssize_t>(report.size());
    _exit(reported ? status : 2);
  }
  close(channel[1]);
  const std::string report = ReadToEnd(channel[0]);
  close(channel[0]);
  int status = 0;
  EXPECT_EQ(waitpid(run.pid, &status, 0), run.pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  for (std::size_t start = 0, end; (end = report.find('\0', start)) != std::string::npos;
       start = end + 1) {
    const std::size_t space = report.find(' ', start);
    run.lines.emplace_back(std::stoi(report.substr(start, space - start)),
                           report.substr(space + 1, end - space - 1));
  }
  return run;
}

std::string AllowlistPath() { return HostPath(kNotifyAllowlistFile); }

std::string ReadFailure(const std::string& cause) {
  return "Failed to read notify list: " + cause + ". Defaulting to empty list.";
}

// A scratch host root with its database, which is also the working
// directory, where the agent's socket lives.
class NotifyTest : public ::testing::Test {
 protected:
  NotifyTest() : previousDirectory_(std::filesystem::current_path()) {
    std::filesystem::current_path(root_.Path());
  }
  ~NotifyTest() override { std::filesystem::current_path(previousDirectory_); }

  void WriteAllowlist(const std::string& json) const {
    root_.WriteFile(std::string(kNotifyAllowlistFile).substr(1), json);
  }

  cstest::DatabaseRoot root_;
  std::filesystem::path previousDirectory_;
};

TEST(WardenSwitch, IsOffWithoutADatabase) {
  cstest::TempRoot withoutDatabase;
  EXPECT_FALSE(IsWardenNotificationEnabled());
}

TEST_F(NotifyTest, SwitchOffSendsNothingAndLogsNothing) {
  WriteAllowlist(R"(["net.interfaces.nics"])");
  AgentListener agent;
  for (const char* value : {"", "TRUE", "1", "true "}) {
    if (*value != '\0') SetKeyValue("NOTIFY_WARDEN", value);
    EXPECT_TRUE(InFreshProcess([] { NotifyIfAllowlisted(kNic); }).lines.empty()) << value;
    EXPECT_TRUE(agent.Requests().empty()) << value;
  }
}

TEST_F(NotifyTest, AllowlistedTypeIsAnnouncedWithoutItsInstanceId) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  for (const char* allowlist :
       {R"(["net.dns.resolver", "net.interfaces.nics"])", R"(["net.interfaces.*"])"}) {
    WriteAllowlist(allowlist);
    AgentListener agent;
    const ChildRun run = InFreshProcess([] { NotifyIfAllowlisted(kNic); });
    EXPECT_EQ(agent.Requests(),
              std::vector<std::string>{ExpectedRequest("net.interfaces.nics", run.pid)})
        << allowlist;
    EXPECT_TRUE(run.lines.empty()) << allowlist;
  }
}

TEST_F(NotifyTest, OnlyWholeNamesAndGroupPatternsMatch) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  WriteAllowlist(R"(["net.*", "orin.kernix", "orin.*.options", "net.interfaces.nics.*",
                    "net.dns.resolve", "orin.hardware.*"])");
  AgentListener agent;
  const ChildRun run = InFreshProcess([] {
    NotifyIfAllowlisted(kResolver);
    NotifyIfAllowlisted(kNic);
    NotifyIfAllowlisted(ConfigStoreObjectId("options", "kernix", "orin"));
    NotifyIfAllowlisted(ConfigStoreObjectId("platform", "hardware", "orin"));
  });
  EXPECT_EQ(agent.Requests(),
            std::vector<std::string>{ExpectedRequest("orin.hardware.platform", run.pid)});
}

TEST_F(NotifyTest, UnreadableAllowlistIsLoggedOnEveryAttempt) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  AgentListener agent;
  const std::string path = AllowlistPath();
  for (const auto& [content, cause] : std::vector<std::pair<std::string, std::string>>{
           {"", "Notification allowlist " + path + " missing."},
           {R"(["net.dns.resolver")", "Failed to parse JSON file " + path},
           {R"({"net.dns.resolver": true})", "Invalid JSON"},
           {R"(["net.dns.resolver", 1])", "Invalid JSON"}}) {
    if (!content.empty()) WriteAllowlist(content);
    const ChildRun run = InFreshProcess([] {
      NotifyIfAllowlisted(kResolver);
      NotifyIfAllowlisted(kResolver);
    });
    EXPECT_EQ(run.LinesAt(1), std::vector<std::string>(2, ReadFailure(cause)));
    EXPECT_TRUE(agent.Requests().empty()) << cause;
  }
}

TEST_F(NotifyTest, AllowlistIsKeptOnceReadSuccessfully) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  AgentListener agent;
  const ChildRun run = InFreshProcess([this] {
    NotifyIfAllowlisted(kResolver);
    WriteAllowlist(R"(["net.dns.resolver"])");
    NotifyIfAllowlisted(kResolver);
    WriteAllowlist("[]");
    NotifyIfAllowlisted(kResolver);
    std::filesystem::remove(AllowlistPath());
    NotifyIfAllowlisted(kResolver);
  });
  EXPECT_EQ(run.LinesAt(1), std::vector<std::string>{ReadFailure("Notification allowlist " +
                                                                 AllowlistPath() + " missing.")});
  EXPECT_EQ(agent.Requests(),
            std::vector<std::string>(3, ExpectedRequest("net.dns.resolver", run.pid)));
}

// Writes announce their type once each, after the change stands; a refused
// write and a write of an unlisted type stay silent, and an unreachable
// agent never undoes or fails the write.
TEST_F(NotifyTest, StoreWritesAnnounceOnlyChangesThatStand) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  WriteAllowlist(R"(["net.interfaces.*"])");
  const auto writes = [] {
    const auto store = ConfigStore::GetStore("");
    store->SetUserData(CreateObject(kResolver, R"({"domain":"example.org"})"), EXTERNAL);
    const ConfigStoreObjectId nic1("nics", "interfaces", "net", "nic1");
    store->SetInstances({CreateObject(kNic, R"({"name":"nic0","mtu":9000})"),
                         CreateObject(nic1, R"({"name":"nic1"})")},
                        EXTERNAL);
    try {
      store->SetUserData(CreateObject(kNic, R"({"name":"nic0","mtu":"big"})"), EXTERNAL);
    } catch (const ValidationException&) {
    }
    store->Delete(kNic);
  };
  {
    AgentListener agent;
    const ChildRun run = InFreshProcess(writes);
    EXPECT_EQ(agent.Requests(),
              std::vector<std::string>(2, ExpectedRequest("net.interfaces.nics", run.pid)));
    EXPECT_TRUE(run.LinesAt(2).empty());
  }
  const ChildRun unreachable = InFreshProcess(writes);
  EXPECT_EQ(unreachable.LinesAt(2).size(), 2u);
  EXPECT_EQ(root_.Rows("SELECT Identifier FROM Config WHERE Name='nics';"),
            std::vector<std::string>{"Identifier=nic1"});
}

ssize_t TenByteWrite(int, const void*, std::size_t) { return 10; }

TEST_F(NotifyTest, DeliveryFailuresAreLoggedAndSwallowed) {
  SetKeyValue("NOTIFY_WARDEN", "true");
  WriteAllowlist(R"(["net.dns.resolver"])");
  const std::string prefix =
      "Error while sending notification for config object 'net.dns.resolver' to Warden: ";
  const ChildRun unreachable = InFreshProcess([] { NotifyIfAllowlisted(kResolver); });
  const std::string noAgent = "Failed to connect socket: No such file or directory";
  EXPECT_EQ(unreachable.LinesAt(2), std::vector<std::string>{prefix + noAgent});

  AgentListener agent;
  const ChildRun cutShort = InFreshProcess([] {
    HostSocketCalls().write = TenByteWrite;
    NotifyIfAllowlisted(kResolver);
  });
  const std::size_t length = ExpectedRequest("net.dns.resolver", cutShort.pid).size();
  EXPECT_EQ(cutShort.LinesAt(2),
            std::vector<std::string>{prefix + "Partial write: 10B written, expected " +
                                     std::to_string(length) + "B."});
  EXPECT_EQ(agent.Requests(), std::vector<std::string>{""});
}

}  // namespace
}  // namespace OrinConfigStore
