// The error table, the throw functions that format it, and the formatter.

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "configstore/exceptions.h"
#include "errors/format.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

// Every code of the bands has a template, and none of the gaps between them
// (their texts: the throw and log tests below).
TEST(ErrorTable, EveryBandIsRegisteredAndTheGapsAreNot) {
  EXPECT_STREQ(GetErrorTemplate(1001), "Failed to open database %s");
  EXPECT_STREQ(GetErrorTemplate(1105), "ConfigStore internal error");
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
  // Codes that two names share keep the template registered first.
  EXPECT_EQ(CS_ERR_INVALID_KEY, CS_ERR_INVALID_TYPE);
  EXPECT_EQ(CS_ERR_VALIDATE_CACHED, CS_ERR_VALIDATE_DEFAULT);
  EXPECT_CS_ERROR(ConfigStoreException, 1030, "Invalid type, mtu",
                  ThrowException<ConfigStoreException>(CS_ERR_INVALID_KEY, "mtu"));
  EXPECT_CS_ERROR(ValidationException, 1084, "Failed to validate Default config",
                  ThrowValidation(CS_ERR_VALIDATE_CACHED, {}));
  // Arguments are inserted as they are, without escaping.
  EXPECT_CS_ERROR(ConfigStoreException, 1036, "Configuration object not found: 100% 'x'",
                  ThrowException<ConfigStoreException>(CS_ERR_OBJECT_NOT_FOUND, "100% 'x'"));
  // Codes without a template.
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
  EXPECT_EQ(log.Lines(), (std::vector<std::pair<int, std::string>>{
                             {1, "SetUserData: Configuration object is empty"},
                             {0, "Validation Error: '/mtu' must be at most 9000"},
                             {0, "Unknown error code 1085"}}));
}

TEST(Format, AllocatesWhatTheTextNeeds) {
  EXPECT_EQ(Str_Format("[%d] %s", 1087, "x"), "[1087] x");
  const std::string big(10000, 'y');
  EXPECT_EQ(Str_Format("%s!", big.c_str()), big + "!");
  EXPECT_EQ(Str_Format("%s", ""), "");
}

}  // namespace
}  // namespace OrinConfigStore
