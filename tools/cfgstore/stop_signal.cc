#include "stop_signal.h"

#include <configstore/configstore.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kSetupFailed = "Cannot install the stop signal handlers: ";
constexpr int kStopSignals[] = {SIGINT, SIGTERM};
constexpr int kSignalCount = sizeof(kStopSignals) / sizeof(kStopSignals[0]);

// Written by the handler only; the handler may run at any time.
volatile sig_atomic_t gWakeFd = -1;
struct sigaction gPrevious[kSignalCount];

void OnStop(int) {
  const int savedErrno = errno;
  const char byte = 0;
  // A full pipe already holds a wake-up; nothing is lost by dropping this one.
  const ssize_t ignored = write(gWakeFd, &byte, 1);
  (void)ignored;
  errno = savedErrno;
}

ToolError SetupError() {
  return ToolError(kFailure, OrinConfigStore::CS_ERR_GENERIC,
                   kSetupFailed + std::string(std::strerror(errno)));
}

}  // namespace

StopSignal::StopSignal() {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) throw SetupError();
  readFd_ = fds[0];
  writeFd_ = fds[1];
  gWakeFd = writeFd_;

  struct sigaction action {};
  action.sa_handler = OnStop;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < kSignalCount; ++i) {
    if (sigaction(kStopSignals[i], &action, &gPrevious[i]) != 0) {
      const ToolError error = SetupError();
      for (int j = 0; j < i; ++j) sigaction(kStopSignals[j], &gPrevious[j], nullptr);
      close(readFd_);
      close(writeFd_);
      throw error;
    }
  }
}

StopSignal::~StopSignal() {
  for (int i = 0; i < kSignalCount; ++i) sigaction(kStopSignals[i], &gPrevious[i], nullptr);
  gWakeFd = -1;
  close(readFd_);
  close(writeFd_);
}

}  // namespace cfgstore
