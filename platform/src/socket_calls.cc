#include "platform/socket_calls.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace OrinConfigStore {

namespace {

// write(2) on a socket whose peer has gone raises SIGPIPE, whose default
// action ends the process: a library must never kill the service that
// calls it because the agent restarted. send(2) with MSG_NOSIGNAL is the
// same single write, with EPIPE reported instead.
ssize_t WriteWithoutSignal(int fd, const void* buffer, std::size_t count) {
  return ::send(fd, buffer, count, MSG_NOSIGNAL);
}

}  // namespace

SocketCalls SystemSocketCalls() {
  return SocketCalls{::socket, ::connect, WriteWithoutSignal, ::close, ::poll, ::getsockopt};
}

SocketCalls& HostSocketCalls() {
  static SocketCalls calls = SystemSocketCalls();
  return calls;
}

}  // namespace OrinConfigStore
