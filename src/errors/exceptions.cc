#include "configstore/exceptions.h"

#include <utility>

#include "configstore/logger.h"

namespace Helm {
namespace Lib {

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

}  // namespace OrinConfigStore
