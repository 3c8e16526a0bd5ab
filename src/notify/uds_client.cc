#include "uds_client.h"

#include <sys/socket.h>
#include <sys/un.h>

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
constexpr const char* kLogCloseFailed = "Failed to close socket: %s";

// One byte of sun_path is kept for the terminating zero.
constexpr std::size_t kMaxEndpointLength = sizeof(sockaddr_un::sun_path) - 1;

std::runtime_error ErrnoError(const char* prefix) {
  return std::runtime_error(prefix + std::string(std::strerror(errno)));
}

}  // namespace

UdsClient::UdsClient(const std::string& endpoint) : endpoint_(endpoint) {}

UdsClient::~UdsClient() { Disconnect(); }

void UdsClient::Connect() {
  if (socket_ >= 0) return;
  const SocketCalls& calls = HostSocketCalls();
  socket_ = calls.socket(AF_UNIX, SOCK_STREAM, 0);
  if (socket_ < 0) throw ErrnoError(kCreateFailed);

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
  if (calls.connect(socket_, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    Disconnect();
    throw ErrnoError(kConnectFailed);
  }
}

void UdsClient::Send(const std::string& data) {
  if (socket_ < 0) throw std::runtime_error(kNotConnected);
  // One write and no retry: a notification that does not go out whole is
  // dropped, not resumed.
  const ssize_t written = HostSocketCalls().write(socket_, data.data(), data.size());
  if (written < 0) throw ErrnoError(kSendFailed);
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
