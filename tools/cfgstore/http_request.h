#ifndef CFGSTORE_HTTP_REQUEST_H_
#define CFGSTORE_HTTP_REQUEST_H_

// The one request the host agent serves: "POST /api HTTP/1.1", headers,
// an empty line, and a body of Content-Length bytes (or, without that
// header, everything until the writer closes).

#include <string>

namespace cfgstore {

enum class RequestStatus { kIncomplete, kComplete, kMalformed };

// Judges what has arrived so far; `closed` tells whether the writer has
// finished. On kComplete, `body` receives the body.
RequestStatus ParseRequest(const std::string& data, bool closed, std::string* body);

}  // namespace cfgstore

#endif  // CFGSTORE_HTTP_REQUEST_H_
