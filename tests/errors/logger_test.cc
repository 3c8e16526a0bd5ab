// The logger's sinks and levels.

#include <gtest/gtest.h>

#include "configstore/logger.h"
#include "errors/logger_settings.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

// Restores the environment's logger settings after a test changed them.
class LoggerTest : public ::testing::Test {
 protected:
  void TearDown() override { ReloadLoggerSettings(); }
};

TEST_F(LoggerTest, EnvironmentChoosesSinkAndLevelUnlessASinkIsInstalled) {
  cstest::ScopedEnv sink("CONFIGSTORE_LOG", "stderr");
  cstest::ScopedEnv level("CONFIGSTORE_LOG_LEVEL", "3");
  ReloadLoggerSettings();
  testing::internal::CaptureStderr();
  CSLogger::Log(3, "to stderr %s", "now");
  CSLogger::Log(4, "filtered");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "configstore[3]: to stderr now\n");
  cstest::LogCapture log;  // an installed sink takes every priority
  CSLogger::Log(4, "line %d", 4);
  EXPECT_EQ(log.Lines(), (std::vector<std::pair<int, std::string>>{{4, "line 4"}}));
}

TEST_F(LoggerTest, ThrowingSinkLosesTheLineQuietly) {
  CSLogger::SetSink([](int, const std::string&) { throw std::runtime_error("sink down"); });
  EXPECT_NO_THROW(CSLogger::Log(0, "lost"));
  CSLogger::SetSink(nullptr);
}

}  // namespace
}  // namespace OrinConfigStore
