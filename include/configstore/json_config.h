#ifndef CONFIGSTORE_JSON_CONFIG_H_
#define CONFIGSTORE_JSON_CONFIG_H_

// How every translation unit that sees rapidjson must configure it. The build
// force-includes this header into every file of the project; callers get it
// through <configstore/json.h>. The settings must be identical in every file
// of a program, because rapidjson is header-only.
//
// - A failed rapidjson assertion (a getter used on a value of the wrong type,
//   an array operation on a non-array, a member that is not there) throws
//   ConfigStoreException 2000 "Invalid JSON" instead of aborting the process.
// - rapidjson's noexcept markers are switched off: an assertion that fires
//   inside a noexcept function would call std::terminate instead of
//   throwing. Destructors stay noexcept, and rapidjson asserts in none of them.

#include "configstore/export.h"

#if defined(RAPIDJSON_RAPIDJSON_H_) && !defined(CONFIGSTORE_JSON_CONFIGURED)
#error "rapidjson was included before <configstore/json.h>; include it through that header"
#endif

#define CONFIGSTORE_JSON_CONFIGURED 1

namespace OrinConfigStore {
// Raises ConfigStoreException with code 2000 and the message "Invalid JSON".
[[noreturn]] CONFIGSTORE_API void ThrowInvalidJson();
}  // namespace OrinConfigStore

#define RAPIDJSON_ASSERT(x) ((x) ? static_cast<void>(0) : ::OrinConfigStore::ThrowInvalidJson())
#define RAPIDJSON_HAS_CXX11_NOEXCEPT 0
#define RAPIDJSON_HAS_STDSTRING 1

#endif  // CONFIGSTORE_JSON_CONFIG_H_
