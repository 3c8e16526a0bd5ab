#ifndef PLATFORM_SOCKET_CALLS_H_
#define PLATFORM_SOCKET_CALLS_H_

// The operating-system calls behind the library's local socket client,
// gathered in one replaceable table so that tests can make a connect fail or
// a write come up short without a misbehaving peer.

#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cstddef>

namespace OrinConfigStore {

// Each member has the signature and the errno behaviour of the system call
// of the same name; the real `write` never raises SIGPIPE.
struct SocketCalls {
  int (*socket)(int domain, int type, int protocol);
  int (*connect)(int fd, const sockaddr* address, socklen_t length);
  ssize_t (*write)(int fd, const void* buffer, std::size_t count);
  int (*close)(int fd);
  int (*poll)(pollfd* fds, nfds_t count, int timeoutMs);
  int (*getsockopt)(int fd, int level, int name, void* value, socklen_t* length);
};

// The real system calls.
SocketCalls SystemSocketCalls();

// The process-wide table in use, initially SystemSocketCalls(). Tests may
// assign to it and must restore it afterwards; replacing it while another
// thread uses a socket client is a data race.
SocketCalls& HostSocketCalls();

}  // namespace OrinConfigStore

#endif  // PLATFORM_SOCKET_CALLS_H_
