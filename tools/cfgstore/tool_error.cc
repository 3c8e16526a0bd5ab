#include "tool_error.h"

#include <configstore/configstore.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <iostream>
#include <vector>

namespace cfgstore {

namespace {

using OrinConfigStore::ErrorInfo;

constexpr const char* kObjectNotFound = "Configuration object not found: ";
constexpr const char* kSchemaNotFound = "Schema object not found: ";
constexpr const char* kUnknownFailure = "Unknown failure";
// SQLite's result code of a database that others hold busy.
constexpr int kSqliteBusy = 5;

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void WriteErrors(Writer& writer, const std::vector<ErrorInfo>& errors) {
  writer.Key("errors");
  writer.StartArray();
  for (const ErrorInfo& error : errors) {
    writer.StartObject();
    writer.Key("field");
    writer.String(error.field);
    writer.Key("error");
    writer.String(error.error);
    writer.EndObject();
  }
  writer.EndArray();
}

// `errors` is null for everything but validation failures, whose line then
// carries the (possibly empty) list; `cause` is null but for library
// failures the database explained.
void WriteErrorLine(int code, const std::string& message, const std::vector<ErrorInfo>* errors,
                    const OrinConfigStore::DatabaseFailure* cause = nullptr) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  writer.Key("error");
  writer.StartObject();
  writer.Key("code");
  writer.Int(code);
  writer.Key("message");
  writer.String(message);
  if (errors) WriteErrors(writer, *errors);
  if (cause) {
    writer.Key("cause");
    writer.StartObject();
    writer.Key("code");
    writer.Int(cause->code);
    writer.Key("message");
    writer.String(cause->message);
    writer.EndObject();
  }
  writer.EndObject();
  writer.EndObject();
  std::cerr << buffer.GetString() << std::endl;
}

bool IsNotFoundCode(int code) {
  return code == OrinConfigStore::CS_ERR_OBJECT_NOT_FOUND ||
         code == OrinConfigStore::CS_ERR_SCHEMA_NOT_FOUND;
}

}  // namespace

ToolError::ToolError(ExitStatus status, int code, const std::string& message)
    : std::runtime_error(message), status_(status), code_(code) {}

ToolError UsageError(const std::string& message) {
  return ToolError(kUsage, OrinConfigStore::CS_ERR_INVALID_ARGUMENT, message);
}

ToolError JsonArgumentError(const std::string& message) {
  return ToolError(kUsage, OrinConfigStore::CS_ERR_JSON_PARSE_STRING, message);
}

ToolError NotFoundError(const std::string& what) {
  return ToolError(kNotFound, OrinConfigStore::CS_ERR_OBJECT_NOT_FOUND, kObjectNotFound + what);
}

ToolError UnknownTypeError(const std::string& what) {
  return ToolError(kNotFound, OrinConfigStore::CS_ERR_SCHEMA_NOT_FOUND, kSchemaNotFound + what);
}

ExitStatus ReportCurrentException() {
  try {
    throw;
  } catch (const ToolError& e) {
    WriteErrorLine(e.Code(), e.what(), nullptr);
    return e.Status();
  } catch (const OrinConfigStore::RevisionConflictException& e) {
    // Somebody wrote first: read again and retry, as for a busy database.
    WriteErrorLine(e.GetErrorCode(), e.what(), nullptr);
    return kBusy;
  } catch (const OrinConfigStore::ValidationException& e) {
    WriteErrorLine(e.GetErrorCode(), e.what(), &e.GetErrors());
    return kInvalid;
  } catch (const OrinConfigStore::ConfigStoreException& e) {
    if (IsNotFoundCode(e.GetErrorCode())) {
      WriteErrorLine(e.GetErrorCode(), e.what(), nullptr);
      return kNotFound;
    }
    // One command runs per process, so a recorded failure is this command's.
    const OrinConfigStore::DatabaseFailure cause = OrinConfigStore::GetLastDatabaseFailure();
    WriteErrorLine(e.GetErrorCode(), e.what(), nullptr, cause.code != 0 ? &cause : nullptr);
    return cause.code == kSqliteBusy ? kBusy : kFailure;
  } catch (const std::exception& e) {
    WriteErrorLine(OrinConfigStore::CS_ERR_GENERIC, e.what(), nullptr);
    return kFailure;
  } catch (...) {
    WriteErrorLine(OrinConfigStore::CS_ERR_GENERIC, kUnknownFailure, nullptr);
    return kFailure;
  }
}

void ReportError(int code, const std::string& message) { WriteErrorLine(code, message, nullptr); }

}  // namespace cfgstore
