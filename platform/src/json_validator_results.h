#ifndef PLATFORM_JSON_VALIDATOR_RESULTS_H_
#define PLATFORM_JSON_VALIDATOR_RESULTS_H_

// The standard keywords, checked by valijson, as this layer reports them.

#include <valijson/schema.hpp>

#include "configstore/json.h"
#include "json_validator_report.h"

namespace OrinConfigStore {

// Every problem valijson finds in `value`. Its messages that only say that
// something below failed ("failed to validate against the schema of
// property x") are dropped when a problem at or below their place explains
// them, and otherwise kept with a generic text. A missing required member
// and a member refused by "additionalProperties" are reported at that
// member. valijson names only the first refused member of each object.
ValidatorErrors StandardErrors(const valijson::Schema& schema, const JVal& value);

}  // namespace OrinConfigStore

#endif  // PLATFORM_JSON_VALIDATOR_RESULTS_H_
