#ifndef SRC_DB_KEY_VALUE_H_
#define SRC_DB_KEY_VALUE_H_

#include <string>

namespace OrinConfigStore {

// Whether the key-value entry `key` holds exactly "true" (case-sensitive).
// An absent entry, a read that fails and a host without a configuration
// database all read as false; the last without a log line, since a host
// that has no database yet is simply not in the state the switch names.
bool IsSwitchOn(const std::string& key);

}  // namespace OrinConfigStore

#endif  // SRC_DB_KEY_VALUE_H_
