#include "key_value.h"

#include "configstore/config_store.h"
#include "configstore/json_doc.h"
#include "platform/db_store.h"
#include "platform/host_path.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kBootKey = "IS_BOOT";
constexpr const char* kSwitchOn = "true";
constexpr const char* kWriteFailed = "Failed to write KV table for key: ";
constexpr const char* kReadFailed = "Failed to read KV table for key: ";

std::shared_ptr<DBStore::StoreConnection> ConnectionOrThrow() {
  auto connection = DBStore::GetConnection(DBStore::CONFIG);
  if (!connection) {
    ThrowException<ConfigStoreException>(CS_ERR_DB_CONNECT, DBStore::kConfigDatabaseFile);
  }
  return connection;
}

}  // namespace

void SetKeyValue(const std::string& key, const std::string& value) {
  const auto connection = ConnectionOrThrow();
  if (DBStore::WriteKeyValue(key, value, connection) != 0) {
    throw ConfigStoreException(kWriteFailed + key);
  }
}

std::string GetKeyValue(const std::string& key) {
  const auto connection = ConnectionOrThrow();
  std::string value;
  if (DBStore::ReadKeyValue(key, value, connection) != 0) {
    throw ConfigStoreException(kReadFailed + key);
  }
  return value;
}

bool ReadSwitch(const std::string& key, std::string& value) {
  value.clear();
  if (!FileExists(HostPath(DBStore::kConfigDatabaseFile))) return true;
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  return connection && DBStore::ReadKeyValue(key, value, connection) == 0;
}

// A flag that cannot be read fails closed: treating it as "not booting"
// would let user writes through that the boot is meant to hold back.
bool IsBoot() {
  std::string value;
  if (!ReadSwitch(kBootKey, value)) throw ConfigStoreException(kReadValueFailed);
  return value == kSwitchOn;
}

}  // namespace OrinConfigStore
