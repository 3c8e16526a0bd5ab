#include "transaction.h"

#include <exception>
#include <utility>

#include "configstore/exceptions.h"
#include "configstore/logger.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kBeginFailed = "Begin Transaction failed for: ";
constexpr const char* kOperationFailed = "Operation failed: ";
constexpr const char* kTransactionFailed = "Transaction failed";
constexpr const char* kLogCancelFailed = "Rolling back a transaction failed: %s";

}  // namespace

TransactionFailure::TransactionFailure(int code, std::string message)
    : code_(code), message_(std::move(message)) {}

TransactionFailure TransactionFailure::Coded(CSErrorCodes code) {
  return TransactionFailure(code, GetErrorTemplate(code));
}

TransactionFailure TransactionFailure::Text(std::string message) {
  return TransactionFailure(CS_ERR_GENERIC, std::move(message));
}

void TransactionFailure::Raise() const { throw ConfigStoreException(code_, message_); }

TransactionPolicy TransactionPolicy::ForOperation(const char* operation) {
  return TransactionPolicy{TransactionFailure::Text(kBeginFailed + std::string(operation)),
                           TransactionFailure::Text(kCommitFailed),
                           InsideFailure::kForeignAsOperationFailed};
}

ScopedTransaction::ScopedTransaction(Connection connection, const TransactionFailure& beginFailure)
    : connection_(std::move(connection)) {
  if (DBStore::BeginTransaction(connection_) != 0) beginFailure.Raise();
}

ScopedTransaction::~ScopedTransaction() { Cancel(); }

void ScopedTransaction::Commit(const TransactionFailure& failure) {
  if (DBStore::CommitTransaction(connection_) != 0) failure.Raise();
  open_ = false;
}

// The database layer logs its own failures; what could still throw here is
// the logging of one, which must not escape a destructor.
void ScopedTransaction::Cancel() noexcept {
  if (!open_) return;
  open_ = false;
  try {
    DBStore::CancelTransaction(connection_);
  } catch (const std::exception& e) {
    CSLogger::Log(0, kLogCancelFailed, e.what());
  } catch (...) {
  }
}

void RunInTransaction(const Connection& connection, const TransactionPolicy& policy,
                      const std::function<void()>& work) {
  ScopedTransaction transaction(connection, policy.begin);
  try {
    work();
    transaction.Commit(policy.commit);
  } catch (const ConfigStoreException& e) {
    transaction.Cancel();
    if (policy.inside != InsideFailure::kAllAsTransactionFailed) throw;
    throw ConfigStoreException(kTransactionFailed + std::string(e.what()));
  } catch (const std::exception& e) {
    transaction.Cancel();
    if (policy.inside == InsideFailure::kAsRaised) throw;
    const char* prefix = policy.inside == InsideFailure::kAllAsTransactionFailed
                             ? kTransactionFailed
                             : kOperationFailed;
    throw ConfigStoreException(prefix + std::string(e.what()));
  }
}

}  // namespace OrinConfigStore
