// The local socket client: the address it builds, one socket per connection,
// and the exact texts of its failures, with faults injected through the
// socket calls.

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
struct Recorded {
  int sockets = 0, closes = 0;
  std::string path;
  socklen_t length = 0;
};
Recorded recorded;

int CountingSocket(int domain, int type, int protocol) {
  ++recorded.sockets;
  return ::socket(domain, type, protocol);
}
int CountingClose(int fd) {
  ++recorded.closes;
  return ::close(fd);
}
int FailingClose(int fd) {
  CountingClose(fd);
  errno = EIO;
  return -1;
}
int AcceptingConnect(int, const sockaddr* address, socklen_t length) {
  recorded.path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
  recorded.length = length;
  return 0;
}
int FailingSocket(int, int, int) {
  errno = EMFILE;
  return -1;
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

// Real sockets, counted; connects succeed without a peer unless a test puts
// the real call back. The calls in use before are restored afterwards.
class UdsClientTest : public ::testing::Test {
 protected:
  UdsClientTest() {
    recorded = Recorded();
    HostSocketCalls() =
        SocketCalls{CountingSocket, AcceptingConnect, SystemSocketCalls().write, CountingClose};
  }
  ~UdsClientTest() override { HostSocketCalls() = saved_; }

  SocketCalls saved_ = HostSocketCalls();
};

// One byte of the address is kept for the terminating zero.
TEST_F(UdsClientTest, AnEndpointOfUpTo107CharactersIsAPlainPathAddress) {
  const std::string endpoint(107, 'e');
  UdsClient(endpoint).Connect();
  EXPECT_EQ(recorded.path, endpoint);
  EXPECT_EQ(recorded.length, sizeof(sa_family_t) + endpoint.size());
  UdsClient tooLong(endpoint + "e");
  EXPECT_EQ(RuntimeError([&] { tooLong.Connect(); }), "Endpoint address too long.");
}

TEST_F(UdsClientTest, OneSocketPerConnection) {
  {
    UdsClient client("agent");
    EXPECT_EQ(RuntimeError([&] { client.Send("x"); }), "Not connected to an endpoint.");
    client.Connect();
    client.Connect();
    client.Disconnect();
    client.Disconnect();
    client.Connect();
  }  // the destructor disconnects
  EXPECT_EQ(recorded.sockets, 2);
  EXPECT_EQ(recorded.closes, 2);

  // A connect that fails closes its socket; the client can try again.
  HostSocketCalls().connect = ::connect;
  cstest::TempRoot scratch;
  UdsClient client(scratch.Path() + "/no-agent-here");
  const std::string expected = "Failed to connect socket: No such file or directory";
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }), expected);
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }), expected);
  EXPECT_EQ(recorded.sockets, 4);
  EXPECT_EQ(recorded.closes, 4);

  // A close that fails is logged, and the socket forgotten all the same.
  HostSocketCalls().connect = AcceptingConnect;
  HostSocketCalls().close = FailingClose;
  cstest::LogCapture log;
  client.Connect();
  client.Disconnect();
  client.Disconnect();
  EXPECT_EQ(recorded.closes, 5);
  EXPECT_TRUE(log.Contains(0, "Failed to close socket: Input/output error"));
}

// A peer that hung up must cost the writer an error, not its life: the
// default action of SIGPIPE would end the test process here.
TEST_F(UdsClientTest, FailuresReportTheirCause) {
  HostSocketCalls().socket = HungUpPeer;
  UdsClient client("agent");
  client.Connect();
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }), "Failed to send data: Broken pipe");
  HostSocketCalls().write = HalfWrite;  // one write, no retry
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }),
            "Partial write: 5B written, expected 10B.");
  client.Disconnect();
  HostSocketCalls().socket = FailingSocket;
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }),
            "Failed to create socket: Too many open files");
}

}  // namespace
}  // namespace OrinConfigStore
