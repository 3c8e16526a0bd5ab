#include "errors/format.h"

#include <cstdio>

std::string Str_VFormat(const char* format, va_list args) {
  if (format == nullptr) return std::string();
  va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length <= 0) return std::string();
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

std::string Str_Format(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = Str_VFormat(format, args);
  va_end(args);
  return text;
}
