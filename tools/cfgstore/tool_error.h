#ifndef CFGSTORE_TOOL_ERROR_H_
#define CFGSTORE_TOOL_ERROR_H_

// How the tool ends: its exit statuses, the failures it raises itself, and
// the one JSON line on standard error that reports any failure.

#include <stdexcept>
#include <string>

namespace cfgstore {

enum ExitStatus : int {
  kSuccess = 0,
  kNotFound = 1,
  kUsage = 2,
  kInvalid = 3,
  kFailure = 4,
  // The database was held busy by other writers past the wait: try again.
  kBusy = 5,
};

// A failure the tool detects itself. `code` is the library error code that
// best names it, so that callers read one code space whoever failed.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitStatus status, int code, const std::string& message);

  ExitStatus Status() const { return status_; }
  int Code() const { return code_; }

 private:
  ExitStatus status_;
  int code_;
};

// A malformed command line: a bad identifier, an unusable argument.
ToolError UsageError(const std::string& message);
// A JSON argument that does not parse or has the wrong shape.
ToolError JsonArgumentError(const std::string& message);
// Nothing is stored at `what` (an identifier or key in the tool's syntax).
ToolError NotFoundError(const std::string& what);
// A type the schema store does not know.
ToolError UnknownTypeError(const std::string& what);

// Writes {"error":{"code":N,"message":"...","errors":[...]}} for the
// exception being handled and returns the exit status it maps to:
// ToolError its own, ValidationException kInvalid (with its errors), a
// library "not found" code (1036, 1037) kNotFound, anything else kFailure,
// or kBusy when a busy database caused it. A library failure behind which
// the database reported a cause carries it too, as
// "cause":{"code":<SQLite's result code>,"message":"..."}. Call only inside
// a catch block.
ExitStatus ReportCurrentException();

// Writes an error line without ending anything (for the command line's
// parse errors, and problems that a long-running command survives).
void ReportError(int code, const std::string& message);

}  // namespace cfgstore

#endif  // CFGSTORE_TOOL_ERROR_H_
