// The local socket client: the address it builds, its two states, and the
// exact texts of its failures, with faults injected through the socket calls.

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
  int sockets = 0;
  int closes = 0;
  int connects = 0;
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

int AcceptingConnect(int, const sockaddr* address, socklen_t length) {
  ++recorded.connects;
  recorded.path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
  recorded.length = length;
  return 0;
}

int FailingSocket(int, int, int) {
  errno = EMFILE;
  return -1;
}

int FailingClose(int fd) {
  CountingClose(fd);
  errno = EIO;
  return -1;
}

ssize_t BrokenWrite(int, const void*, std::size_t) {
  errno = EPIPE;
  return -1;
}

ssize_t HalfWrite(int, const void*, std::size_t count) { return static_cast<ssize_t>(count / 2); }

// Installs a table of socket calls for a scope and puts the previous back.
class ScopedSocketCalls {
 public:
  explicit ScopedSocketCalls(const SocketCalls& calls) : saved_(HostSocketCalls()) {
    HostSocketCalls() = calls;
  }
  ~ScopedSocketCalls() { HostSocketCalls() = saved_; }
  ScopedSocketCalls(const ScopedSocketCalls&) = delete;
  ScopedSocketCalls& operator=(const ScopedSocketCalls&) = delete;

 private:
  SocketCalls saved_;
};

// The text of the std::runtime_error that `statement` throws; any other
// exception escapes and fails the test.
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
// the real call back.
class UdsClientTest : public ::testing::Test {
 protected:
  UdsClientTest() { recorded = Recorded(); }

  ScopedSocketCalls calls_{
      SocketCalls{CountingSocket, AcceptingConnect, SystemSocketCalls().write, CountingClose}};
};

TEST_F(UdsClientTest, EndpointOf107CharactersIsAPlainPathAddress) {
  const std::string endpoint(107, 'e');
  UdsClient client(endpoint);
  client.Connect();
  EXPECT_EQ(recorded.path, endpoint);
  EXPECT_EQ(recorded.length, sizeof(sa_family_t) + endpoint.size());
}

TEST_F(UdsClientTest, EndpointOf108CharactersIsRefusedWithItsSocketLeftOpen) {
  UdsClient client(std::string(108, 'e'));
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }), "Endpoint address too long.");
  EXPECT_EQ(recorded.connects, 0);
  EXPECT_EQ(recorded.closes, 0);
  client.Disconnect();
  EXPECT_EQ(recorded.sockets, 1);
  EXPECT_EQ(recorded.closes, 1);
}

TEST_F(UdsClientTest, SendBeforeConnectIsRefused) {
  UdsClient client("agent");
  EXPECT_EQ(RuntimeError([&] { client.Send("x"); }), "Not connected to an endpoint.");
}

TEST_F(UdsClientTest, RepeatedConnectAndDisconnectOpenAndCloseOneSocket) {
  {
    UdsClient client("agent");
    client.Connect();
    client.Connect();
    client.Disconnect();
    client.Disconnect();
  }
  EXPECT_EQ(recorded.sockets, 1);
  EXPECT_EQ(recorded.connects, 1);
  EXPECT_EQ(recorded.closes, 1);
}

TEST_F(UdsClientTest, FailedConnectClosesItsSocketAndLeavesTheClientUsable) {
  HostSocketCalls().connect = ::connect;
  cstest::TempRoot scratch;
  UdsClient client(scratch.Path() + "/no-agent-here");
  const std::string expected = "Failed to connect socket: No such file or directory";
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }), expected);
  EXPECT_EQ(recorded.closes, 1);
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }), expected);
  EXPECT_EQ(recorded.sockets, 2);
  EXPECT_EQ(recorded.closes, 2);
}

TEST_F(UdsClientTest, SocketCreationFailureReportsTheCause) {
  HostSocketCalls().socket = FailingSocket;
  UdsClient client("agent");
  EXPECT_EQ(RuntimeError([&] { client.Connect(); }),
            "Failed to create socket: Too many open files");
}

TEST_F(UdsClientTest, FailedAndShortWritesEndTheRequest) {
  UdsClient client("agent");
  client.Connect();
  HostSocketCalls().write = BrokenWrite;
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }), "Failed to send data: Broken pipe");
  HostSocketCalls().write = HalfWrite;
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }),
            "Partial write: 5B written, expected 10B.");
}

// A peer that hung up must cost the writer an error, not its life: the
// default action of SIGPIPE would end the test process here.
int HungUpPeer(int, int, int) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return -1;
  ::close(ends[1]);
  return ends[0];
}

TEST_F(UdsClientTest, APeerThatHungUpIsAnErrorNotASignal) {
  HostSocketCalls() = SystemSocketCalls();
  HostSocketCalls().socket = HungUpPeer;
  HostSocketCalls().connect = AcceptingConnect;
  UdsClient client("agent");
  client.Connect();
  EXPECT_EQ(RuntimeError([&] { client.Send("0123456789"); }), "Failed to send data: Broken pipe");
}

TEST_F(UdsClientTest, FailedCloseIsLoggedAndTheSocketForgotten) {
  HostSocketCalls().close = FailingClose;
  cstest::LogCapture log;
  UdsClient client("agent");
  client.Connect();
  client.Disconnect();
  client.Disconnect();
  EXPECT_EQ(recorded.closes, 1);
  EXPECT_TRUE(log.Contains(0, "Failed to close socket: Input/output error"));
}

}  // namespace
}  // namespace OrinConfigStore
