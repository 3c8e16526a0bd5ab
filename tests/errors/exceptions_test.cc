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

// The log line at priority 0 (the stack frames after it are diagnostics).
TEST(ExceptionLog, EveryConstructionLogsCodeAndMessage) {
  cstest::LogCapture log;
  const ValidationException validation(1086, "Failed to validate Vital config", {});
  ASSERT_FALSE(log.Lines().empty());
  EXPECT_EQ(log.Lines()[0],
            std::make_pair(0, std::string("[1086] Failed to validate Vital config")));
}

// Move assignment is noexcept in stock rapidjson; an assertion there must
// still throw, not terminate.
TEST(JsonAssertionHook, WrongTypeAccessThrowsInsteadOfAborting) {
  JDoc doc;
  doc.Parse("{\"a\": \"text\"}");
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", doc["a"].GetInt());
  JVal self(5);
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Invalid JSON", self = std::move(self));
}

}  // namespace
}  // namespace OrinConfigStore
