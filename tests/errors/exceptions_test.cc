// The exception tree: text forms, the log line of every construction, and
// the JSON assertion hook.

#include <gtest/gtest.h>

#include "configstore/exceptions.h"
#include "configstore/json.h"
#include "test_support.h"

namespace OrinConfigStore {
namespace {

TEST(ExceptionText, CodeMessageDetailsAndPulseStack) {
  const ConfigStoreException e("Begin Transaction failed for: x");
  EXPECT_EQ(e.GetErrorCode(), 2000);
  EXPECT_EQ(e.toString(), "Error Code: 2000\nMessage: Begin Transaction failed for: x\n");
  const ValidationException two(1089, "Failed to validate Set",
                                {{"/mtu", "above maximum"}, {"/", "missing name"}});
  EXPECT_EQ(two.toString(),
            "Error Code: 1089\nMessage: Failed to validate Set\nDetails: \n"
            "/mtu: above maximum\n/: missing name\n");

  // Oldest entry first; arguments missing for a "%s" leave it as it is.
  ConfigStoreException outer("outer");
  outer.GetPulseMessage().Add("db", "open %s failed", {"store"});
  outer.GetPulseMessage().Add("net", "100%% of %s, %s", {"a"});
  const ConfigStoreException copy = outer;
  EXPECT_EQ(copy.GetDetailedMessage(),
            "outer\nPulse Stack: \n[db]: open store failed[net]: 100% of a, %s");
}

// The log line, then the stack frames, all at priority 0.
TEST(ExceptionLog, EveryConstructionLogsCodeMessageAndBacktrace) {
  cstest::LogCapture log;
  const ValidationException validation(1086, "Failed to validate Vital config", {});
  ASSERT_GE(log.Lines().size(), 2u);
  EXPECT_EQ(log.Lines()[0],
            std::make_pair(0, std::string("[1086] Failed to validate Vital config")));
  EXPECT_EQ(log.Lines()[1].first, 0);
  EXPECT_EQ(log.Lines()[1].second.rfind("  #0 ", 0), 0u);
}

// Move assignment is noexcept in stock rapidjson; an assertion there must
// still throw, not terminate.
TEST(JsonAssertionHook, WrongTypeAccessThrowsInsteadOfAborting) {
  JDoc doc;
  doc.Parse("{\"a\": \"text\"}");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", doc["a"].GetInt());
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", doc["missing"]);
  JVal self(5);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", self = std::move(self));
}

}  // namespace
}  // namespace OrinConfigStore
