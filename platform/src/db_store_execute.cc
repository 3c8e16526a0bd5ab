// Execute and ExecuteV2: statements with bound values, statements with rows.

#include "db_store_internal.h"

namespace DBStore {

namespace {

constexpr const char* kExecute = "Execute";
constexpr const char* kExecuteV2 = "ExecuteV2";

// Binds `values` then `integers` to the parameters from 1 on. An empty text
// is bound as NULL: callers pass "" for a value that is absent, and a
// stored '' would read back as something present.
int BindAll(sqlite3_stmt* statement, const std::vector<std::string>& values,
            const std::vector<int>& integers) {
  int index = 1;
  for (const auto& value : values) {
    // The values outlive the run, and the bindings are cleared when it ends.
    const int status = value.empty()
                           ? sqlite3_bind_null(statement, index)
                           : sqlite3_bind_text(statement, index, value.data(),
                                               static_cast<int>(value.size()), SQLITE_STATIC);
    if (status != SQLITE_OK) return status;
    ++index;
  }
  for (const int integer : integers) {
    const int status = sqlite3_bind_int(statement, index++, integer);
    if (status != SQLITE_OK) return status;
  }
  return SQLITE_OK;
}

}  // namespace

int Execute(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
            const std::vector<std::string>& values, const std::vector<int>& integers,
            int timeoutMs) {
  if (connection == nullptr) return LogNoConnection(kExecute, 1);
  const Binder bind = [&values, &integers](sqlite3_stmt* prepared) {
    return BindAll(prepared, values, integers);
  };
  return RunStatement(*connection, statement, bind, nullptr, nullptr, timeoutMs);
}

int ExecuteV2(const std::shared_ptr<StoreConnection>& connection, const std::string& statement,
              RowCallback callback, void* context, int timeoutMs) {
  if (connection == nullptr) return LogNoConnection(kExecuteV2, 1);
  return RunStatement(*connection, statement, Binder(), callback, context, timeoutMs);
}

}  // namespace DBStore
