#include "agent_socket.h"

#include <configstore/configstore.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "http_request.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr int kBacklog = 16;
// A writer sends its request at once and closes; one that stalls this long
// is dropped so that the next can be served.
constexpr int kReadTimeoutMs = 5000;
constexpr int kForever = -1;
constexpr std::size_t kMaxRequestBytes = 1 << 20;
constexpr std::size_t kReadChunk = 4096;
constexpr const char* kReply = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

constexpr const char* kNameTooLong = "Socket name too long: ";
constexpr const char* kNotASocket = " exists and is not a socket";
constexpr const char* kInUse = "Another listener already serves ";
constexpr const char* kCallFailed = " failed: ";

constexpr int kFirstReady = 0;
constexpr int kSecondReady = 1;
constexpr int kTimedOut = -1;

ToolError SocketError(const std::string& message) {
  return ToolError(kFailure, OrinConfigStore::CS_ERR_GENERIC, message);
}

ToolError CallError(const char* call) {
  return SocketError(call + std::string(kCallFailed) + std::strerror(errno));
}

sockaddr_un Address(const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (name.size() >= sizeof(address.sun_path)) throw SocketError(kNameTooLong + name);
  std::memcpy(address.sun_path, name.c_str(), name.size() + 1);
  return address;
}

bool Connects(int fd, const std::string& name) {
  const sockaddr_un address = Address(name);
  return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

// Whether some process accepts connections on `name` now.
bool HasListener(const std::string& name) {
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) throw CallError("socket");
  const bool connected = Connects(probe, name);
  close(probe);
  return connected;
}

// A socket file nobody listens on is what a killed listener leaves behind.
void RemoveStale(const std::string& name) {
  struct stat info {};
  if (lstat(name.c_str(), &info) != 0) return;
  if (!S_ISSOCK(info.st_mode)) throw SocketError(name + kNotASocket);
  if (HasListener(name)) throw SocketError(kInUse + name);
  unlink(name.c_str());
}

void BindAndListen(int fd, const std::string& name) {
  const sockaddr_un address = Address(name);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    throw CallError("bind");
  }
  if (listen(fd, kBacklog) != 0) throw CallError("listen");
}

// Which of the two descriptors became readable first (the second wins a
// tie), or kTimedOut.
int WaitReadable(int first, int second, int timeoutMs) {
  pollfd fds[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
  for (;;) {
    const int ready = poll(fds, 2, timeoutMs);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) throw CallError("poll");
    if (ready == 0) return kTimedOut;
    return fds[1].revents != 0 ? kSecondReady : kFirstReady;
  }
}

// Reads until the request is judged; kIncomplete when the wait ended first.
RequestStatus ReadRequest(int connection, int stopFd, std::string* data, std::string* body) {
  RequestStatus status = RequestStatus::kIncomplete;
  while (status == RequestStatus::kIncomplete) {
    if (WaitReadable(connection, stopFd, kReadTimeoutMs) != kFirstReady) break;
    char buffer[kReadChunk];
    const ssize_t count = read(connection, buffer, sizeof(buffer));
    if (count < 0 && errno == EINTR) continue;
    if (count > 0) data->append(buffer, static_cast<std::size_t>(count));
    status = data->size() > kMaxRequestBytes ? RequestStatus::kMalformed
                                             : ParseRequest(*data, count <= 0, body);
  }
  return status;
}

}  // namespace

AgentSocket::AgentSocket(std::string name) : name_(std::move(name)) {
  RemoveStale(name_);
  const std::string privateName = name_ + "." + std::to_string(getpid());
  unlink(privateName.c_str());
  fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) throw CallError("socket");
  try {
    BindAndListen(fd_, privateName);
    if (std::rename(privateName.c_str(), name_.c_str()) != 0) throw CallError("rename");
  } catch (...) {
    unlink(privateName.c_str());
    close(fd_);
    throw;
  }
}

AgentSocket::~AgentSocket() {
  close(fd_);
  unlink(name_.c_str());
}

bool AgentSocket::WaitForWriter(int stopFd) const {
  return WaitReadable(fd_, stopFd, kForever) == kFirstReady;
}

bool AgentSocket::ReceiveRequest(int stopFd, std::string* body, bool* empty) const {
  const int connection = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection < 0) {
    *empty = true;  // the writer gave up before it was served
    return false;
  }
  std::string data;
  const RequestStatus status = ReadRequest(connection, stopFd, &data, body);
  // The library's writer does not wait for an answer; a writer that does
  // gets one, and one that has gone raises no SIGPIPE.
  if (status == RequestStatus::kComplete)
    send(connection, kReply, std::strlen(kReply), MSG_NOSIGNAL);
  close(connection);
  *empty = data.empty();
  return status == RequestStatus::kComplete;
}

}  // namespace cfgstore
