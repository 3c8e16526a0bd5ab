// The per-connection cache of prepared statements and the column names
// reported to row callbacks.

#include "db_store_internal.h"

// A build of SQLite without column metadata lacks this function; the weak
// reference lets such builds link, and column names then fall back to what
// the statement itself reports.
#pragma weak sqlite3_column_origin_name

namespace DBStore {

namespace {

// Enough for the statements one connection repeats (the key-value reads,
// transaction control, the store's per-type queries) without keeping every
// statement text ever formatted.
constexpr std::size_t kMaxCachedStatements = 64;

// The name the statement gives column `index`, or the declared name of the
// table column it reads when the two differ only in case: callers find
// columns by their declared spelling, whatever case the statement used.
std::string ReportedName(sqlite3_stmt* statement, int index) {
  const char* name = sqlite3_column_name(statement, index);
  if (name == nullptr) return std::string();
  if (sqlite3_column_origin_name != nullptr) {
    const char* origin = sqlite3_column_origin_name(statement, index);
    if (origin != nullptr && sqlite3_stricmp(origin, name) == 0) return origin;
  }
  return name;
}

}  // namespace

char** ColumnNames::For(sqlite3_stmt* statement) {
  const auto count = static_cast<std::size_t>(sqlite3_column_count(statement));
  if (computed_ && names_.size() == count) return pointers_.data();
  names_.clear();
  for (std::size_t i = 0; i < count; ++i) {
    names_.push_back(ReportedName(statement, static_cast<int>(i)));
  }
  pointers_.clear();
  for (auto& name : names_) pointers_.push_back(name.data());
  computed_ = true;
  return pointers_.data();
}

std::shared_ptr<PreparedStatement> PrepareFirst(sqlite3* db, const char* sql, std::size_t size,
                                                int* status) {
  auto prepared = std::make_shared<PreparedStatement>();
  const char* tail = nullptr;
  *status = sqlite3_prepare_v2(db, sql, static_cast<int>(size), &prepared->statement, &tail);
  if (*status != SQLITE_OK || prepared->statement == nullptr) return nullptr;
  prepared->tailOffset = tail != nullptr ? static_cast<std::size_t>(tail - sql) : size;
  return prepared;
}

StatementLease::StatementLease(std::shared_ptr<PreparedStatement> prepared)
    : prepared_(std::move(prepared)) {
  prepared_->inUse = true;
}

StatementLease::~StatementLease() {
  sqlite3_reset(prepared_->statement);
  sqlite3_clear_bindings(prepared_->statement);
  prepared_->inUse = false;
}

std::shared_ptr<PreparedStatement> StatementCache::Get(sqlite3* db, const std::string& text,
                                                       int* status) {
  *status = SQLITE_OK;
  const auto found = index_.find(text);
  if (found != index_.end()) {
    entries_.splice(entries_.begin(), entries_, found->second);
    const auto& prepared = found->second->second;
    if (!prepared->inUse) return prepared;
    return PrepareFirst(db, text.data(), text.size(), status);
  }
  auto prepared = PrepareFirst(db, text.data(), text.size(), status);
  if (prepared == nullptr) return nullptr;
  entries_.emplace_front(text, prepared);
  index_.emplace(entries_.front().first, entries_.begin());
  if (entries_.size() > kMaxCachedStatements) {
    // A lease still holding the evicted statement keeps it alive until it ends.
    index_.erase(entries_.back().first);
    entries_.pop_back();
  }
  return prepared;
}

void StatementCache::Clear() {
  index_.clear();
  entries_.clear();
}

}  // namespace DBStore
