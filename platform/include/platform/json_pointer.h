#ifndef PLATFORM_JSON_POINTER_H_
#define PLATFORM_JSON_POINTER_H_

#include <string>

namespace OrinConfigStore {

// The JSON pointer of member or element `token` below `parent`, with "~" and
// "/" in the token escaped as "~0" and "~1".
std::string ChildPointer(const std::string& parent, const std::string& token);

}  // namespace OrinConfigStore

#endif  // PLATFORM_JSON_POINTER_H_
