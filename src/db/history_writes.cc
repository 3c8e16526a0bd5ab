#include "history_writes.h"

#include "configstore/json_doc.h"
#include "history_retention.h"
#include "history_schema.h"
#include "transaction.h"

namespace OrinConfigStore {

namespace {

// Every statement binds its values and is prepared once per connection.
// The binding turns "" into NULL, so the instance id (empty for a
// singleton) is compared through ifnull.
const std::string kInsertRecords =
    "INSERT INTO ConfigChanges(Component, ConfigGroup, Name, Identifier, Ordinal, Change, "
    "Revision, AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue) ";
// The row's next ordinal: one past its newest record's.
const std::string kNextOrdinal =
    "ifnull((SELECT x.Ordinal FROM ConfigChanges x WHERE x.Component=Config.Component AND "
    "x.ConfigGroup=Config.ConfigGroup AND x.Name=Config.Name AND x.Identifier=Config.Identifier "
    "ORDER BY x.Ordinal DESC LIMIT 1), 0) + 1";
const std::string kRowValues = "SELECT Component, ConfigGroup, Name, Identifier, " + kNextOrdinal +
                               ", ?, Revision, AutoConfValue, UserValue, VitalValue, "
                               "CachedValue, DesiredValue FROM Config ";
const std::string kRowDeleted = "SELECT Component, ConfigGroup, Name, Identifier, " + kNextOrdinal +
                                ", 'delete', -1, NULL, NULL, NULL, NULL, NULL FROM Config ";
// HISTORY_MAX_RECORDS 0 keeps no history: nothing is recorded.
const std::string kOfKey =
    "WHERE Component=? AND ConfigGroup=? AND Name=? AND NOT EXISTS (SELECT 1 FROM KVTable WHERE "
    "Key='" +
    std::string(kHistoryMaxRecordsKey) + "' AND Value='0')";
const std::string kOfInstance = kOfKey + " AND Identifier=ifnull(?, '')";
const std::string kRecordRow = kInsertRecords + kRowValues + kOfInstance + ";";
const std::string kRecordKeyRows = kInsertRecords + kRowValues + kOfKey + ";";
const std::string kRecordDeletion = kInsertRecords + kRowDeleted + kOfInstance + ";";
const std::string kRecordKeyDeletions = kInsertRecords + kRowDeleted + kOfKey +
                                        " AND Identifier NOT IN (SELECT value FROM "
                                        "json_each(ifnull(?, '[]')));";

std::vector<std::string> KeyParts(const ConfigStoreObjectId& id) {
  return {id.component, id.group, id.key};
}

void Record(const Connection& connection, const std::string& statement,
            const std::vector<std::string>& values, const std::string& failure) {
  if (!ExecuteStatement(connection, statement, values)) throw ConfigStoreException(failure);
}

std::string JsonArrayOf(const std::vector<std::string>& texts) {
  JDoc array(rapidjson::kArrayType);
  for (const std::string& text : texts) {
    array.PushBack(
        JVal(text.c_str(), static_cast<rapidjson::SizeType>(text.size()), array.GetAllocator()),
        array.GetAllocator());
  }
  return SerializeJson(array);
}

}  // namespace

void RecordedWrite(const Connection& connection, const std::string& failure,
                   const std::function<void()>& write) {
  const TransactionFailure failed = TransactionFailure::Text(failure);
  RunInTransaction(connection, TransactionPolicy{failed, failed, InsideFailure::kAsRaised}, [&] {
    write();
    KeepHistoryBoundsWhenDue(connection);
  });
}

void WriteRecordedRow(const Connection& connection, const ConfigStoreObjectId& id,
                      const std::string& statement, const std::vector<std::string>& values,
                      const char* change, const std::string& failure) {
  RecordedWrite(connection, failure, [&] {
    if (!ExecuteStatement(connection, statement, values)) throw ConfigStoreException(failure);
    RecordRow(connection, id, change, failure);
  });
}

void RecordRow(const Connection& connection, const ConfigStoreObjectId& id, const char* change,
               const std::string& failure) {
  Record(connection, kRecordRow, {change, id.component, id.group, id.key, id.instanceId}, failure);
}

void RecordKeyRows(const Connection& connection, const ConfigStoreObjectId& id, const char* change,
                   const std::string& failure) {
  Record(connection, kRecordKeyRows, {change, id.component, id.group, id.key}, failure);
}

void RecordDeletion(const Connection& connection, const ConfigStoreObjectId& id,
                    const std::string& failure) {
  std::vector<std::string> values = KeyParts(id);
  values.push_back(id.instanceId);
  Record(connection, kRecordDeletion, values, failure);
}

void RecordKeyDeletions(const Connection& connection, const ConfigStoreObjectId& id,
                        const std::vector<std::string>& kept, const std::string& failure) {
  std::vector<std::string> values = KeyParts(id);
  values.push_back(JsonArrayOf(kept));
  Record(connection, kRecordKeyDeletions, values, failure);
}

}  // namespace OrinConfigStore
