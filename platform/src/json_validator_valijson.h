#ifndef PLATFORM_JSON_VALIDATOR_VALIJSON_H_
#define PLATFORM_JSON_VALIDATOR_VALIJSON_H_

// valijson's rapidjson adapter, seen with this project's rapidjson settings.
//
// Built with exceptions, the adapter installs its own RAPIDJSON_ASSERT and
// warns when one is defined already. rapidjson is configured by
// "configstore/json.h" before this point, and the adapter's own code never
// asserts, so the project's hook is hidden while the adapter is read and
// restored right after: every rapidjson assertion still raises "Invalid JSON".

#include "configstore/json.h"

#pragma push_macro("RAPIDJSON_ASSERT")
#undef RAPIDJSON_ASSERT
#include <valijson/adapters/rapidjson_adapter.hpp>
#pragma pop_macro("RAPIDJSON_ASSERT")

#endif  // PLATFORM_JSON_VALIDATOR_VALIJSON_H_
