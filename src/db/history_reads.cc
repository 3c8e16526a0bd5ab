#include "history_reads.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "history_schema.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kObjectHistory =
    "SELECT * FROM ConfigHistory WHERE Name='%s' AND ConfigGroup='%s' AND Component='%s' AND "
    "Identifier='%s' ORDER BY Seq DESC LIMIT %s;";
constexpr const char* kTypeHistory =
    "SELECT * FROM ConfigHistory WHERE Name='%s' AND ConfigGroup='%s' AND Component='%s' "
    "ORDER BY Seq DESC LIMIT %s;";
constexpr const char* kRevisionRecord =
    "SELECT * FROM ConfigHistory WHERE Name='%s' AND ConfigGroup='%s' AND Component='%s' AND "
    "Identifier='%s' AND Revision=%s AND Change<>'delete' ORDER BY Seq DESC LIMIT 1;";
constexpr const char* kHistorySince =
    "SELECT * FROM ConfigHistory WHERE Seq > %s ORDER BY Seq LIMIT %s;";
constexpr const char* kHistoryReadFailed = "Failed to read the change history.";

// The source name of each of kValueColumns, in the same order.
constexpr const char* kSourceNames[] = {"automatic", "user", "vital", "cached", "desired"};
constexpr const char* kOldPrefix = "Old";

std::optional<std::string> Text(const RowView& row, const std::string& column) {
  const char* text = row.Get(column.c_str());
  if (text == nullptr) return std::nullopt;
  return std::string(text);
}

std::string TextOr(const RowView& row, const char* column) {
  const char* text = row.Get(column);
  return text != nullptr ? text : "";
}

HistoryRecord ToRecord(const RowView& row) {
  HistoryRecord record;
  record.sequence = std::atoll(TextOr(row, "Seq").c_str());
  record.time = TextOr(row, "Time");
  record.id = ConfigStoreObjectId(TextOr(row, "Name"), TextOr(row, "ConfigGroup"),
                                  TextOr(row, "Component"), TextOr(row, kIdentifier));
  record.change = TextOr(row, "Change");
  record.revision = std::atoi(TextOr(row, kRevision).c_str());
  const long changed = std::atol(TextOr(row, "Changed").c_str());
  std::size_t bit = 0;
  for (const char* column : kValueColumns) {
    const char* source = kSourceNames[bit];
    const std::optional<std::string> after = Text(row, column);
    if ((changed >> bit) & 1) {
      record.changes.push_back({source, Text(row, kOldPrefix + std::string(column)), after});
    }
    record.state.push_back({source, std::nullopt, after});
    ++bit;
  }
  return record;
}

std::string Limit(int limit) { return std::to_string(limit > 0 ? limit : -1); }

std::vector<HistoryRecord> ReadRecords(const Connection& connection, const std::string& statement) {
  std::vector<HistoryRecord> records;
  auto visit = [&](const RowView& row) { records.push_back(ToRecord(row)); };
  if (VisitRows(connection, statement, visit) != 0) {
    throw ConfigStoreException(kHistoryReadFailed);
  }
  return records;
}

}  // namespace

std::vector<HistoryRecord> ReadObjectHistory(const Connection& connection,
                                             const ConfigStoreObjectId& id, int limit) {
  const bool one = !id.instanceId.empty();
  std::vector<std::string> parts = IdentifierParts(id, one);
  parts.push_back(Limit(limit));
  return ReadRecords(connection, FormatSql(one ? kObjectHistory : kTypeHistory, parts));
}

std::optional<HistoryRecord> ReadRevisionRecord(const Connection& connection,
                                                const ConfigStoreObjectId& id, int revision) {
  std::vector<std::string> parts = IdentifierParts(id);
  parts.push_back(std::to_string(revision));
  auto records = ReadRecords(connection, FormatSql(kRevisionRecord, parts));
  if (records.empty()) return std::nullopt;
  return std::move(records.front());
}

std::vector<HistoryRecord> ReadHistorySince(const Connection& connection, long long sequence,
                                            int limit) {
  return ReadRecords(connection,
                     FormatSql(kHistorySince, {std::to_string(sequence), Limit(limit)}));
}

}  // namespace OrinConfigStore
