#ifndef CFGSTORE_EXPLANATION_H_
#define CFGSTORE_EXPLANATION_H_

// get --explain: an object with the source of each of its members.

#include <configstore/configstore.h>

#include "tool.h"

namespace cfgstore {

// Prints {"data": <the merged object>, "members": [{"pointer", "value",
// "source", "overrides"}, ...]}; nothing stored is "not found".
int RunExplain(const Tool& tool, const OrinConfigStore::ConfigStoreObjectId& id);

}  // namespace cfgstore

#endif  // CFGSTORE_EXPLANATION_H_
