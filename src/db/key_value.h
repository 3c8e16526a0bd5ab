#ifndef SRC_DB_KEY_VALUE_H_
#define SRC_DB_KEY_VALUE_H_

#include <string>

namespace OrinConfigStore {

// The message of a boot flag that cannot be read.
constexpr const char* kReadValueFailed = "Failed to read value from database.";

// Reads the key-value entry `key` on a connection of its own into `value`
// ("" when the entry is absent). A host without a configuration database
// has no switches: `value` is "" and the read counts as done, without a log
// line. False when the database exists but cannot be read.
bool ReadSwitch(const std::string& key, std::string& value);

}  // namespace OrinConfigStore

#endif  // SRC_DB_KEY_VALUE_H_
