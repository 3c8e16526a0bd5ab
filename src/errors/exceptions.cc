// The exception classes through which every failure reaches callers, the
// pulse chain they carry, and the functions that raise them from an error
// code.

#include "configstore/exceptions.h"

#include <cstdarg>
#include <utility>

#include "configstore/json.h"
#include "configstore/logger.h"
#include "errors/format.h"

namespace Helm {
namespace Lib {

namespace {

constexpr const char* kPulseHeader = "\nPulse Stack: \n";

// Fills "%s" with the arguments in order and turns "%%" into "%"; any other
// character, and a "%s" beyond the last argument, is kept as written.
std::string FormatEntry(const std::string& format, const std::vector<std::string>& args) {
  std::string text;
  text.reserve(format.size());
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const bool directive = format[i] == '%' && i + 1 < format.size();
    if (directive && format[i + 1] == '%') {
      text += '%';
      ++i;
    } else if (directive && format[i + 1] == 's' && next < args.size()) {
      text += args[next++];
      ++i;
    } else {
      text += format[i];
    }
  }
  return text;
}

}  // namespace

void PulseMessage::Add(std::string tag, std::string format, std::vector<std::string> args) {
  chain_.push_front(Entry{std::move(tag), std::move(format), std::move(args)});
}

std::string PulseMessage::ToString() const {
  if (chain_.empty()) return std::string();
  std::vector<std::string> pieces;
  std::size_t total = std::char_traits<char>::length(kPulseHeader);
  for (const Entry& entry : chain_) {
    pieces.push_back("[" + entry.tag + "]: " + FormatEntry(entry.format, entry.args));
    total += pieces.back().size();
  }
  std::string text;
  text.reserve(total);
  text += kPulseHeader;
  // The head of the chain is the newest entry; the stack reads oldest first.
  for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) text += *piece;
  return text;
}

HelmException::HelmException(std::string message) : message_(std::move(message)) {}

HelmException::~HelmException() = default;

const char* HelmException::what() const noexcept { return message_.c_str(); }

std::string HelmException::GetDetailedMessage() const { return message_ + pulse_.ToString(); }

}  // namespace Lib
}  // namespace Helm

namespace OrinConfigStore {

namespace {
constexpr const char* kCodePrefix = "Error Code: ";
constexpr const char* kMessagePrefix = "Message: ";
constexpr const char* kDetailsHeader = "Details: \n";
constexpr const char* kInvalidJson = "Invalid JSON";
}  // namespace

ConfigStoreException::ConfigStoreException(int code, const std::string& message)
    : HelmException(message), code_(code) {
  CSLogger::Log(0, "[%d] %s", code_, what());
  CSLogger::LogBacktrace();
}

ConfigStoreException::ConfigStoreException(int code, const char* message)
    : ConfigStoreException(code, std::string(message != nullptr ? message : "")) {}

ConfigStoreException::ConfigStoreException(const char* message)
    : ConfigStoreException(CS_ERR_GENERIC, message) {}

ConfigStoreException::ConfigStoreException(const std::string& message)
    : ConfigStoreException(CS_ERR_GENERIC, message) {}

ConfigStoreException::~ConfigStoreException() = default;

std::string ConfigStoreException::toString() const {
  return kCodePrefix + std::to_string(code_) + "\n" + kMessagePrefix + what() + "\n";
}

ValidationException::ValidationException(int code, const char* message,
                                         const std::vector<ErrorInfo>& errors)
    : ConfigStoreException(code, message), errors_(errors) {}

ValidationException::~ValidationException() = default;

std::string ValidationException::toString() const {
  std::string text = ConfigStoreException::toString();
  if (errors_.empty()) return text;
  text += kDetailsHeader;
  for (const ErrorInfo& info : errors_) text += info.field + ": " + info.error + "\n";
  return text;
}

InvalidArgumentException::~InvalidArgumentException() = default;
InvalidTypeException::~InvalidTypeException() = default;

// Each looks the template up before touching the arguments, so an unknown
// code raises std::out_of_range from the lookup itself.

template <typename T>
void ThrowException(CSErrorCodes code, ...) {
  const char* format = GetErrorTemplate(code);
  va_list args;
  va_start(args, code);
  const std::string text = Str_VFormat(format, args);
  va_end(args);
  throw T(code, text);
}

template void ThrowException<ConfigStoreException>(CSErrorCodes, ...);
template void ThrowException<InvalidArgumentException>(CSErrorCodes, ...);

void ThrowValidation(CSErrorCodes code, std::vector<ErrorInfo> errors, ...) {
  const char* format = GetErrorTemplate(code);
  va_list args;
  va_start(args, errors);
  const std::string text = Str_VFormat(format, args);
  va_end(args);
  throw ValidationException(code, text.c_str(), errors);
}

void ThrowInvalidJson() { throw ConfigStoreException(kInvalidJson); }

}  // namespace OrinConfigStore
