#ifndef CFGSTORE_IDENTIFIER_H_
#define CFGSTORE_IDENTIFIER_H_

// Object identifiers as the tool writes them: component/group/key, then
// optionally /instance-id. The instance id is everything after the third
// slash, so it may itself hold slashes.

#include <configstore/configstore.h>

#include <string>

namespace cfgstore {

// Raises a usage error (ToolError, kUsage) for an empty component, group or
// key, a missing part, or an empty instance id after a third slash.
OrinConfigStore::ConfigStoreObjectId ParseIdentifier(const std::string& text);

// As ParseIdentifier, for commands that name a whole type: an instance id
// is a usage error too.
OrinConfigStore::ConfigStoreObjectId ParseTypeIdentifier(const std::string& text);

// The identifier in the tool's syntax, for messages.
std::string FormatIdentifier(const OrinConfigStore::ConfigStoreObjectId& id);

}  // namespace cfgstore

#endif  // CFGSTORE_IDENTIFIER_H_
