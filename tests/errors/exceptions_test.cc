// The exception tree: text forms, the log line of every construction, and
// the JSON assertion hook.

#include <gtest/gtest.h>

#include "configstore/exceptions.h"
#include "configstore/json.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

TEST(ExceptionText, CodeMessageAndValidationDetails) {
  const ConfigStoreException e("Begin Transaction failed for: x");
  EXPECT_EQ(e.GetErrorCode(), 2000);
  EXPECT_EQ(e.toString(), "Error Code: 2000\nMessage: Begin Transaction failed for: x\n");
  EXPECT_STREQ(e.what(), "Begin Transaction failed for: x");

  const ValidationException none(1089, "Failed to validate Set", {});
  EXPECT_EQ(none.toString(), "Error Code: 1089\nMessage: Failed to validate Set\n");
  const ValidationException two(1089, "Failed to validate Set",
                                {{"/mtu", "above maximum"}, {"/", "missing name"}});
  EXPECT_EQ(two.toString(),
            "Error Code: 1089\nMessage: Failed to validate Set\nDetails: \n"
            "/mtu: above maximum\n/: missing name\n");
}

TEST(ExceptionText, PulseStackListsOldestEntryFirst) {
  Helm::Lib::PulseMessage pulse;
  EXPECT_EQ(pulse.ToString(), "");
  pulse.Add("db", "open %s failed", {"store"});
  pulse.Add("net", "100%% of %s, %s", {"a"});
  EXPECT_EQ(pulse.ToString(), "\nPulse Stack: \n[db]: open store failed[net]: 100% of a, %s");

  ConfigStoreException e("outer");
  e.GetPulseMessage().Add("t", "inner");
  EXPECT_EQ(e.GetDetailedMessage(), "outer\nPulse Stack: \n[t]: inner");
  const ConfigStoreException copy = e;
  EXPECT_EQ(copy.GetDetailedMessage(), e.GetDetailedMessage());
}

TEST(ExceptionLog, EveryConstructionLogsCodeMessageAndBacktrace) {
  cstest::LogCapture log;
  try {
    ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING);
  } catch (const ConfigStoreException&) {
  }
  ASSERT_GE(log.Lines().size(), 2u);  // the line, then the stack frames
  EXPECT_EQ(log.Lines()[0], std::make_pair(0, std::string("[1080] Failed to parse JSON String")));
  for (const auto& [priority, line] : log.Lines()) EXPECT_EQ(priority, 0) << line;
  EXPECT_EQ(log.Lines()[1].second.rfind("  #0 ", 0), 0u);

  log.Clear();
  const ValidationException validation(1086, "Failed to validate Vital config", {});
  EXPECT_TRUE(log.Contains(0, "[1086] Failed to validate Vital config"));
}

TEST(JsonAssertionHook, WrongTypeAccessThrowsInsteadOfAborting) {
  JDoc doc;
  doc.Parse("{\"a\": \"text\", \"list\": 5}");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", doc["a"].GetInt());
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON",
                  doc["list"].PushBack(1, doc.GetAllocator()));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", doc["missing"]);
  // Move assignment is noexcept in stock rapidjson; an assertion there must
  // still throw, not terminate.
  JVal self(5);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", self = std::move(self));
}

}  // namespace
}  // namespace OrinConfigStore
