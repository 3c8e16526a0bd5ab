#include <cstdarg>
#include <unordered_map>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "errors/format.h"

namespace OrinConfigStore {

namespace {

using ErrorTable = std::unordered_map<CSErrorCodes, const char*>;

// Built from an initializer list, which inserts only the first row of each
// code: 1030 keeps "Invalid type, %s" and 1084 "Failed to validate Default
// config". Callers depend on that, so the order of the rows matters.
const ErrorTable& Table() {
  static const ErrorTable table{
      {CS_ERR_DB_OPEN, "Failed to open database %s"},
      {CS_ERR_DB_CONNECT, "Failed to connect to database %s"},
      {CS_ERR_DB_DISCONNECT, "Failed to disconnect from database %s"},
      {CS_ERR_DB_READ, "Failed to read"},
      {CS_ERR_DB_WRITE, "Failed to write"},
      {CS_ERR_DB_UPDATE, "Failed to update"},
      {CS_ERR_DB_DELETE, "Failed to delete from database"},
      {CS_ERR_DB_PREPARE, "Failed to execute prepare call"},
      {CS_ERR_DB_STEP, "Failed to execute step call"},
      {CS_ERR_DB_INTEGRITY, "Failed integrity check on the database"},
      {CS_ERR_TXN_START, "Failed to start transaction"},
      {CS_ERR_TXN_COMMIT, "Failed to commit transaction"},
      {CS_ERR_TXN_ROLLBACK, "Failed to rollback transaction"},
      {CS_ERR_TXN_CANCEL, "Failed to cancel transaction"},
      {CS_ERR_CREATE_TABLE, "Failed to create table"},
      {CS_ERR_CREATE_TRIGGER, "Failed to create trigger"},
      {CS_ERR_DB_BIND, "Failed to bind"},
      {CS_ERR_INVALID_DB_TYPE, "Invalid database type"},
      {CS_ERR_INVALID_TYPE, "Invalid type, %s"},
      {CS_ERR_INVALID_KEY, "Invalid key %s"},
      {CS_ERR_KEY_NOT_FOUND, "Key not found"},
      {CS_ERR_INVALID_VALUE, "Invalid value for key %s"},
      {CS_ERR_GET_VALUE, "Failed to get value for key %s"},
      {CS_ERR_SET_VALUE, "Failed to set value for key %s"},
      {CS_ERR_CODEC_VALUE, "Failed to encode/decode value for key %s"},
      {CS_ERR_OBJECT_NOT_FOUND, "Configuration object not found: %s"},
      {CS_ERR_SCHEMA_NOT_FOUND, "Schema object not found: %s"},
      {CS_ERR_FILTERSPEC_NOT_FOUND, "FilterSpec object not found: %s"},
      {CS_ERR_SUBOBJECT_FILTER_NOT_FOUND, "Failed to find subobject filter: %s"},
      {CS_ERR_OBJECT_EMPTY, "%s: Configuration object is empty"},
      {CS_ERR_FILTERSPEC_EMPTY, "%s: FilterSpec object is empty"},
      {CS_ERR_OBJECT_EXISTS, "Configuration object already exists: %s"},
      {CS_ERR_FILTERSPEC_EXISTS, "FilterSpec object already exists: %s"},
      {CS_ERR_NONSINGLETON_SUBOBJECT_FILTER, "Non-Singleton SubObject filtering is not supported"},
      {CS_ERR_NOT_SINGLETON, "Not a Singleton object: %s"},
      {CS_ERR_NOT_NONSINGLETON, "Not a Non-Singleton object: %s"},
      {CS_ERR_NONSINGLETON_API_ON_SINGLETON, "Non-Singleton API called for singleton object: %s"},
      {CS_ERR_INSTANCE_ID_REQUIRED, "Non-Singleton object should contain instanceId: %s"},
      {CS_ERR_INSTANCE_ID_FORBIDDEN, "Singleton object cannot contain instanceId: %s"},
      {CS_ERR_EXTERNAL_CONTEXT_DURING_BOOT,
       "API cannot be invoked with EXTERNAL context during boot"},
      {CS_ERR_SET_FAILED, "Set operation failed: %s"},
      {CS_ERR_GET_FAILED, "Get operation failed: %s"},
      {CS_ERR_UPDATE_FAILED, "Update operation failed: %s"},
      {CS_ERR_DELETE_FAILED, "Delete operation failed: %s"},
      {CS_ERR_IMPORT_FAILED, "Import operation failed"},
      {CS_ERR_EXPORT_FAILED, "Export operation failed"},
      {CS_ERR_UPGRADE_FAILED, "Upgrade operation failed"},
      {CS_ERR_SET_DESIRED_FAILED, "Set Desired operation failed"},
      {CS_ERR_SET_BOOT_STATUS_FAILED, "Set Boot Status operation failed"},
      {CS_ERR_SET_PARTIAL_BOOT_STATUS_FAILED, "Set Partial Boot Status operation failed"},
      {CS_ERR_JSON_PARSE_STRING, "Failed to parse JSON String"},
      {CS_ERR_JSON_PARSE_FILE, "Failed to parse JSON file %s"},
      {CS_ERR_INVALID_JSON, "Invalid JSON"},
      {CS_ERR_VALIDATION, "Validation Error: '%s' %s"},
      {CS_ERR_VALIDATE_DEFAULT, "Failed to validate Default config"},
      {CS_ERR_VALIDATE_CACHED, "Failed to validate Cached config"},
      {CS_ERR_VALIDATE_VITAL, "Failed to validate Vital config"},
      {CS_ERR_VALIDATE_USER, "Failed to validate User config"},
      {CS_ERR_VALIDATE_PARTIAL, "Failed to validate Partial config"},
      {CS_ERR_VALIDATE_SET, "Failed to validate Set"},
      {CS_ERR_VALIDATE_UPDATE, "Failed to validate Update"},
      {CS_ERR_VALIDATE_APPLY_FILE, "Failed to validate Apply JSON file"},
      {CS_ERR_VALIDATE_AUTO, "Failed to validate Auto config"},
      {CS_ERR_INVALID_ARGUMENT, "Invalid Argument"},
      {CS_ERR_RESERVE_MEMORY, "Failed to reserve memory"},
      {CS_ERR_FORK_EXEC, "Kernix_ForkExec failed, errno: %s"},
      {CS_ERR_WAIT_CHILD, "Failed to wait for child process: %d, errno: %s"},
      {CS_ERR_CHILD_EXIT, "Child process terminated with exit value: %d"},
      {CS_ERR_INTERNAL, "ConfigStore internal error"},
  };
  return table;
}

// Built at load, before any caller's thread can reach it.
[[maybe_unused]] const ErrorTable& kTableAtLoad = Table();

}  // namespace

const char* GetErrorTemplate(int code) { return Table().at(static_cast<CSErrorCodes>(code)); }

void CSLogger::LogErrCode(int priority, int code, ...) {
  if (!IsEnabled(priority)) return;
  const auto found = Table().find(static_cast<CSErrorCodes>(code));
  if (found == Table().end()) {
    Log(priority, "Unknown error code %d", code);
    return;
  }
  va_list args;
  va_start(args, code);
  const std::string text = Str_VFormat(found->second, args);
  va_end(args);
  Log(priority, "%s", text.c_str());
}

}  // namespace OrinConfigStore
