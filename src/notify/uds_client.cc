#include "uds_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "configstore/logger.h"
#include "errors/format.h"
#include "platform/socket_calls.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kCreateFailed = "Failed to create socket: ";
constexpr const char* kEndpointTooLong = "Endpoint address too long.";
constexpr const char* kConnectFailed = "Failed to connect socket: ";
constexpr const char* kNotConnected = "Not connected to an endpoint.";
constexpr const char* kSendFailed = "Failed to send data: ";
constexpr const char* kPartialWrite = "Partial write: %ldB written, expected %luB.";
constexpr const char* kTimedOut = "timed out after %ld ms";
constexpr const char* kLogCloseFailed = "Failed to close socket: %s";

// One byte of sun_path is kept for the terminating zero.
constexpr std::size_t kMaxEndpointLength = sizeof(sockaddr_un::sun_path) - 1;

// A listener whose backlog is full refuses a non-blocking connect at once
// (EAGAIN) rather than queueing it: the connect is tried again this often
// while the budget lasts.
constexpr int kConnectRetryMs = 5;

std::string ErrnoText(int error) { return std::strerror(error); }

}  // namespace

UdsClient::UdsClient(const std::string& endpoint, std::chrono::milliseconds budget)
    : endpoint_(endpoint), budget_(budget), deadline_(std::chrono::steady_clock::now() + budget) {}

UdsClient::~UdsClient() { Disconnect(); }

// Rounded up, so that the client gives up only once its deadline has passed,
// never a fraction of a millisecond early.
int UdsClient::Remaining() const {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<long long>(0, left.count()));
}

bool UdsClient::WaitWritable() const {
  pollfd entry{socket_, POLLOUT, 0};
  int ready;
  do {
    ready = HostSocketCalls().poll(&entry, 1, Remaining());
  } while (ready < 0 && errno == EINTR && Remaining() > 0);
  return ready > 0;
}

void UdsClient::FailConnect(const std::string& cause) {
  Disconnect();
  throw std::runtime_error(kConnectFailed + cause);
}

void UdsClient::Connect() {
  if (socket_ >= 0) return;
  const SocketCalls& calls = HostSocketCalls();
  socket_ = calls.socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (socket_ < 0) throw std::runtime_error(kCreateFailed + ErrnoText(errno));

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  // The socket just created stays open on this failure, until Disconnect()
  // or the destructor: the caller owns the client either way.
  if (endpoint_.size() > kMaxEndpointLength) throw std::runtime_error(kEndpointTooLong);
  std::strncpy(address.sun_path, endpoint_.c_str(), kMaxEndpointLength);

  // A path address, never an abstract one; a relative name is resolved by
  // the kernel against the working directory.
  const auto length =
      static_cast<socklen_t>(sizeof(address.sun_family) + std::strlen(address.sun_path));
  const auto* peer = reinterpret_cast<const sockaddr*>(&address);
  while (calls.connect(socket_, peer, length) != 0) {
    const int error = errno;
    if (error == EINPROGRESS) {
      int result = 0;
      socklen_t size = sizeof(result);
      if (!WaitWritable()) FailConnect(Str_Format(kTimedOut, static_cast<long>(budget_.count())));
      if (calls.getsockopt(socket_, SOL_SOCKET, SO_ERROR, &result, &size) != 0) result = errno;
      if (result != 0) FailConnect(ErrnoText(result));
      return;
    }
    if (error != EAGAIN && error != EINTR) FailConnect(ErrnoText(error));
    const int left = Remaining();
    if (left == 0) FailConnect(Str_Format(kTimedOut, static_cast<long>(budget_.count())));
    calls.poll(nullptr, 0, std::min(left, kConnectRetryMs));
  }
}

void UdsClient::Send(const std::string& data) {
  if (socket_ < 0) throw std::runtime_error(kNotConnected);
  const SocketCalls& calls = HostSocketCalls();
  // One write and no resumption: a notification that does not go out whole
  // is dropped. A socket that cannot take it yet is waited for, within the
  // budget.
  ssize_t written = calls.write(socket_, data.data(), data.size());
  if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
    if (!WaitWritable()) {
      throw std::runtime_error(kSendFailed +
                               Str_Format(kTimedOut, static_cast<long>(budget_.count())));
    }
    written = calls.write(socket_, data.data(), data.size());
  }
  if (written < 0) throw std::runtime_error(kSendFailed + ErrnoText(errno));
  if (static_cast<std::size_t>(written) != data.size()) {
    throw std::runtime_error(Str_Format(kPartialWrite, static_cast<long>(written),
                                        static_cast<unsigned long>(data.size())));
  }
}

void UdsClient::Disconnect() noexcept {
  if (socket_ < 0) return;
  if (HostSocketCalls().close(socket_) != 0) {
    CSLogger::Log(0, kLogCloseFailed, std::strerror(errno));
  }
  socket_ = -1;
}

}  // namespace OrinConfigStore
