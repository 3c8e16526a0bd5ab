#include "platform/json_pointer.h"

namespace OrinConfigStore {

std::string ChildPointer(const std::string& parent, const std::string& token) {
  std::string pointer = parent;
  pointer.reserve(parent.size() + token.size() + 1);
  pointer += '/';
  for (const char c : token) {
    if (c == '~') {
      pointer += "~0";
    } else if (c == '/') {
      pointer += "~1";
    } else {
      pointer += c;
    }
  }
  return pointer;
}

}  // namespace OrinConfigStore
