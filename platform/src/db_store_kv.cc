// The key-value table: host flags such as the boot state, one text per key.

#include "db_store_internal.h"

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
      RunStatement(*connection, kSelectValue, bind, CopyValue, &out, kDefaultTimeoutMs);
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
  return RunStatement(*connection, kReplaceValue, bind, nullptr, nullptr, kDefaultTimeoutMs);
}

}  // namespace DBStore
