#ifndef SRC_NOTIFY_UDS_CLIENT_H_
#define SRC_NOTIFY_UDS_CLIENT_H_

#include <string>

namespace OrinConfigStore {

// A minimal client of a Unix-domain stream socket: connect, send one buffer,
// close on destruction. It never reads a reply. Failures of Connect and Send
// are std::runtime_error. Used by one thread at a time.
class UdsClient {
 public:
  explicit UdsClient(const std::string& endpoint);
  ~UdsClient();
  UdsClient(const UdsClient&) = delete;
  UdsClient& operator=(const UdsClient&) = delete;

  // Opens a socket and connects it to the endpoint, a path address (a
  // relative one is resolved against the working directory); does nothing
  // when already connected. Throws "Failed to create socket: <errno text>",
  // "Endpoint address too long." for more than 107 characters (the socket
  // just opened then stays open until Disconnect), or "Failed to connect
  // socket: <errno text>" after closing the socket again.
  void Connect();
  // Writes `data` with one write call, without retrying. Throws "Not
  // connected to an endpoint.", "Failed to send data: <errno text>", or
  // "Partial write: <n>B written, expected <size>B." for a short write.
  void Send(const std::string& data);
  // Closes the socket if one is open; a failed close is only logged.
  void Disconnect() noexcept;

 private:
  std::string endpoint_;
  int socket_ = -1;
};

}  // namespace OrinConfigStore

#endif  // SRC_NOTIFY_UDS_CLIENT_H_
