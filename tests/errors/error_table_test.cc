// The error table and the throw functions that format it.

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "configstore/exceptions.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

TEST(ErrorTable, SharedValuesKeepTheFirstRegisteredTemplate) {
  EXPECT_EQ(CS_ERR_INVALID_KEY, CS_ERR_INVALID_TYPE);
  EXPECT_EQ(CS_ERR_VALIDATE_CACHED, CS_ERR_VALIDATE_DEFAULT);
  EXPECT_STREQ(GetErrorTemplate(1030), "Invalid type, %s");
  EXPECT_STREQ(GetErrorTemplate(1084), "Failed to validate Default config");

  EXPECT_CS_ERROR(ConfigStoreException, 1030, "Invalid type, mtu",
                  ThrowException<ConfigStoreException>(CS_ERR_INVALID_KEY, "mtu"));
  EXPECT_CS_ERROR(ValidationException, 1084, "Failed to validate Default config",
                  ThrowValidation(CS_ERR_VALIDATE_CACHED, {}));
}

TEST(ErrorTable, EveryBandIsRegisteredAndTheGapsAreNot) {
  const std::pair<int, const char*> samples[] = {
      {1001, "Failed to open database %s"},
      {1018, "Invalid database type"},
      {1031, "Key not found"},
      {1046, "Not a Non-Singleton object: %s"},
      {1050, "API cannot be invoked with EXTERNAL context during boot"},
      {1060, "Set Partial Boot Status operation failed"},
      {1083, "Validation Error: '%s' %s"},
      {1092, "Failed to validate Auto config"},
      {1103, "Failed to wait for child process: %d, errno: %s"},
      {1105, "ConfigStore internal error"},
  };
  for (const auto& [code, text] : samples) EXPECT_STREQ(GetErrorTemplate(code), text) << code;
  for (int code = 1001; code <= 1105; ++code) {
    const bool unused = (code >= 1019 && code <= 1029) || (code >= 1061 && code <= 1079) ||
                        (code >= 1093 && code <= 1099) || code == 1085;
    if (unused) {
      EXPECT_THROW(GetErrorTemplate(code), std::out_of_range) << code;
    } else {
      EXPECT_NO_THROW(GetErrorTemplate(code)) << code;
    }
  }
}

TEST(ThrowFunctions, FormatTheTemplateIntoTheRequestedClass) {
  EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file /tmp/x.json",
                  ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_FILE, "/tmp/x.json"));
  EXPECT_CS_ERROR(ConfigStoreException, 1103, "Failed to wait for child process: 42, errno: ECHILD",
                  ThrowException<ConfigStoreException>(CS_ERR_WAIT_CHILD, 42, "ECHILD"));
  // Arguments are inserted as they are, without escaping.
  EXPECT_CS_ERROR(ConfigStoreException, 1036, "Configuration object not found: 100% 'x'",
                  ThrowException<ConfigStoreException>(CS_ERR_OBJECT_NOT_FOUND, "100% 'x'"));
}

TEST(ThrowFunctions, CodesWithoutTemplateRaiseOutOfRange) {
  EXPECT_THROW(ThrowException<ConfigStoreException>(static_cast<CSErrorCodes>(1085)),
               std::out_of_range);
  EXPECT_THROW(ThrowException<InvalidArgumentException>(CS_ERR_GENERIC), std::out_of_range);
  EXPECT_THROW(ThrowValidation(CS_ERR_GENERIC, {{"/a", "bad"}}), std::out_of_range);
}

TEST(LogErrCode, LogsTheFormattedTemplate) {
  cstest::LogCapture log;
  CSLogger::LogErrCode(1, CS_ERR_OBJECT_EMPTY, "SetUserData");
  CSLogger::LogErrCode(0, CS_ERR_VALIDATION, "/mtu", "must be at most 9000");
  CSLogger::LogErrCode(0, 1085);
  EXPECT_TRUE(log.Contains(1, "SetUserData: Configuration object is empty"));
  EXPECT_TRUE(log.Contains(0, "Validation Error: '/mtu' must be at most 9000"));
  EXPECT_TRUE(log.Contains(0, "Unknown error code 1085"));
}

}  // namespace
}  // namespace OrinConfigStore
