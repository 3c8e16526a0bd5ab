#include <cstdarg>

#include "configstore/exceptions.h"
#include "configstore/json.h"
#include "platform/format.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kInvalidJson = "Invalid JSON";
}  // namespace

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
