#ifndef PLATFORM_JSON_VALIDATOR_REPORT_H_
#define PLATFORM_JSON_VALIDATOR_REPORT_H_

// The problems a validation collects, and their JSON pointers.

#include <string>
#include <vector>

#include "configstore/json.h"
#include "platform/json_pointer.h"

namespace OrinConfigStore {

// One problem. `field` is a JSON pointer; the root is the empty pointer
// until the report is written, where it becomes "/".
struct ValidatorError {
  std::string field;
  std::string error;
};

using ValidatorErrors = std::vector<ValidatorError>;

// Whether `pointer` is `ancestor` or lies below it.
bool PointerWithin(const std::string& pointer, const std::string& ancestor);

// Orders `errors` deepest first (stable, so equal depths keep the order in
// which they were found), drops exact repeats and writes them to `result` as
// an array of {"field", "error"} objects.
void WriteReport(ValidatorErrors errors, JDoc& result);

}  // namespace OrinConfigStore

#endif  // PLATFORM_JSON_VALIDATOR_REPORT_H_
