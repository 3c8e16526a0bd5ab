#include <cmath>

#include "configstore/exceptions.h"
#include "configstore/store_object.h"
#include "json_lookup.h"
#include "platform/config_store_document.h"
#include "store_object_impl.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kNullValue = "value cannot be null";
constexpr const char* kBadBinaryInput = "Value pointer cannot be null and length cannot be zero";
constexpr const char* kEncodeFailed = "Failed to encode input binary value";
constexpr const char* kKeyNotFoundPrefix = "Key not found: ";

// JSON has no text for NaN or the infinities; refusing them here keeps every
// object serialisable.
void RequireFinite(const char* key, double value) {
  if (!std::isfinite(value)) ThrowException<InvalidArgumentException>(CS_ERR_INVALID_VALUE, key);
}

JVal StringValue(const std::string& text, JAllocator& allocator) {
  return JVal(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

}  // namespace

// A setter overwrites the member's value in place whatever its JSON type;
// only a missing (or null) member gets a new one at the end of the object.
template <typename Assign>
void StoreObjectImpl::SetScalar(const char* key, Assign assign) {
  RequireKey(key);
  JVal& object = Value();
  if (JVal* existing = FindValue(object, key)) {
    assign(*existing);
    return;
  }
  JVal value;
  assign(value);
  object.AddMember(JVal(key, Allocator()), value, Allocator());
}

void StoreObjectImpl::SetValue(const char* key, const char* value) {
  if (value == nullptr) throw InvalidArgumentException(kNullValue);
  SetValue(key, std::string(value));
}
void StoreObjectImpl::SetValue(const char* key, const std::string& value) {
  SetScalar(key, [&](JVal& v) { v = StringValue(value, Allocator()); });
}
void StoreObjectImpl::SetValue(const char* key, int value) {
  SetScalar(key, [&](JVal& v) { v.SetInt(value); });
}
void StoreObjectImpl::SetValue(const char* key, long value) {
  SetScalar(key, [&](JVal& v) { v.SetInt64(value); });
}
void StoreObjectImpl::SetValue(const char* key, long long value) {
  SetScalar(key, [&](JVal& v) { v.SetInt64(value); });
}
void StoreObjectImpl::SetValue(const char* key, unsigned int value) {
  SetScalar(key, [&](JVal& v) { v.SetUint(value); });
}
void StoreObjectImpl::SetValue(const char* key, unsigned short value) {
  SetValue(key, static_cast<unsigned int>(value));
}
void StoreObjectImpl::SetValue(const char* key, unsigned char value) {
  SetValue(key, static_cast<unsigned int>(value));
}
void StoreObjectImpl::SetValue(const char* key, bool value) {
  SetScalar(key, [&](JVal& v) { v.SetBool(value); });
}
void StoreObjectImpl::SetValue(const char* key, double value) {
  RequireKey(key);
  RequireFinite(key, value);
  SetScalar(key, [&](JVal& v) { v.SetDouble(value); });
}
void StoreObjectImpl::SetValue(const char* key, float value) {
  SetValue(key, static_cast<double>(value));
}

// The elements are pushed straight into the new list: they share one type,
// so appending them one by one could not fail part-way.
template <typename T>
void StoreObjectImpl::SetList(const char* key, const std::vector<T>& values) {
  SetValueEmptyList(key);
  JVal& list = *FindValue(Value(), key);
  list.Reserve(static_cast<rapidjson::SizeType>(values.size()), Allocator());
  for (const T& value : values) {
    if constexpr (std::is_same_v<T, std::string>) {
      list.PushBack(StringValue(value, Allocator()), Allocator());
    } else {
      list.PushBack(JVal(value), Allocator());
    }
  }
}

void StoreObjectImpl::SetValue(const char* key, const std::vector<int>& values) {
  SetList(key, values);
}
void StoreObjectImpl::SetValue(const char* key, const std::vector<std::string>& values) {
  SetList(key, values);
}

void StoreObjectImpl::SetValueBinary(const char* key, const unsigned char* data,
                                     unsigned long length) {
  if (data == nullptr || length == 0) throw InvalidArgumentException(kBadBinaryInput);
  std::string text;
  if (!EncodeBinary(data, length, text) || text.empty()) throw ConfigStoreException(kEncodeFailed);
  SetValue(key, text);
}

void StoreObjectImpl::SetValueEmptyList(const char* key) {
  JVal& object = Value();
  // Every member of that name goes, a null one left by a setter included.
  while (object.RemoveMember(JsonKey(key))) {
  }
  object.AddMember(JVal(key, Allocator()), JVal(rapidjson::kArrayType), Allocator());
}

// Appending never creates the list, and checks the new element against the
// first element only.
template <typename Check>
JVal& StoreObjectImpl::ValidateAppend(const char* key, Check check) {
  if (!CheckKey(key)) throw InvalidArgumentException(std::string(kKeyNotFoundPrefix) + key);
  JVal* list = FindValue(Value(), key);
  if (list == nullptr || !list->IsArray()) ThrowInvalidType(key);
  if (!list->Empty() && !check((*list)[0])) ThrowInvalidType(key);
  return *list;
}

void StoreObjectImpl::AppendValue(const char* key, int value) {
  ValidateAppend(key, [](const JVal& v) { return v.IsInt(); }).PushBack(JVal(value), Allocator());
}
void StoreObjectImpl::AppendValue(const char* key, long long value) {
  ValidateAppend(key, [](const JVal& v) {
    return v.IsInt64();
  }).PushBack(JVal(static_cast<int64_t>(value)), Allocator());
}
void StoreObjectImpl::AppendValue(const char* key, double value) {
  JVal& list = ValidateAppend(key, [](const JVal& v) { return v.IsDouble(); });
  RequireFinite(key, value);
  list.PushBack(JVal(value), Allocator());
}
void StoreObjectImpl::AppendValue(const char* key, bool value) {
  ValidateAppend(key, [](const JVal& v) { return v.IsBool(); }).PushBack(JVal(value), Allocator());
}
void StoreObjectImpl::AppendValue(const char* key, const std::string& value) {
  ValidateAppend(key, [](const JVal& v) {
    return v.IsString();
  }).PushBack(StringValue(value, Allocator()), Allocator());
}

void StoreObjectImpl::AppendValue(const char* key, const char* value) {
  if (value == nullptr) throw InvalidArgumentException(kNullValue);
  AppendValue(key, std::string(value));
}

bool StoreObjectImpl::Remove(const char* key) {
  if (!CheckKey(key)) return false;
  return Value().RemoveMember(JsonKey(key));
}

void StoreObjectImpl::SetData(const char* json) {
  if (json == nullptr) return;
  std::shared_ptr<JsonDoc> document = CreateDocumentFromString(json);
  if (!document->GetDocument().IsObject()) {
    ThrowException<InvalidArgumentException>(CS_ERR_INVALID_JSON);
  }
  document_ = std::move(document);
}

}  // namespace OrinConfigStore
