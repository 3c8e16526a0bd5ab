// The implementation behind StoreObject: typed getters, setters and
// appenders over one JSON object of a shared document.

#include "store_object_impl.h"

#include <cmath>
#include <utility>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "configstore/store_object.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kLogSubObjectTrace = "%s : %s";
constexpr const char* kInvalidTypePrefix = "Invalid type specified for: ";
constexpr const char* kEmptyKey = "key cannot be empty";
constexpr const char* kVectorNotEmpty = "Output vector must be empty.";
constexpr const char* kNullOutput = "Output pointer cannot be null.";
constexpr const char* kDecodeFailed = "Failed to decode binary value";

constexpr const char* kNullValue = "value cannot be null";
constexpr const char* kBadBinaryInput = "Value pointer cannot be null and length cannot be zero";
constexpr const char* kEncodeFailed = "Failed to encode input binary value";
constexpr const char* kKeyNotFoundPrefix = "Key not found: ";

// Which JSON values each scalar getter accepts, and how it reads them. The
// narrow unsigned forms keep the low bits of any unsigned 32-bit number, and
// double accepts only numbers held as floating point.
template <typename T>
struct Scalar;
template <>
struct Scalar<std::string> {
  static bool Accepts(const JVal& v) { return v.IsString(); }
  static std::string Read(const JVal& v) { return std::string(v.GetString(), v.GetStringLength()); }
};
template <>
struct Scalar<int> {
  static bool Accepts(const JVal& v) { return v.IsInt(); }
  static int Read(const JVal& v) { return v.GetInt(); }
};
template <>
struct Scalar<long> {
  static bool Accepts(const JVal& v) { return v.IsInt64(); }
  static long Read(const JVal& v) { return v.GetInt64(); }
};
template <>
struct Scalar<long long> {
  static bool Accepts(const JVal& v) { return v.IsInt64(); }
  static long long Read(const JVal& v) { return v.GetInt64(); }
};
template <>
struct Scalar<unsigned int> {
  static bool Accepts(const JVal& v) { return v.IsUint(); }
  static unsigned int Read(const JVal& v) { return v.GetUint(); }
};
template <>
struct Scalar<unsigned short> {
  static bool Accepts(const JVal& v) { return v.IsUint(); }
  static unsigned short Read(const JVal& v) { return static_cast<unsigned short>(v.GetUint()); }
};
template <>
struct Scalar<unsigned char> {
  static bool Accepts(const JVal& v) { return v.IsUint(); }
  static unsigned char Read(const JVal& v) { return static_cast<unsigned char>(v.GetUint()); }
};
template <>
struct Scalar<bool> {
  static bool Accepts(const JVal& v) { return v.IsBool(); }
  static bool Read(const JVal& v) { return v.GetBool(); }
};
template <>
struct Scalar<double> {
  static bool Accepts(const JVal& v) { return v.IsDouble(); }
  static double Read(const JVal& v) { return v.GetDouble(); }
};

void RequireOutput(const void* out) {
  if (out == nullptr) throw InvalidArgumentException(kNullOutput);
}

// JSON has no text for NaN or the infinities; refusing them here keeps every
// object serialisable.
void RequireFinite(const char* key, double value) {
  if (!std::isfinite(value)) ThrowException<InvalidArgumentException>(CS_ERR_INVALID_VALUE, key);
}

JVal StringValue(const std::string& text, JAllocator& allocator) {
  return JVal(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

}  // namespace

void ThrowInvalidType(const char* key) {
  throw InvalidTypeException(std::string(kInvalidTypePrefix) + key);
}

void StoreObjectImpl::TraceSubObject(const char* operation, const SubObjectId& sid) {
  CSLogger::Log(4, kLogSubObjectTrace, operation, sid.toString().c_str());
}

void RequireKey(const char* key) {
  if (key == nullptr || *key == '\0') throw InvalidArgumentException(kEmptyKey);
}

StoreObjectImpl::StoreObjectImpl(const ConfigStoreObjectId& id)
    : id_(id), document_(CreateDocument()) {
  document_->GetDocument().SetObject();
}

StoreObjectImpl::StoreObjectImpl(const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document)
    : id_(id), document_(std::move(document)) {
  RAPIDJSON_ASSERT(document_ != nullptr);
}

StoreObjectImpl::~StoreObjectImpl() = default;

const JVal* StoreObjectImpl::GetValuePtrDefault(const char* key, bool& fromDefault) const {
  fromDefault = false;
  return GetValuePtr(key);
}

const JVal* StoreObjectImpl::GetValuePtr(const char* key) const {
  RequireKey(key);
  return FindValue(Value(), key);
}

template <typename T>
int StoreObjectImpl::GetScalar(const char* key, T* out) const {
  RequireOutput(out);
  bool fromDefault = false;
  const JVal* value = GetValuePtrDefault(key, fromDefault);
  if (value == nullptr) return 0;
  if (!Scalar<T>::Accepts(*value)) ThrowInvalidType(key);
  *out = Scalar<T>::Read(*value);
  return fromDefault ? 2 : 1;
}

int StoreObjectImpl::GetValue(const char* key, std::string* out) const {
  return GetScalar(key, out);
}
int StoreObjectImpl::GetValue(const char* key, int* out) const { return GetScalar(key, out); }
int StoreObjectImpl::GetValue(const char* key, long* out) const { return GetScalar(key, out); }
int StoreObjectImpl::GetValue(const char* key, long long* out) const { return GetScalar(key, out); }
int StoreObjectImpl::GetValue(const char* key, unsigned int* out) const {
  return GetScalar(key, out);
}
int StoreObjectImpl::GetValue(const char* key, unsigned short* out) const {
  return GetScalar(key, out);
}
int StoreObjectImpl::GetValue(const char* key, unsigned char* out) const {
  return GetScalar(key, out);
}
int StoreObjectImpl::GetValue(const char* key, bool* out) const { return GetScalar(key, out); }
int StoreObjectImpl::GetValue(const char* key, double* out) const { return GetScalar(key, out); }

// Elements are read with rapidjson's own getters, whose assertion (and so
// "Invalid JSON") refuses an element of the wrong type.
template <typename T, typename ReadElement>
int StoreObjectImpl::GetValueVector(const char* key, std::vector<T>* out, ReadElement read) const {
  RequireOutput(out);
  if (!out->empty()) throw InvalidArgumentException(kVectorNotEmpty);
  bool fromDefault = false;
  const JVal* value = GetValuePtrDefault(key, fromDefault);
  if (value == nullptr) return 0;
  if (!value->IsArray()) ThrowInvalidType(key);
  for (const JVal& element : value->GetArray()) out->push_back(read(element));
  return fromDefault ? 2 : 1;
}

int StoreObjectImpl::GetValue(const char* key, std::vector<std::string>* out) const {
  return GetValueVector(
      key, out, [](const JVal& v) { return std::string(v.GetString(), v.GetStringLength()); });
}
int StoreObjectImpl::GetValue(const char* key, std::vector<int>* out) const {
  return GetValueVector(key, out, [](const JVal& v) { return v.GetInt(); });
}
int StoreObjectImpl::GetValue(const char* key, std::vector<long long>* out) const {
  return GetValueVector(key, out,
                        [](const JVal& v) { return static_cast<long long>(v.GetInt64()); });
}
int StoreObjectImpl::GetValue(const char* key, std::vector<double>* out) const {
  return GetValueVector(key, out, [](const JVal& v) { return v.GetDouble(); });
}
int StoreObjectImpl::GetValue(const char* key, std::vector<bool>* out) const {
  return GetValueVector(key, out, [](const JVal& v) { return v.GetBool(); });
}

int StoreObjectImpl::GetValueBinary(const char* key, unsigned char** data,
                                    unsigned long* length) const {
  RequireOutput(data);
  RequireOutput(length);
  std::string text;
  const int found = GetValue(key, &text);
  if (found != 0 && !DecodeBinary(text, data, length)) throw ConfigStoreException(kDecodeFailed);
  return found;
}

bool StoreObjectImpl::CheckKey(const char* key) const {
  return ConfigStoreDocument::ValueExists(Value(), key);
}

std::string StoreObjectImpl::GetData() const {
  std::string text;
  ConfigStoreDocument::SerializeValue(Value(), text);
  return text;
}

bool StoreObjectImpl::IsEmpty() const { return Value().ObjectEmpty(); }

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
