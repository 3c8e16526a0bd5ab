#ifndef CFGSTORE_JSON_INPUT_H_
#define CFGSTORE_JSON_INPUT_H_

// JSON given on the command line. Every problem here is the caller's: a
// file that cannot be read or text that does not parse is a usage error
// (ToolError, kUsage), never a failure of the store.

#include <string>

namespace cfgstore {

// A JSON object argument: the text itself, "@FILE" for a file's content, or
// "-" for all of standard input. Returns the text once it has parsed as a
// JSON object.
std::string ReadJsonObjectArgument(const std::string& argument);

// A JSON document read from a file, or from standard input for "-". Returns
// the text once it has parsed as JSON (of any shape).
std::string ReadJsonSource(const std::string& source);

}  // namespace cfgstore

#endif  // CFGSTORE_JSON_INPUT_H_
