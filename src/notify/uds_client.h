#ifndef SRC_NOTIFY_UDS_CLIENT_H_
#define SRC_NOTIFY_UDS_CLIENT_H_

#include <chrono>
#include <string>

namespace OrinConfigStore {

// A minimal client of a Unix-domain stream socket: connect, send one buffer,
// close on destruction. It never reads a reply. Connect and Send together
// take no longer than the budget given at construction, whatever the peer
// does (missing, dead, never accepting, never reading): the socket is
// non-blocking, and each wait is bounded by what is left of the budget.
// Failures of Connect and Send are std::runtime_error. Used by one thread at
// a time.
class UdsClient {
 public:
  UdsClient(const std::string& endpoint, std::chrono::milliseconds budget);
  ~UdsClient();
  UdsClient(const UdsClient&) = delete;
  UdsClient& operator=(const UdsClient&) = delete;

  // Opens a socket and connects it to the endpoint, a path address (a
  // relative one is resolved against the working directory); does nothing
  // when already connected. A listener whose backlog is full is tried again
  // in short steps until the budget is spent. Throws "Failed to create
  // socket: <errno text>", "Endpoint address too long." for more than 107
  // characters (the socket just opened then stays open until Disconnect),
  // "Failed to connect socket: <errno text>" or "Failed to connect socket:
  // timed out after <n> ms", after closing the socket again.
  void Connect();
  // Writes `data` with one write call, waiting (within the budget) only when
  // the socket cannot take it yet. Throws "Not connected to an endpoint.",
  // "Failed to send data: <errno text>", "Failed to send data: timed out
  // after <n> ms", or "Partial write: <n>B written, expected <size>B." for a
  // short write.
  void Send(const std::string& data);
  // Closes the socket if one is open; a failed close is only logged.
  void Disconnect() noexcept;

 private:
  // Milliseconds left of the budget, at least 0.
  int Remaining() const;
  // Waits until the socket is writable or the budget is spent; false then.
  bool WaitWritable() const;
  [[noreturn]] void FailConnect(const std::string& cause);

  std::string endpoint_;
  std::chrono::milliseconds budget_;
  std::chrono::steady_clock::time_point deadline_;
  int socket_ = -1;
};

}  // namespace OrinConfigStore

#endif  // SRC_NOTIFY_UDS_CLIENT_H_
