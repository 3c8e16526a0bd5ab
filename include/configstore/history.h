#ifndef CONFIGSTORE_HISTORY_H_
#define CONFIGSTORE_HISTORY_H_

// The change history of the configuration database: every change the
// library makes to an object's row (insert, replace, update of a source,
// staging or dropping of a desired value, boot marking, delete) is recorded
// in the transaction that makes it, so that history and data always agree,
// also across a crash.
//
// Records are numbered by a sequence that only rises. Retention keeps the
// newest HISTORY_MAX_RECORDS records of each object (default 100; 0 records
// nothing) and about HISTORY_MAX_BYTES of values in all (default 16 MiB),
// beyond which each stored object keeps its latest record; both are
// key-value table settings (SetKeyValue). Retention runs after a write once
// 64 records have come since it last ran, so an object may briefly hold up
// to that many records more. A database created before the history existed
// gets it from InitializeDatabase (cfgstore init).

#include <optional>
#include <string>
#include <vector>

#include "configstore/export.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// One value column of a record: its source name ("automatic", "user",
// "vital", "cached" or "desired") and its JSON text before and after the
// change (nullopt: the column held nothing).
struct HistoryValue {
  std::string source;
  std::optional<std::string> before;
  std::optional<std::string> after;
};

struct HistoryRecord {
  long long sequence = 0;
  std::string time;  // UTC, "YYYY-MM-DDTHH:MM:SS.sssZ"
  ConfigStoreObjectId id{"", "", ""};
  // "insert", "replace", "update", "desired", "boot", "delete" or "migrate"
  // (the values rewritten by a new version of the type's definition).
  std::string change;
  // The object's revision after the change; -1 after a delete.
  int revision = 0;
  // The columns that changed, in source order.
  std::vector<HistoryValue> changes;
  // Every column as it was after the change (before stays empty), in the
  // same order: what a rollback to this revision puts back.
  std::vector<HistoryValue> state;
};

// The records of one object, newest first, at most `limit` of them (0: all
// that are kept). An identifier without instance id names the type: every
// instance's records (a singleton's one included).
CONFIGSTORE_API std::vector<HistoryRecord> GetHistory(const ConfigStoreObjectId& id, int limit = 0);

// Every record after `sequence`, oldest first, at most `limit` (0: all): a
// change feed that a reader resumes from the last sequence it saw. When
// retention dropped records the reader never saw, the first record's
// sequence is more than one past `sequence`.
CONFIGSTORE_API std::vector<HistoryRecord> GetHistorySince(long long sequence, int limit = 0);

// An RFC 6902 JSON Patch (an array of operations) that turns `from` into
// `to`: members removed, added or replaced, objects compared member by
// member, arrays element by element when their lengths agree and replaced
// whole otherwise. A null `from` or `to` stands for no value: the patch
// then replaces the whole document.
CONFIGSTORE_API std::shared_ptr<JsonDoc> JsonPatch(const JVal& from, const JVal& to);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_HISTORY_H_
