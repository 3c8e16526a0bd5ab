#include "http_request.h"

#include <strings.h>

#include <cctype>
#include <cstdlib>

namespace cfgstore {

namespace {

constexpr const char* kRequestLine = "POST /api ";
constexpr const char* kHeaderEnd = "\r\n\r\n";
constexpr std::size_t kHeaderEndLength = 4;
constexpr const char* kLineEnd = "\r\n";
constexpr std::size_t kLineEndLength = 2;
constexpr const char* kContentLength = "content-length:";
constexpr std::size_t kContentLengthLength = 15;

enum class LengthHeader { kAbsent, kValid, kInvalid };

LengthHeader ReadLength(const char* value, std::size_t* length) {
  while (*value == ' ' || *value == '\t') ++value;
  if (!std::isdigit(static_cast<unsigned char>(*value))) return LengthHeader::kInvalid;
  char* end = nullptr;
  *length = std::strtoull(value, &end, 10);
  return (*end == '\r' || *end == '\0') ? LengthHeader::kValid : LengthHeader::kInvalid;
}

// Looks for Content-Length among the header lines (the request line is
// skipped), whatever its letter case.
LengthHeader FindContentLength(const std::string& headers, std::size_t* length) {
  for (std::size_t line = headers.find(kLineEnd); line != std::string::npos;
       line = headers.find(kLineEnd, line)) {
    line += kLineEndLength;
    if (strncasecmp(headers.c_str() + line, kContentLength, kContentLengthLength) == 0) {
      return ReadLength(headers.c_str() + line + kContentLengthLength, length);
    }
  }
  return LengthHeader::kAbsent;
}

}  // namespace

RequestStatus ParseRequest(const std::string& data, bool closed, std::string* body) {
  const std::size_t headerEnd = data.find(kHeaderEnd);
  if (headerEnd == std::string::npos) {
    return closed ? RequestStatus::kMalformed : RequestStatus::kIncomplete;
  }
  if (data.compare(0, std::string(kRequestLine).size(), kRequestLine) != 0) {
    return RequestStatus::kMalformed;
  }
  const std::size_t bodyStart = headerEnd + kHeaderEndLength;
  std::size_t length = 0;
  switch (FindContentLength(data.substr(0, headerEnd), &length)) {
    case LengthHeader::kInvalid:
      return RequestStatus::kMalformed;
    case LengthHeader::kAbsent:
      if (!closed) return RequestStatus::kIncomplete;
      length = data.size() - bodyStart;
      break;
    case LengthHeader::kValid:
      if (data.size() - bodyStart < length) {
        return closed ? RequestStatus::kMalformed : RequestStatus::kIncomplete;
      }
      break;
  }
  *body = data.substr(bodyStart, length);
  return RequestStatus::kComplete;
}

}  // namespace cfgstore
