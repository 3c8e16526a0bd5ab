// The key-value table: the database layer's reads and writes of it, the
// public access to it, and the host switches it holds.

#include "configstore/config_store.h"
#include "configstore/json_doc.h"
#include "db_store_internal.h"
#include "platform/host.h"
#include "platform/switches.h"

namespace DBStore {

namespace {

constexpr const char* kReadKeyValue = "ReadKeyValue";
constexpr const char* kWriteKeyValue = "WriteKeyValue";
constexpr const char* kSelectValue = "SELECT Value FROM KVTable WHERE Key = ?1;";
// A replaced row keeps the time its key was first written.
constexpr const char* kReplaceValue =
    "INSERT OR REPLACE INTO KVTable(Key, Value, CreationTime) VALUES(?1, ?2, "
    "COALESCE((SELECT CreationTime FROM KVTable WHERE Key = ?1), datetime(CURRENT_TIMESTAMP)));";

// Key and value are bound as the texts they are, the empty text included: a
// NULL key would never match, and would not even collide with itself.
int BindText(sqlite3_stmt* statement, int index, const std::string& text) {
  return sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()),
                           SQLITE_STATIC);
}

int CopyValue(void* context, int /*columns*/, char** values, char** /*names*/) {
  *static_cast<std::string*>(context) = values[0] != nullptr ? values[0] : "";
  return 0;
}

}  // namespace

int ReadKeyValue(const std::string& key, std::string& out,
                 const std::shared_ptr<StoreConnection>& connection) {
  out.clear();
  if (connection == nullptr) return LogNoConnection(kReadKeyValue, 1);
  const Binder bind = [&key](sqlite3_stmt* statement) { return BindText(statement, 1, key); };
  const int result =
      RunStatement(*connection, kSelectValue, bind, CopyValue, &out, kStatementTimeoutMs);
  if (result != 0) out.clear();
  return result;
}

int WriteKeyValue(const std::string& key, const std::string& value,
                  const std::shared_ptr<StoreConnection>& connection) {
  if (connection == nullptr) return LogNoConnection(kWriteKeyValue, 1);
  const Binder bind = [&key, &value](sqlite3_stmt* statement) {
    const int status = BindText(statement, 1, key);
    return status != SQLITE_OK ? status : BindText(statement, 2, value);
  };
  return RunStatement(*connection, kReplaceValue, bind, nullptr, nullptr, kStatementTimeoutMs);
}

}  // namespace DBStore

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
  return ReadSwitch(key, value, DBStore::GetConnection(DBStore::CONFIG));
}

bool ReadSwitch(const std::string& key, std::string& value,
                const std::shared_ptr<DBStore::StoreConnection>& connection) {
  value.clear();
  return connection && DBStore::ReadKeyValue(key, value, connection) == 0;
}

namespace {

// A flag that cannot be read fails closed: treating it as "not booting"
// would let user writes through that the boot is meant to hold back.
bool BootFlagOn(bool read, const std::string& value) {
  if (!read) throw ConfigStoreException(kReadValueFailed);
  return value == kSwitchOn;
}

}  // namespace

bool IsBoot() {
  std::string value;
  const bool read = ReadSwitch(kBootKey, value);
  return BootFlagOn(read, value);
}

bool IsBoot(const std::shared_ptr<DBStore::StoreConnection>& connection) {
  std::string value;
  const bool read = ReadSwitch(kBootKey, value, connection);
  return BootFlagOn(read, value);
}

}  // namespace OrinConfigStore
