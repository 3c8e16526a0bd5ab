#ifndef SRC_JSON_EXACT_PARSE_H_
#define SRC_JSON_EXACT_PARSE_H_

#include "configstore/json.h"

namespace OrinConfigStore {

// ParseJsonText without UTF-8 validation, of a text that ends at its first
// NUL (a column's text, a string's data); false on a parse error.
bool ParseTerminatedText(JDoc& document, const char* text);

}  // namespace OrinConfigStore

#endif  // SRC_JSON_EXACT_PARSE_H_
