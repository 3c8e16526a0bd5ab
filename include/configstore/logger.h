#ifndef CONFIGSTORE_LOGGER_H_
#define CONFIGSTORE_LOGGER_H_

#include <functional>
#include <string>

#include "configstore/export.h"

#if defined(__GNUC__)
#define CONFIGSTORE_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define CONFIGSTORE_PRINTF(fmt, args)
#endif

namespace OrinConfigStore {

// The host log. Priorities: 0 error, 1 warning, 2 notice, 3 write trace,
// 4 read trace.
//
// Where lines go: syslog (ident "configstore") by default; the environment
// variable CONFIGSTORE_LOG=stderr|syslog|none chooses another sink and
// CONFIGSTORE_LOG_LEVEL=N the highest priority written (default 2). Both are
// read once, at the first log call. A sink installed with SetSink receives
// every line at every priority instead.
//
// Thread-safe. Logging never throws: a failing sink loses the line.
class CONFIGSTORE_API CSLogger {
 public:
  using Sink = std::function<void(int priority, const std::string& line)>;

  static void Log(int priority, const char* format, ...) CONFIGSTORE_PRINTF(2, 3);

  // Logs the message template registered for the error code, formatted with
  // the arguments; a code without a template logs "Unknown error code <code>".
  static void LogErrCode(int priority, int code, ...);

  // Logs the calling thread's stack, one line per frame, at priority 0.
  static void LogBacktrace();

  // Installs a sink for every line; an empty function restores the sink
  // chosen by the environment.
  static void SetSink(Sink sink);

  // Whether a line of this priority would be written anywhere.
  static bool IsEnabled(int priority);
};

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_LOGGER_H_
