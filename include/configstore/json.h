#ifndef CONFIGSTORE_JSON_H_
#define CONFIGSTORE_JSON_H_

// The one way into rapidjson for this library, its host layer and its
// callers: JSON values handed out by the API are rapidjson values with UTF-8
// text and a memory-pool allocator over the standard allocator. It is a
// public header, not a host-layer one, because those values are part of the
// public API and a caller's inline rapidjson code must be configured exactly
// as the library's.

#include "configstore/json_config.h"

#include <rapidjson/document.h>

namespace OrinConfigStore {

using JAllocator = rapidjson::MemoryPoolAllocator<rapidjson::CrtAllocator>;
using JVal = rapidjson::GenericValue<rapidjson::UTF8<>, JAllocator>;
using JDoc = rapidjson::GenericDocument<rapidjson::UTF8<>, JAllocator>;

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_JSON_H_
