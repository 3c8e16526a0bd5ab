#include <execinfo.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include "configstore/logger.h"
#include "errors/format.h"
#include "errors/logger_settings.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kSinkVariable = "CONFIGSTORE_LOG";
constexpr const char* kLevelVariable = "CONFIGSTORE_LOG_LEVEL";
constexpr const char* kSyslogIdent = "configstore";
constexpr int kDefaultLevel = 2;
constexpr int kBacktraceDepth = 64;

enum class SinkKind { kSyslog, kStderr, kNone };

struct Settings {
  SinkKind kind = SinkKind::kSyslog;
  int level = kDefaultLevel;
};

Settings ReadSettings() {
  Settings settings;
  if (const char* sink = std::getenv(kSinkVariable)) {
    if (std::strcmp(sink, "stderr") == 0) settings.kind = SinkKind::kStderr;
    if (std::strcmp(sink, "none") == 0) settings.kind = SinkKind::kNone;
  }
  if (const char* level = std::getenv(kLevelVariable); level != nullptr && *level != '\0') {
    char* end = nullptr;
    const long parsed = std::strtol(level, &end, 10);
    if (*end == '\0') settings.level = static_cast<int>(parsed);
  }
  return settings;
}

// The logger's whole mutable state, behind one mutex. Lines are written
// outside the lock so that a slow sink does not serialise formatting.
class LoggerState {
 public:
  static LoggerState& Instance() {
    static LoggerState state;
    return state;
  }

  void Reload() {
    std::lock_guard<std::mutex> lock(mutex_);
    settings_ = ReadSettings();
  }

  void SetSink(CSLogger::Sink sink) {
    std::lock_guard<std::mutex> lock(mutex_);
    sink_ = sink ? std::make_shared<const CSLogger::Sink>(std::move(sink)) : nullptr;
  }

  bool IsEnabled(int priority) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (sink_) return true;
    return settings_.kind != SinkKind::kNone && priority <= settings_.level;
  }

  void Write(int priority, const std::string& line) {
    std::shared_ptr<const CSLogger::Sink> sink;
    Settings settings;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      sink = sink_;
      settings = settings_;
    }
    if (sink) {
      (*sink)(priority, line);
    } else if (settings.kind == SinkKind::kStderr) {
      std::fprintf(stderr, "%s[%d]: %s\n", kSyslogIdent, priority, line.c_str());
    } else if (settings.kind == SinkKind::kSyslog) {
      static std::once_flag opened;
      std::call_once(opened, [] { openlog(kSyslogIdent, LOG_PID, LOG_USER); });
      syslog(SyslogPriority(priority), "%s", line.c_str());
    }
  }

 private:
  LoggerState() : settings_(ReadSettings()) {}

  static int SyslogPriority(int priority) {
    static constexpr int kMap[] = {LOG_ERR, LOG_WARNING, LOG_NOTICE, LOG_INFO, LOG_DEBUG};
    if (priority < 0) return LOG_ERR;
    return priority < 5 ? kMap[priority] : LOG_DEBUG;
  }

  std::mutex mutex_;
  Settings settings_;
  std::shared_ptr<const CSLogger::Sink> sink_;
};

}  // namespace

void ReloadLoggerSettings() { LoggerState::Instance().Reload(); }

bool CSLogger::IsEnabled(int priority) { return LoggerState::Instance().IsEnabled(priority); }

void CSLogger::SetSink(Sink sink) { LoggerState::Instance().SetSink(std::move(sink)); }

void CSLogger::Log(int priority, const char* format, ...) {
  if (!IsEnabled(priority)) return;
  try {
    va_list args;
    va_start(args, format);
    std::string line = Str_VFormat(format, args);
    va_end(args);
    LoggerState::Instance().Write(priority, line);
  } catch (...) {
    // A log line is never worth a failure of the operation being logged.
  }
}

void CSLogger::LogBacktrace() {
  if (!IsEnabled(0)) return;
  void* frames[kBacktraceDepth];
  const int depth = backtrace(frames, kBacktraceDepth);
  std::unique_ptr<char*, decltype(&std::free)> symbols(backtrace_symbols(frames, depth),
                                                       &std::free);
  if (!symbols) return;
  // Frame 0 is this function.
  for (int i = 1; i < depth; ++i) Log(0, "  #%d %s", i - 1, symbols.get()[i]);
}

}  // namespace OrinConfigStore
