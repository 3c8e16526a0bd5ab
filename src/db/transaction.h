#ifndef SRC_DB_TRANSACTION_H_
#define SRC_DB_TRANSACTION_H_

// The transaction an operation of several statements owns: one level of
// its connection's nested transactions, begun for the operation and either
// committed by it or rolled back.

#include <functional>
#include <string>

#include "configstore/error_codes.h"
#include "row_reader.h"

namespace OrinConfigStore {

// What the store raises when the database refuses a commit.
constexpr const char* kCommitFailed = "Commit transaction failed.";

// What an operation raises when the database refuses to begin or to commit
// its transaction: ConfigStoreException with a code of the message table and
// its text, or code 2000 with a text of the operation's own.
class TransactionFailure {
 public:
  static TransactionFailure Coded(CSErrorCodes code);
  static TransactionFailure Text(std::string message);
  [[noreturn]] void Raise() const;

 private:
  TransactionFailure(int code, std::string message);
  int code_;
  std::string message_;
};

// How a failure inside the transaction, its commit included, reaches the
// caller, after the level is rolled back.
enum class InsideFailure {
  kAsRaised,
  // The library's own exceptions unchanged, any other as
  // "Operation failed: <cause>".
  kForeignAsOperationFailed,
  // Every failure as "Transaction failed<cause>".
  kAllAsTransactionFailed,
};

struct TransactionPolicy {
  TransactionFailure begin;
  TransactionFailure commit;
  InsideFailure inside;

  // A store operation: "Begin Transaction failed for: <operation>",
  // "Commit transaction failed.", and kForeignAsOperationFailed.
  static TransactionPolicy ForOperation(const char* operation);
};

// One level of a connection's transactions. Begun on construction (raising
// the given failure when the database refuses), rolled back on destruction
// unless committed; the destructor never throws.
class ScopedTransaction {
 public:
  ScopedTransaction(Connection connection, const TransactionFailure& beginFailure);
  ~ScopedTransaction();
  ScopedTransaction(const ScopedTransaction&) = delete;
  ScopedTransaction& operator=(const ScopedTransaction&) = delete;

  // Commits the level. A refused commit raises `failure` and leaves the
  // level open, for Cancel or the destructor to roll back.
  void Commit(const TransactionFailure& failure);
  // Rolls the level back unless it was committed or cancelled already.
  void Cancel() noexcept;

 private:
  Connection connection_;
  bool open_ = true;
};

// Runs `work` in a transaction of its own on `connection` and commits it,
// reporting failures by `policy`. A failure before the commit, or of the
// commit itself, rolls this level back only: a caller's enclosing
// transaction stays open.
void RunInTransaction(const Connection& connection, const TransactionPolicy& policy,
                      const std::function<void()>& work);

}  // namespace OrinConfigStore

#endif  // SRC_DB_TRANSACTION_H_
