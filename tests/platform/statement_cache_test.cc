// The per-connection cache of prepared statements: what a connection uses
// again stays prepared however many one-off texts pass through.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "../../platform/src/db_store_internal.h"

namespace DBStore {
namespace {

class StatementCacheTest : public ::testing::Test {
 protected:
  StatementCacheTest() { sqlite3_open(":memory:", &db_); }
  ~StatementCacheTest() override {
    cache_.Clear();
    sqlite3_close(db_);
  }
  std::shared_ptr<PreparedStatement> Get(const std::string& text) {
    int status = 0;
    auto prepared = cache_.Get(db_, text, &status);
    EXPECT_EQ(status, SQLITE_OK) << text;
    return prepared;
  }
  void PassOneOffTexts(int count) {
    for (int i = 0; i < count; ++i) Get("SELECT " + std::to_string(next_++) + ";");
  }

  sqlite3* db_ = nullptr;
  StatementCache cache_;
  int next_ = 0;
};

TEST_F(StatementCacheTest, RepeatedStatementsOutliveOneOffTexts) {
  const auto repeated = Get("SELECT 'repeated';");
  EXPECT_EQ(Get("SELECT 'repeated';"), repeated);
  const auto once = Get("SELECT 'once';");
  PassOneOffTexts(500);
  EXPECT_EQ(Get("SELECT 'repeated';"), repeated);
  EXPECT_NE(Get("SELECT 'once';"), once);
}

// A text asked for again soon after it was pushed out is one the connection
// repeats, only rarely; one coming back much later is not.
TEST_F(StatementCacheTest, ATextBackSoonIsKeptAsRepeated) {
  Get("SELECT 'rare';");
  Get("SELECT 'late';");
  PassOneOffTexts(100);
  const auto rare = Get("SELECT 'rare';");
  PassOneOffTexts(1000);
  EXPECT_EQ(Get("SELECT 'rare';"), rare);
  const auto late = Get("SELECT 'late';");
  PassOneOffTexts(100);
  EXPECT_NE(Get("SELECT 'late';"), late);
}

// Repeated statements beyond what the cache keeps for them fall back among
// the one-off texts, oldest first, instead of being finalised at once.
TEST_F(StatementCacheTest, TheOldestRepeatedStatementsFallBackFirst) {
  std::vector<std::shared_ptr<PreparedStatement>> repeated;
  for (int i = 0; i < 100; ++i) {
    const std::string text = "SELECT 'repeated " + std::to_string(i) + "';";
    repeated.push_back(Get(text));
    Get(text);
  }
  EXPECT_EQ(Get("SELECT 'repeated 0';"), repeated[0]);
  EXPECT_EQ(Get("SELECT 'repeated 99';"), repeated[99]);
  PassOneOffTexts(500);
  EXPECT_EQ(Get("SELECT 'repeated 0';"), repeated[0]);
  EXPECT_NE(Get("SELECT 'repeated 1';"), repeated[1]);
}

}  // namespace
}  // namespace DBStore
