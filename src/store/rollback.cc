// Rollback: the values a history record kept, validated as writes of their
// sources would be, written back in one statement.

#include "configstore/rollback.h"

#include <string>
#include <vector>

#include "config_store_impl.h"
#include "db/config_reads.h"
#include "db/history_reads.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_object.h"
#include "validation/identity_checks.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kRollbackOperation = "RollbackToRevision";
constexpr const char* kNotOurStore =
    "RollbackToRevision needs a store made by ConfigStore::GetStore";
constexpr const char* kRevisionPrefix = "Revision ";
constexpr const char* kNotInHistory = " is not in the change history";

using Validator = void (*)(SchemaPtr, std::shared_ptr<ConfigStoreObject>);

// How each recorded column (automatic, user, vital, cached, desired) is
// checked: as the write of its source checks it. Automatic values come
// from internal writes of the user part, desired ones stand for user ones.
constexpr Validator kColumnValidators[] = {ValidateUserConfig, ValidateUserConfig,
                                           ValidateVitalConfig, ValidateCachedConfig,
                                           ValidateUserConfig};

// The record's values in column order ("" for none), each validated.
std::vector<std::string> ValidatedValues(const HistoryRecord& record, const SchemaPtr& schema) {
  std::vector<std::string> values;
  std::size_t column = 0;
  for (const HistoryValue& value : record.state) {
    values.push_back(value.after.value_or(std::string()));
    if (value.after) {
      const std::string& text = *value.after;
      kColumnValidators[column](schema, CreateStoredObject(record.id, text, schema));
    }
    ++column;
  }
  return values;
}

}  // namespace

int ConfigStoreImpl::RollbackToRevision(const ConfigStoreObjectId& id, int revision) {
  LogOperation(kWritePriority, kRollbackOperation, id, 0);
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  int restored = -1;
  RunInTransaction(kRollbackOperation, {id}, [&] {
    const auto record = ReadRevisionRecord(connection_, id, revision);
    if (!record) {
      throw ConfigStoreException(kRevisionPrefix + std::to_string(revision) + " of " +
                                 id.toString() + kNotInHistory);
    }
    RestoreValuesInternal(id, schema->GetVersion(), ValidatedValues(*record, schema), connection_);
    restored = GetRevisionInternal(id, connection_);
  });
  return restored;
}

int RollbackToRevision(std::shared_ptr<ConfigStore>& store, const ConfigStoreObjectId& id,
                       int revision) {
  auto* ours = dynamic_cast<ConfigStoreImpl*>(store.get());
  if (ours == nullptr) throw InvalidArgumentException(kNotOurStore);
  return ours->RollbackToRevision(id, revision);
}

}  // namespace OrinConfigStore
