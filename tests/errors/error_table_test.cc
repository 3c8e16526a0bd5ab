// The throw functions that format the error table's templates, and the formatter.

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "configstore/exceptions.h"
#include "errors/format.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

// A code that two names share keeps the template registered first; arguments
// go in as they are; a code without a template is out of range.
TEST(ThrowFunctions, FormatTheTemplateIntoTheRequestedClass) {
  EXPECT_CS_ERROR(InvalidArgumentException, 1081, "Failed to parse JSON file /tmp/x.json",
                  ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_FILE, "/tmp/x.json"));
  EXPECT_CS_ERROR(ConfigStoreException, 1103, "Failed to wait for child process: 42, errno: ECHILD",
                  ThrowException<ConfigStoreException>(CS_ERR_WAIT_CHILD, 42, "ECHILD"));
  EXPECT_CS_ERROR(ConfigStoreException, 1030, "Invalid type, 100% 'x'",
                  ThrowException<ConfigStoreException>(CS_ERR_INVALID_KEY, "100% 'x'"));
  EXPECT_CS_ERROR(ValidationException, 1084, "Failed to validate Default config",
                  ThrowValidation(CS_ERR_VALIDATE_CACHED, {}));
  EXPECT_THROW(ThrowException<ConfigStoreException>(static_cast<CSErrorCodes>(1085)),
               std::out_of_range);
}

TEST(LogErrCode, LogsTheFormattedTemplate) {
  cstest::LogCapture log;
  CSLogger::LogErrCode(1, CS_ERR_OBJECT_EMPTY, "SetUserData");
  CSLogger::LogErrCode(0, 1085);
  EXPECT_EQ(log.Lines(), (std::vector<std::pair<int, std::string>>{
                             {1, "SetUserData: Configuration object is empty"},
                             {0, "Unknown error code 1085"}}));
}

TEST(Format, AllocatesWhatTheTextNeeds) {
  const std::string big(10000, 'y');
  EXPECT_EQ(Str_Format("[%d] %s!", 1087, big.c_str()), "[1087] " + big + "!");
}

}  // namespace
}  // namespace OrinConfigStore
