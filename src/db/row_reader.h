#ifndef SRC_DB_ROW_READER_H_
#define SRC_DB_ROW_READER_H_

// Result rows of the configuration database, and configuration objects
// built from their value columns.

#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "config_table.h"
#include "configstore/config_store_object.h"
#include "configstore/exceptions.h"
#include "configstore/json_doc.h"
#include "platform/db_store.h"
#include "sql_format.h"

namespace OrinSchemaStore {
class SchemaObject;
}

namespace OrinConfigStore {

// One result row: column name to text, SQL NULL columns left out.
using RowMap = std::unordered_map<std::string, std::string>;
// Rows in the order the database returns them.
using RowList = std::vector<std::shared_ptr<RowMap>>;
using Connection = std::shared_ptr<DBStore::StoreConnection>;
using SchemaPtr = std::shared_ptr<OrinSchemaStore::SchemaObject>;

// Runs `statement` and collects every row into one map (a later row
// overwrites an earlier one's entries). Returns the database's result.
int FetchRow(const Connection& connection, const std::string& statement, RowMap& row);

// Runs `statement` and collects one map per row. Returns the result.
int FetchRows(const Connection& connection, const std::string& statement, RowList& rows);

// One result row as the database layer hands it over: the same lookups as a
// row map, without copying the row. Valid only while the row is visited.
class RowView {
 public:
  explicit RowView(const DBStore::StatementRow& row) : row_(row) {}
  // The column's text; null when the column is absent or SQL NULL.
  const char* Get(const char* column) const;
  // The column's value as an integer; 0 when absent or SQL NULL.
  long long Integer(const char* column) const;
  // Whether the column's text is `text`, the canonical text of `value`
  // (such as "1" and 1): an integer column is compared as a number and
  // left unconverted, any other as its text.
  bool TextIs(const char* column, const char* text, long long value) const;

 private:
  // The column's index; -1 when the row has no such column.
  int IndexOf(const char* column) const;

  const DBStore::StatementRow& row_;
};

// Runs `statement` and calls `visit` for each row; an exception thrown by
// `visit` stops the statement and passes through. Returns the result.
template <typename Visit>
int VisitRows(const Connection& connection, const std::string& statement, Visit& visit);

// The layers built from one row: each is the object made of the JSON text
// of one value column, carrying the row's version, times and revision.
class RowLayers {
 public:
  RowLayers(const RowView& row, const ConfigStoreObjectId& id, const SchemaPtr& schema)
      : row_(row), id_(id), schema_(schema) {}

  // Null when the row has no such column. Text that is not JSON raises
  // InvalidArgumentException 1080.
  std::shared_ptr<ConfigStoreObject> Layer(const char* column);
  // "UserValue", but only when the row's "Success" is exactly "1".
  std::shared_ptr<ConfigStoreObject> UserLayer();

  // The text of a column; null when absent or SQL NULL.
  const char* Text(const char* column) const { return row_.Get(column); }
  // The user column's text under UserLayer's rule.
  const char* AppliedUserText() const;
  // MergeConfig of the layers of these texts, earliest first, null ones
  // skipped; null when all are. Later layers are merged straight into the
  // first layer's object instead of each becoming an object of its own.
  std::shared_ptr<ConfigStoreObject> Merged(std::initializer_list<const char*> texts);

 private:
  std::shared_ptr<ConfigStoreObject> Wrap(std::shared_ptr<JsonDoc> document);
  void WriteInstanceId(JDoc& layer) const;

  const RowView& row_;
  const ConfigStoreObjectId& id_;
  const SchemaPtr& schema_;
};

template <typename Visit>
int VisitRows(const Connection& connection, const std::string& statement, Visit& visit) {
  return DBStore::VisitRows(
      connection, statement,
      [](void* state, const DBStore::StatementRow& row) {
        (*static_cast<Visit*>(state))(RowView(row));
        return 0;
      },
      &visit, kStatementTimeoutMs);
}

// Merges the layers into the first present one, later layers winning
// (UpdateConfigInternal without instance keys); null when all are null.
std::shared_ptr<ConfigStoreObject> MergeConfig(std::shared_ptr<ConfigStoreObject> first,
                                               std::shared_ptr<ConfigStoreObject> second,
                                               std::shared_ptr<ConfigStoreObject> third,
                                               std::shared_ptr<ConfigStoreObject> fourth);

// The identifier's parts in statement order: key, group, component and,
// when `withInstance`, instance id.
std::vector<std::string> IdentifierParts(const ConfigStoreObjectId& id, bool withInstance = true);
// `statementTemplate` filled (FormatSql) with the identifier's parts in the
// order IdentifierParts gives them.
std::string IdentifierSql(const char* statementTemplate, const ConfigStoreObjectId& id,
                          bool withInstance = true);

// Runs a statement that returns no rows, with `values` bound to its "?"
// placeholders; false when the database refuses it.
bool ExecuteStatement(const Connection& connection, const std::string& statement,
                      const std::vector<std::string>& values = {});

// "Get failed: <id>", the message of a failed read of one object.
std::string GetFailedMessage(const ConfigStoreObjectId& id);

// Reads the identifier's row of `statementTemplate` (filled with the
// identifier's parts) and returns the object `build` makes of it: null
// without a row, with several the last. Only a database result of exactly 1
// is a failure (ConfigStoreException 2000 GetFailedMessage(id)).
template <typename Build>
std::shared_ptr<ConfigStoreObject> ReadObject(const char* statementTemplate,
                                              const ConfigStoreObjectId& id,
                                              const Connection& connection, Build build) {
  std::shared_ptr<ConfigStoreObject> object;
  auto visit = [&](const RowView& row) { object = build(row); };
  if (VisitRows(connection, IdentifierSql(statementTemplate, id), visit) == 1) {
    throw ConfigStoreException(GetFailedMessage(id));
  }
  return object;
}

// One object per row of `statement`, `merge` of the row with the row's
// Identifier as its instance id; null merges are left out. A result of
// exactly 1 raises ConfigStoreException 2000 `failure`.
template <typename MergeRow>
std::vector<std::shared_ptr<ConfigStoreObject>> ReadInstances(
    const std::string& statement, const ConfigStoreObjectId& id, const Connection& connection,
    const SchemaPtr& schema, MergeRow merge, const std::string& failure) {
  std::vector<std::shared_ptr<ConfigStoreObject>> objects;
  ConfigStoreObjectId instance = id;
  auto visit = [&](const RowView& row) {
    const char* identifier = row.Get(kIdentifier);
    instance.instanceId = identifier != nullptr ? identifier : "";
    if (auto object = merge(row, instance, schema)) objects.push_back(std::move(object));
  };
  if (VisitRows(connection, statement, visit) == 1) throw ConfigStoreException(failure);
  return objects;
}

}  // namespace OrinConfigStore

#endif  // SRC_DB_ROW_READER_H_
