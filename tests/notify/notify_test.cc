// Change notifications to the host agent: the switch, the allowlist and its
// once-per-process reading, the exact request sent, and failures that never
// reach the caller (their log lines are diagnostics); and the local socket
// client beneath, with faults injected through the socket calls. The agent's
// real socket is tested with the tool that listens on it (cfgstore watch).

#include "notify/notify.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "database_root.h"
#include "notify/uds_client.h"
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
int Refuse(int, const sockaddr*, socklen_t) {
  errno = ECONNREFUSED;
  return -1;
}
ssize_t Record(int, const void* data, std::size_t size) {
  sent.emplace_back(static_cast<const char*>(data), size);
  return static_cast<ssize_t>(size);
}

// For the socket client: closes counted, the address connected to, a
// connected socket whose peer has hung up already, and a write that comes
// up short.
int closes = 0;
std::string path;
int CountingClose(int fd) {
  ++closes;
  return ::close(fd);
}
int AcceptingConnect(int, const sockaddr* address, socklen_t length) {
  path.assign(reinterpret_cast<const sockaddr_un*>(address)->sun_path,
              length - sizeof(sa_family_t));
  return 0;
}
int HungUpPeer(int, int, int) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return -1;
  ::close(ends[1]);
  return ends[0];
}
ssize_t HalfWrite(int, const void*, std::size_t count) { return static_cast<ssize_t>(count / 2); }

// The text of the std::runtime_error that `statement` throws.
template <typename F>
std::string RuntimeError(F&& statement) {
  try {
    statement();
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "no error";
}

// A scratch host root with its database; the switch is on, the agent fake.
class NotifyTest : public ::testing::Test {
 protected:
  NotifyTest() {
    SetKeyValue("NOTIFY_WARDEN", "true");
    sent.clear();
    HostSocketCalls().connect = [](int, const sockaddr*, socklen_t) { return 0; };
    HostSocketCalls().write = Record;
  }
  ~NotifyTest() override { HostSocketCalls() = SystemSocketCalls(); }
  void WriteAllowlist(const std::string& json) const {
    root_.WriteFile(std::string(kNotifyAllowlistFile).substr(1), json);
  }

  cstest::DatabaseRoot root_;
};

// The only test that reads the allowlist: the process keeps the first list
// it reads. A missing or malformed list is tried again on the next change;
// only the text "true" turns the switch on; the instance id is left out; a
// refused connection reaches no one.
TEST_F(NotifyTest, AllowlistedTypesAreAnnouncedWithoutTheirInstanceId) {
  NotifyIfAllowlisted(kNic);
  WriteAllowlist(R"(["net.interfaces.*", 1])");
  NotifyIfAllowlisted(kNic);
  WriteAllowlist(R"(["net.interfaces.*", "orin.kernix", "orin.*.options", "net.dns.resolve",
                    "orin.hardware.platform"])");
  SetKeyValue("NOTIFY_WARDEN", "TRUE");
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

// A connect that fails closes its socket; a peer that hung up must cost the
// writer an error, not its life: the default action of SIGPIPE would end the
// test process here.
TEST_F(NotifyTest, SocketClientFailuresReportTheirCauseAndLeakNoSocket) {
  HostSocketCalls() = SystemSocketCalls();
  HostSocketCalls().close = CountingClose;
  const std::string endpoint = root_.Path() + "/no-agent-here";
  UdsClient client(endpoint, kNotificationBudget);
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }),
            "Failed to connect socket: No such file or directory");
  EXPECT_EQ(closes, 1);
  HostSocketCalls().connect = AcceptingConnect;
  HostSocketCalls().socket = HungUpPeer;
  client.Connect();
  EXPECT_EQ(path, endpoint);
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }), "Failed to send data: Broken pipe");
  HostSocketCalls().write = HalfWrite;  // one write, no retry
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }),
            "Partial write: 5B written, expected 10B.");
}

// An agent that listens but never accepts: once its backlog is full, a
// blocking connect would wait for ever, and every later write with it. Each
// notification gives up within its budget instead (the alarm turns a hang
// into a failure), and says why in the log.
TEST_F(NotifyTest, AnAgentThatNeverAcceptsHoldsNoWriteUp) {
  HostSocketCalls() = SystemSocketCalls();
  WriteAllowlist(R"(["net.interfaces.*"])");
  const std::string cwd = std::filesystem::current_path();
  std::filesystem::current_path(root_.Path());
  const int agent = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, kWardenEndpoint);
  ASSERT_EQ(::bind(agent, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  ASSERT_EQ(::listen(agent, 1), 0);
  cstest::LogCapture log;
  alarm(30);
  for (int i = 0; i < 4; ++i) NotifyIfAllowlisted(kNic);
  NotifyIfAllowlisted(std::vector<ConfigStoreObjectId>(8, kNic));
  alarm(0);
  std::filesystem::current_path(cwd);
  ::close(agent);
  const std::string timedOut =
      "Error while sending notification for config object "
      "'net.interfaces.nics' to Warden: Failed to connect socket: "
      "timed out after 250 ms";
  EXPECT_TRUE(log.Contains(2, timedOut));
  EXPECT_TRUE(log.Contains(
      2, "The agent took too long; notifications from " + kNic.toString() + " on are dropped"));
}

}  // namespace
}  // namespace OrinConfigStore
