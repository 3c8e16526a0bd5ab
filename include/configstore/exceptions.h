#ifndef CONFIGSTORE_EXCEPTIONS_H_
#define CONFIGSTORE_EXCEPTIONS_H_

// The exceptions through which every failure of the library reaches its
// callers, and the functions that raise them from an error code.
//
// Constructing any of these exceptions writes "[<code>] <message>" and a
// backtrace to the host log at priority 0, so that every failure leaves a
// trace even when a caller catches it. Exceptions own all their data.

#include <exception>
#include <forward_list>
#include <string>
#include <vector>

#include "configstore/error_codes.h"
#include "configstore/export.h"

namespace Helm {
namespace Lib {

// A chain of tagged, formatted notes that the host-control layer may attach
// to an exception. This library never adds entries, so the chain of every
// exception it raises is empty.
class CONFIGSTORE_API PulseMessage {
 public:
  // Adds an entry at the head of the chain. `format` is printf-like with
  // "%s" for each stored argument (in order) and "%%" for a percent sign.
  void Add(std::string tag, std::string format, std::vector<std::string> args = {});

  bool IsEmpty() const { return chain_.empty(); }

  // "" for an empty chain; otherwise "\nPulse Stack: \n" followed by
  // "[<tag>]: <text>" for each entry, the oldest (end of chain) first.
  std::string ToString() const;

 private:
  struct Entry {
    std::string tag;
    std::string format;
    std::vector<std::string> args;
  };
  std::forward_list<Entry> chain_;
};

class CONFIGSTORE_API HelmException : public std::exception {
 public:
  explicit HelmException(std::string message);
  ~HelmException() override;

  // The message; valid while the exception lives.
  const char* what() const noexcept override;

  // The message followed by the pulse chain's text.
  std::string GetDetailedMessage() const;

  PulseMessage& GetPulseMessage() { return pulse_; }
  const PulseMessage& GetPulseMessage() const { return pulse_; }

 private:
  std::string message_;
  PulseMessage pulse_;
};

}  // namespace Lib
}  // namespace Helm

namespace OrinConfigStore {

// One schema-validation error: the offending member as the validator names
// it, and the validator's explanation.
struct ErrorInfo {
  std::string field;
  std::string error;
};

class CONFIGSTORE_API ConfigStoreException : public Helm::Lib::HelmException {
 public:
  ConfigStoreException(int code, const char* message);
  ConfigStoreException(int code, const std::string& message);
  // Code 2000, for failures described by free text.
  explicit ConfigStoreException(const char* message);
  explicit ConfigStoreException(const std::string& message);
  ~ConfigStoreException() override;

  int GetErrorCode() const { return code_; }

  // "Error Code: <code>\nMessage: <message>\n". Like the rest of the
  // hierarchy's text forms it is not virtual (what() is the one virtual
  // operation): call it on the class you caught.
  std::string toString() const;

 private:
  int code_;
};

class CONFIGSTORE_API ValidationException : public ConfigStoreException {
 public:
  ValidationException(int code, const char* message, const std::vector<ErrorInfo>& errors);
  ~ValidationException() override;

  const std::vector<ErrorInfo>& GetErrors() const { return errors_; }

  // The base text, then, when there are errors, "Details: \n" and one line
  // "<field>: <error>\n" per error in order.
  std::string toString() const;

 private:
  std::vector<ErrorInfo> errors_;
};

class CONFIGSTORE_API InvalidArgumentException : public ConfigStoreException {
 public:
  using ConfigStoreException::ConfigStoreException;
  ~InvalidArgumentException() override;
};

class CONFIGSTORE_API InvalidTypeException : public ConfigStoreException {
 public:
  using ConfigStoreException::ConfigStoreException;
  ~InvalidTypeException() override;
};

// Formats the template registered for `code` printf-style with the variable
// arguments (pass C strings for "%s", ints for "%d") and throws T built from
// the code and the text. A code without a template (such as 2000) makes the
// table lookup throw std::out_of_range instead. Instantiated for
// ConfigStoreException and InvalidArgumentException.
template <typename T>
[[noreturn]] CONFIGSTORE_API void ThrowException(CSErrorCodes code, ...);

extern template void ThrowException<ConfigStoreException>(CSErrorCodes, ...);
extern template void ThrowException<InvalidArgumentException>(CSErrorCodes, ...);

// As ThrowException, throwing a ValidationException that carries `errors`.
[[noreturn]] CONFIGSTORE_API void ThrowValidation(CSErrorCodes code, std::vector<ErrorInfo> errors,
                                                  ...);

// The template registered for `code`; throws std::out_of_range for a code
// without one.
CONFIGSTORE_API const char* GetErrorTemplate(int code);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_EXCEPTIONS_H_
