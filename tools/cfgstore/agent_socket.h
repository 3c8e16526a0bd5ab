#ifndef CFGSTORE_AGENT_SOCKET_H_
#define CFGSTORE_AGENT_SOCKET_H_

// The listening end of the host agent's socket, for the stand-in that
// receives change notifications. The store's writers connect to a name
// relative to their working directory, so the socket is bound under that
// name in this process's working directory.

#include <string>

namespace cfgstore {

// The name writers connect to.
constexpr const char* kAgentSocketName = "tslLocalSocketWardenNotifyNexa";

class AgentSocket {
 public:
  // Binds and listens. The name appears only once connections are accepted
  // (bound under a private name, then renamed), so whoever waits for the
  // file can write at once. A stale socket file left by a listener that
  // died is replaced; a live listener, or a file that is not a socket,
  // raises ToolError (kFailure), as does any failing call.
  explicit AgentSocket(std::string name);
  // Closes the socket and removes its file.
  ~AgentSocket();
  AgentSocket(const AgentSocket&) = delete;
  AgentSocket& operator=(const AgentSocket&) = delete;

  // Waits for a writer; false when `stopFd` became readable first.
  bool WaitForWriter(int stopFd) const;

  // Accepts the pending writer and reads its request until it is complete
  // (see http_request.h), the writer closes, it stays silent too long, or
  // `stopFd` becomes readable. True with the body for a complete request.
  // `empty` tells a writer that closed without sending anything (nothing
  // worth reporting) from a malformed request.
  bool ReceiveRequest(int stopFd, std::string* body, bool* empty) const;

 private:
  std::string name_;
  int fd_ = -1;
};

}  // namespace cfgstore

#endif  // CFGSTORE_AGENT_SOCKET_H_
