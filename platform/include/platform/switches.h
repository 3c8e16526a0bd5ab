#ifndef PLATFORM_SWITCHES_H_
#define PLATFORM_SWITCHES_H_

// The host's run-time switches: entries of the configuration database's
// key-value table ("IS_BOOT", "BOOT_MODE", "NOTIFY_WARDEN"), read afresh on
// every use. IsBoot and the public key-value access are declared in
// configstore/config_store.h.

#include <memory>
#include <string>

namespace DBStore {
class StoreConnection;
}

namespace OrinConfigStore {

// The message of a boot flag that cannot be read.
constexpr const char* kReadValueFailed = "Failed to read value from database.";

// Reads the key-value entry `key` on a connection of its own into `value`
// ("" when the entry is absent). A host without a configuration database
// has no switches: `value` is "" and the read counts as done, without a log
// line. False when the database exists but cannot be read.
bool ReadSwitch(const std::string& key, std::string& value);

// The same read on `connection`, inside whatever transaction it has open: a
// write reads its switches in its own transaction, at no extra lock.
bool ReadSwitch(const std::string& key, std::string& value,
                const std::shared_ptr<DBStore::StoreConnection>& connection);

// IsBoot on `connection`.
bool IsBoot(const std::shared_ptr<DBStore::StoreConnection>& connection);

}  // namespace OrinConfigStore

#endif  // PLATFORM_SWITCHES_H_
