#ifndef CFGSTORE_STOP_SIGNAL_H_
#define CFGSTORE_STOP_SIGNAL_H_

// SIGINT and SIGTERM as a readable descriptor: a command that waits in
// poll() sees the request to stop there, and ends through its destructors
// (removing what it created) instead of dying mid-way.

namespace cfgstore {

// One at a time per process. Raises ToolError (kFailure) when the pipe or
// the handlers cannot be set up.
class StopSignal {
 public:
  StopSignal();
  // Restores the previous handlers and closes the pipe.
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // Readable once a stop was requested.
  int Fd() const { return readFd_; }

 private:
  int readFd_ = -1;
  int writeFd_ = -1;
};

}  // namespace cfgstore

#endif  // CFGSTORE_STOP_SIGNAL_H_
