#include "history_reads.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "history_schema.h"

namespace OrinConfigStore {

namespace {

// Each record beside the object's record before it (its prior), whose
// values are the change's old ones.
constexpr const char* kRecords =
    "SELECT r.Seq, strftime('%Y-%m-%dT%H:%M:%fZ', r.Time) AS Time, r.Component, r.ConfigGroup, "
    "r.Name, r.Identifier, r.Change, "
    "r.Revision, r.AutoConfValue, r.UserValue, r.VitalValue, r.CachedValue, r.DesiredValue, "
    "p.Seq AS PriorSeq, p.Change AS PriorChange, p.AutoConfValue AS PriorAutoConfValue, "
    "p.UserValue AS PriorUserValue, p.VitalValue AS PriorVitalValue, p.CachedValue AS "
    "PriorCachedValue, p.DesiredValue AS PriorDesiredValue FROM ConfigChanges r LEFT JOIN "
    "ConfigChanges p ON p.Component=r.Component AND p.ConfigGroup=r.ConfigGroup AND "
    "p.Name=r.Name AND p.Identifier=r.Identifier AND p.Ordinal=r.Ordinal - 1 WHERE ";
// A base (the oldest record retention left of an object) is the prior of
// the record after it, not a change of its own.
const std::string kNotABase = "r.Base IS NULL AND ";
const std::string kObjectHistory =
    kNotABase +
    "r.Name='%s' AND r.ConfigGroup='%s' AND r.Component='%s' AND r.Identifier='%s' "
    "ORDER BY r.Seq DESC LIMIT %s;";
const std::string kTypeHistory =
    kNotABase +
    "r.Name='%s' AND r.ConfigGroup='%s' AND r.Component='%s' ORDER BY r.Seq DESC "
    "LIMIT %s;";
// A base holds the values of its revision as well as any record.
constexpr const char* kRevisionRecord =
    "r.Name='%s' AND r.ConfigGroup='%s' AND r.Component='%s' AND r.Identifier='%s' AND "
    "r.Revision=%s AND r.Revision >= 0 AND r.Change<>'delete' ORDER BY r.Seq DESC LIMIT 1;";
const std::string kHistorySince = kNotABase + "r.Seq > %s ORDER BY r.Seq LIMIT %s;";
constexpr const char* kHistoryReadFailed = "Failed to read the change history.";

// The source name of each of kValueColumns, in the same order.
constexpr const char* kSourceNames[] = {"automatic", "user", "vital", "cached", "desired"};
constexpr const char* kPriorPrefix = "Prior";

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
  record.revision = std::atoi(TextOr(row, kRevision).c_str());
  // Before the first record, and after a delete, nothing was stored.
  const bool stored = row.Get("PriorSeq") != nullptr && TextOr(row, "PriorChange") != kChangeDelete;
  record.change = TextOr(row, "Change");
  // An insert or a replace: the prior tells which.
  if (record.change == kChangeSet) record.change = stored ? "replace" : "insert";
  std::size_t index = 0;
  for (const char* column : kValueColumns) {
    const char* source = kSourceNames[index++];
    const std::optional<std::string> after = Text(row, column);
    const std::optional<std::string> before =
        stored ? Text(row, kPriorPrefix + std::string(column)) : std::nullopt;
    if (before != after) record.changes.push_back({source, before, after});
    record.state.push_back({source, std::nullopt, after});
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
  return ReadRecords(connection,
                     kRecords + FormatSql((one ? kObjectHistory : kTypeHistory).c_str(), parts));
}

std::optional<HistoryRecord> ReadRevisionRecord(const Connection& connection,
                                                const ConfigStoreObjectId& id, int revision) {
  std::vector<std::string> parts = IdentifierParts(id);
  parts.push_back(std::to_string(revision));
  auto records = ReadRecords(connection, kRecords + FormatSql(kRevisionRecord, parts));
  if (records.empty()) return std::nullopt;
  return std::move(records.front());
}

std::vector<HistoryRecord> ReadHistorySince(const Connection& connection, long long sequence,
                                            int limit) {
  return ReadRecords(connection, kRecords + FormatSql(kHistorySince.c_str(),
                                                      {std::to_string(sequence), Limit(limit)}));
}

}  // namespace OrinConfigStore
