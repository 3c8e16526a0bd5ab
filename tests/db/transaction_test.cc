// The one scoped transaction of the library: a failure inside rolls back its
// own level only, a refused begin or commit raises the policy's failure, and
// each InsideFailure mode reports a failure inside its own way.

#include "db/transaction.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

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
  void Lose() { EXPECT_NE(DBStore::WriteKeyValue("lose", "", connection_), 0); }
  // The keys as the test's connection sees them, inside its transaction.
  std::string Keys() {
    RowMap row;
    EXPECT_EQ(FetchRow(connection_, "SELECT group_concat(Key) AS K FROM KVTable;", row), 0);
    return row["K"];
  }
  // Runs `work` after a write of the key "k": "<kind> <code> <message>" for
  // what it raised, or "done <keys>".
  std::string Outcome(const TransactionPolicy& policy, const std::function<void()>& work) {
    try {
      RunInTransaction(connection_, policy, [&] {
        ASSERT_EQ(DBStore::WriteKeyValue("k", "", connection_), 0);
        work();
      });
    } catch (const ValidationException& e) {
      return "validation " + std::to_string(e.GetErrorCode()) + " " + e.what();
    } catch (const ConfigStoreException& e) {
      return "store " + std::to_string(e.GetErrorCode()) + " " + e.what();
    } catch (const std::exception& e) {
      return std::string("foreign ") + e.what();
    }
    return "done " + Keys();
  }

  cstest::DatabaseRoot db_;
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
  const TransactionPolicy policy_ = TransactionPolicy::ForOperation("Import");
};

TEST_F(TransactionTest, AFailureInsideRollsBackItsOwnLevelOnly) {
  ASSERT_EQ(DBStore::BeginTransaction(connection_), 0);
  ASSERT_EQ(DBStore::WriteKeyValue("outer", "", connection_), 0);
  EXPECT_EQ(Outcome(policy_, [] { throw std::runtime_error("disk"); }),
            "store 2000 Operation failed: disk");
  EXPECT_EQ(Outcome(policy_, [] {}), "done k,outer");
  EXPECT_EQ(DBStore::CommitTransaction(connection_), 0);  // the caller's level, still open
  EXPECT_EQ(db_.Rows("SELECT group_concat(Key) AS K FROM KVTable;"),
            std::vector<std::string>{"K=k,outer"});
  {
    ScopedTransaction uncommitted(connection_, policy_.begin);
    ASSERT_EQ(DBStore::WriteKeyValue("dropped", "", connection_), 0);
  }
  EXPECT_EQ(Keys(), "k,outer");
}

TEST_F(TransactionTest, EachModeReportsAFailureInsideItsWay) {
  const auto own = [] { throw ValidationException(1090, "Failed to validate Update", {}); };
  const auto foreign = [] { throw std::runtime_error("disk"); };
  const struct {
    InsideFailure mode;
    std::string own, foreign;
  } modes[] = {
      {InsideFailure::kAsRaised, "validation 1090 Failed to validate Update", "foreign disk"},
      {InsideFailure::kForeignAsOperationFailed, "validation 1090 Failed to validate Update",
       "store 2000 Operation failed: disk"},
      {InsideFailure::kAllAsTransactionFailed,
       "store 2000 Transaction failedFailed to validate Update",
       "store 2000 Transaction faileddisk"},
  };
  for (const auto& expected : modes) {
    const TransactionPolicy policy{policy_.begin, policy_.commit, expected.mode};
    EXPECT_EQ(Outcome(policy, own), expected.own);
    EXPECT_EQ(Outcome(policy, foreign), expected.foreign);
  }
  EXPECT_EQ(Keys(), "");
}

TEST_F(TransactionTest, ARefusedBeginOrCommitRaisesThePolicysFailure) {
  ASSERT_EQ(DBStore::BeginTransaction(connection_), 0);
  Lose();
  EXPECT_EQ(Outcome(policy_, [] {}), "store 2000 Begin Transaction failed for: Import");
  const TransactionFailure exportFailed = TransactionFailure::Coded(CS_ERR_EXPORT_FAILED);
  EXPECT_EQ(Outcome({exportFailed, exportFailed, InsideFailure::kAsRaised}, [] {}),
            "store 1056 Export operation failed");
  EXPECT_EQ(DBStore::CancelTransaction(connection_), 0);  // the caller's level, the only one

  EXPECT_EQ(Outcome(policy_, [&] { Lose(); }), "store 2000 Commit transaction failed.");
  EXPECT_EQ(Outcome({policy_.begin, policy_.commit, InsideFailure::kAllAsTransactionFailed},
                    [&] { Lose(); }),
            "store 2000 Transaction failedCommit transaction failed.");
  EXPECT_EQ(Outcome(policy_, [] {}), "done k");  // the refused levels were closed
}

}  // namespace
}  // namespace OrinConfigStore
