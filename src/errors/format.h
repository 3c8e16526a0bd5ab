#ifndef SRC_ERRORS_FORMAT_H_
#define SRC_ERRORS_FORMAT_H_

// The host utility library's allocating printf-style formatter.

#include <cstdarg>
#include <string>

#include "configstore/logger.h"  // CONFIGSTORE_PRINTF

// The text of `format` filled with the arguments. A null format gives "".
std::string Str_VFormat(const char* format, va_list args);
std::string Str_Format(const char* format, ...) CONFIGSTORE_PRINTF(1, 2);

#endif  // SRC_ERRORS_FORMAT_H_
