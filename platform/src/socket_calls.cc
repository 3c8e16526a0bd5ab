#include "platform/socket_calls.h"

#include <unistd.h>

namespace OrinConfigStore {

SocketCalls SystemSocketCalls() { return SocketCalls{::socket, ::connect, ::write, ::close}; }

SocketCalls& HostSocketCalls() {
  static SocketCalls calls = SystemSocketCalls();
  return calls;
}

}  // namespace OrinConfigStore
