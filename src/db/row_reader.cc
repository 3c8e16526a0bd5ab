#include "row_reader.h"

#include <cstring>
#include <initializer_list>

#include "json/document.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "objects/object_merge.h"
#include "platform/schema_object.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kSuccessful = "1";
// Room on the stack for a merged layer; a larger one continues on the heap.
constexpr std::size_t kScratchBytes = 2048;
constexpr const char* kGetFailed = "Get failed: ";

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

std::string_view TextOf(const RowView& row, const char* column) {
  const char* value = row.Get(column);
  return value != nullptr ? std::string_view(value) : std::string_view();
}

}  // namespace

int FetchRow(const Connection& connection, const std::string& statement, RowMap& row) {
  return DBStore::ExecuteV2(connection, statement, CollectInto, &row, kStatementTimeoutMs);
}

int FetchRows(const Connection& connection, const std::string& statement, RowList& rows) {
  return DBStore::ExecuteV2(connection, statement, AppendRow, &rows, kStatementTimeoutMs);
}

const char* RowView::Get(const char* column) const {
  const int index = IndexOf(column);
  return index >= 0 ? row_.Text(index) : nullptr;
}

long long RowView::Integer(const char* column) const {
  const int index = IndexOf(column);
  return index >= 0 ? row_.Integer(index) : 0;
}

bool RowView::TextIs(const char* column, const char* text, long long value) const {
  const int index = IndexOf(column);
  if (index < 0) return false;
  if (row_.HoldsInteger(index, value)) return true;
  const char* own = row_.Text(index);
  return own != nullptr && std::strcmp(own, text) == 0;
}

// A row has a dozen columns at most, and their first letters tell most
// apart: a scan costs about one comparison of whole names.
int RowView::IndexOf(const char* column) const {
  char** names = row_.Names();
  for (int i = 0; i < row_.Columns(); ++i) {
    if (names[i][0] == column[0] && std::strcmp(names[i], column) == 0) return i;
  }
  return -1;
}

std::shared_ptr<ConfigStoreObject> RowLayers::Layer(const char* column) {
  return Merged({row_.Get(column)});
}

std::shared_ptr<ConfigStoreObject> RowLayers::UserLayer() { return Merged({AppliedUserText()}); }

const char* RowLayers::AppliedUserText() const {
  return row_.TextIs(kSuccess, kSuccessful, 1) ? row_.Get(kUserValue) : nullptr;
}

std::shared_ptr<ConfigStoreObject> RowLayers::Merged(std::initializer_list<const char*> texts) {
  std::shared_ptr<ConfigStoreObject> merged;
  for (const char* text : texts) {
    if (text == nullptr) continue;
    const std::size_t length = std::strlen(text);
    if (merged == nullptr) {
      merged = Wrap(CreateDocumentFromStoredText(text, length));
      continue;
    }
    // A later layer lives only until it is merged: it is parsed into memory
    // on the stack rather than into a document of its own.
    char scratch[kScratchBytes];
    JAllocator pool(scratch, sizeof scratch, kScratchBytes);
    JDoc layer(&pool);
    if (!ConfigStoreDocument::ParseStored(layer, text, length)) {
      ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING);
    }
    WriteInstanceId(layer);
    ConfigStoreObjectImpl& into = ConfigStoreObjectInternal::Impl(*merged);
    MergeInto(into.DataValue(), layer, nullptr, into.GetJsonDoc()->GetAllocator());
  }
  return merged;
}

// What an object made of the layer would hold: the id's instance id in the
// type's instance-id member, replacing a value there or added at the end.
void RowLayers::WriteInstanceId(JDoc& layer) const {
  if (id_.instanceId.empty() || !schema_ || !layer.IsObject()) return;
  const JVal* member = FindValue(schema_->GetInstanceKeyMap(), id_.key.c_str());
  if (member == nullptr || !member->IsString()) return;
  JVal value(id_.instanceId.c_str(), static_cast<rapidjson::SizeType>(id_.instanceId.size()),
             layer.GetAllocator());
  if (JVal* existing = FindValue(layer, member->GetString())) {
    *existing = value;
  } else {
    layer.AddMember(JVal(*member, layer.GetAllocator()), value, layer.GetAllocator());
  }
}

std::shared_ptr<ConfigStoreObject> RowLayers::Wrap(std::shared_ptr<JsonDoc> document) {
  ObjectStamp stamp(TextOf(row_, kVersion), TextOf(row_, kCreationTime),
                    TextOf(row_, kModifiedTime),
                    static_cast<std::uint32_t>(row_.Integer(kRevision)));
  return ConfigStoreObjectInternal::Wrap(
      std::make_shared<ConfigStoreObjectImpl>(id_, std::move(document), schema_, std::move(stamp)));
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

std::string IdentifierSql(const char* statementTemplate, const ConfigStoreObjectId& id,
                          bool withInstance) {
  if (!withInstance) return FormatSql(statementTemplate, {id.key, id.group, id.component});
  return FormatSql(statementTemplate, {id.key, id.group, id.component, id.instanceId});
}

bool ExecuteStatement(const Connection& connection, const std::string& statement,
                      const std::vector<std::string>& values) {
  return DBStore::Execute(connection, statement, values, {}, kStatementTimeoutMs) == 0;
}

std::string GetFailedMessage(const ConfigStoreObjectId& id) { return kGetFailed + id.toString(); }

}  // namespace OrinConfigStore
