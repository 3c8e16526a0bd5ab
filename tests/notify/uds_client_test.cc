// The local socket client: the address it builds, and its failures, with
// faults injected through the socket calls.

#include "notify/uds_client.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>

#include "platform/socket_calls.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

// What the fake calls saw; reset by the fixture.
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
// A connected socket whose peer has hung up already.
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

// Real sockets, their closes counted.
class UdsClientTest : public ::testing::Test {
 protected:
  UdsClientTest() {
    closes = 0;
    HostSocketCalls().close = CountingClose;
  }
  ~UdsClientTest() override { HostSocketCalls() = SystemSocketCalls(); }
};

// The endpoint is the address's path. A connect that fails closes its
// socket; a peer that hung up must cost the writer an error, not its life:
// the default action of SIGPIPE would end the test process here.
TEST_F(UdsClientTest, FailuresReportTheirCauseAndLeakNoSocket) {
  cstest::TempRoot scratch;
  const std::string endpoint = scratch.Path() + "/no-agent-here";
  UdsClient client(endpoint);
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

}  // namespace
}  // namespace OrinConfigStore
