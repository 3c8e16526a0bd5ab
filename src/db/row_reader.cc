#include "row_reader.h"

#include <cstdlib>
#include <cstring>

#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "objects/json_lookup.h"
#include "objects/object_merge.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kVersion = "Version";
constexpr const char* kCreationTime = "CreationTime";
constexpr const char* kModifiedTime = "ModifiedTime";
constexpr const char* kRevision = "Revision";
constexpr const char* kSuccess = "Success";
constexpr const char* kUserValue = "UserValue";
constexpr const char* kSuccessful = "1";

void Store(RowMap& row, int columns, char** values, char** names) {
  for (int i = 0; i < columns; ++i) {
    if (values[i] != nullptr) row[names[i]] = values[i];
  }
}

int CollectInto(void* context, int columns, char** values, char** names) {
  Store(*static_cast<RowMap*>(context), columns, values, names);
  return 0;
}

int AppendRow(void* context, int columns, char** values, char** names) {
  auto row = std::make_shared<RowMap>();
  Store(*row, columns, values, names);
  static_cast<RowList*>(context)->push_back(std::move(row));
  return 0;
}

std::string Entry(const RowView& row, const char* column) {
  const char* value = row.Get(column);
  return value != nullptr ? value : std::string();
}

}  // namespace

int FetchRow(const Connection& connection, const std::string& statement, RowMap& row) {
  return DBStore::ExecuteV2(connection, statement, CollectInto, &row, kStatementTimeoutMs);
}

int FetchRows(const Connection& connection, const std::string& statement, RowList& rows) {
  return DBStore::ExecuteV2(connection, statement, AppendRow, &rows, kStatementTimeoutMs);
}

const char* RowView::Get(const char* column) const {
  for (int i = 0; i < columns_; ++i) {
    if (std::strcmp(names_[i], column) == 0) return values_[i];
  }
  return nullptr;
}

std::shared_ptr<ConfigStoreObject> RowLayers::Layer(const char* column) {
  const char* value = row_.Get(column);
  if (value == nullptr) return nullptr;
  if (!stamp_) {
    auto stamp = std::make_shared<ObjectStamp>();
    stamp->version = Entry(row_, kVersion);
    stamp->creationTime = Entry(row_, kCreationTime);
    stamp->modifiedTime = Entry(row_, kModifiedTime);
    stamp->revision =
        static_cast<std::uint32_t>(std::strtoul(Entry(row_, kRevision).c_str(), nullptr, 10));
    stamp_ = std::move(stamp);
  }
  return ConfigStoreObjectInternal::Wrap(std::make_shared<ConfigStoreObjectImpl>(
      id_, CreateDocumentFromText(value, std::strlen(value)), schema_, stamp_));
}

std::shared_ptr<ConfigStoreObject> RowLayers::UserLayer() {
  if (Entry(row_, kSuccess) != kSuccessful) return nullptr;
  return Layer(kUserValue);
}

std::shared_ptr<ConfigStoreObject> MergeConfig(std::shared_ptr<ConfigStoreObject> first,
                                               std::shared_ptr<ConfigStoreObject> second,
                                               std::shared_ptr<ConfigStoreObject> third,
                                               std::shared_ptr<ConfigStoreObject> fourth) {
  std::shared_ptr<ConfigStoreObject> merged;
  for (auto* layer : {&first, &second, &third, &fourth}) {
    if (!*layer) continue;
    if (!merged) {
      merged = std::move(*layer);
    } else {
      UpdateConfigInternal(merged, *layer);
    }
  }
  return merged;
}

std::vector<std::string> IdentifierParts(const ConfigStoreObjectId& id, bool withInstance) {
  if (!withInstance) return {id.key, id.group, id.component};
  return {id.key, id.group, id.component, id.instanceId};
}

}  // namespace OrinConfigStore
