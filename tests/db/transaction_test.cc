// The one scoped transaction of the library: a failure inside rolls back its
// own level only, a refused begin or commit raises the policy's failure, and
// each InsideFailure mode reports a failure inside its own way.

#include "db/transaction.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "database_root.h"

namespace OrinConfigStore {
namespace {

class TransactionTest : public ::testing::Test {
 protected:
  TransactionTest() {
    // A write that SQLite answers by rolling the whole transaction back.
    db_.Sql(
        "CREATE TRIGGER lose BEFORE INSERT ON KVTable WHEN NEW.Key='lose' "
        "BEGIN SELECT RAISE(ROLLBACK, 'lost'); END;");
  }
  void Write(const char* key) { DBStore::WriteKeyValue(key, "", connection_); }
  // The keys committed.
  std::string Keys() { return db_.Rows("SELECT group_concat(Key) AS K FROM KVTable;")[0]; }
  // Runs `work` after a write of the key "k": "<kind> <code> <message>" for
  // what it raised, or "done".
  std::string Outcome(const TransactionPolicy& policy, const std::function<void()>& work) {
    try {
      RunInTransaction(connection_, policy, [&] {
        Write("k");
        work();
      });
    } catch (const ConfigStoreException& e) {
      return (dynamic_cast<const ValidationException*>(&e) ? "validation " : "store ") +
             std::to_string(e.GetErrorCode()) + " " + e.what();
    } catch (const std::exception& e) {
      return std::string("foreign ") + e.what();
    }
    return "done";
  }
  TransactionPolicy Policy(InsideFailure mode) { return {policy_.begin, policy_.commit, mode}; }

  cstest::DatabaseRoot db_;
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
  const TransactionPolicy policy_ = TransactionPolicy::ForOperation("Import");
};

// Each mode reports a failure inside its own way; the caller's level stays
// open and keeps what it wrote.
TEST_F(TransactionTest, AFailureInsideRollsBackItsOwnLevelOnly) {
  const auto own = [] { throw ValidationException(1090, "Failed to validate Update", {}); };
  const auto foreign = [] { throw std::runtime_error("disk"); };
  ASSERT_EQ(DBStore::BeginTransaction(connection_), 0);
  Write("outer");
  EXPECT_EQ(Outcome(policy_, foreign), "store 2000 Operation failed: disk");
  EXPECT_EQ(Outcome(policy_, own), "validation 1090 Failed to validate Update");
  EXPECT_EQ(Outcome(Policy(InsideFailure::kAsRaised), foreign), "foreign disk");
  EXPECT_EQ(Outcome(Policy(InsideFailure::kAllAsTransactionFailed), own),
            "store 2000 Transaction failedFailed to validate Update");
  EXPECT_EQ(Outcome(Policy(InsideFailure::kAllAsTransactionFailed), foreign),
            "store 2000 Transaction faileddisk");
  EXPECT_EQ(Outcome(policy_, [] {}), "done");
  EXPECT_EQ(DBStore::CommitTransaction(connection_), 0);  // the caller's level, still open
  {
    ScopedTransaction uncommitted(connection_, policy_.begin);
    Write("dropped");
  }
  EXPECT_EQ(Keys(), "K=k,outer");
}

// A lost transaction refuses the next begin until the caller's level is
// cancelled; a lost one inside refuses the commit.
TEST_F(TransactionTest, ARefusedBeginOrCommitRaisesThePolicysFailure) {
  ASSERT_EQ(DBStore::BeginTransaction(connection_), 0);
  Write("lose");
  EXPECT_EQ(Outcome(policy_, [] {}), "store 2000 Begin Transaction failed for: Import");
  EXPECT_EQ(DBStore::CancelTransaction(connection_), 0);

  EXPECT_EQ(Outcome(policy_, [&] { Write("lose"); }), "store 2000 Commit transaction failed.");
  EXPECT_EQ(Outcome(Policy(InsideFailure::kAllAsTransactionFailed), [&] { Write("lose"); }),
            "store 2000 Transaction failedCommit transaction failed.");
  EXPECT_EQ(Outcome(policy_, [] {}), "done");  // the refused levels were closed
  EXPECT_EQ(Keys(), "K=k");
}

}  // namespace
}  // namespace OrinConfigStore
