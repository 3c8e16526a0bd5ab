#include "store_object_impl.h"

#include <utility>

#include "configstore/exceptions.h"
#include "configstore/store_object.h"
#include "json_lookup.h"
#include "platform/config_store_document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kInvalidTypePrefix = "Invalid type specified for: ";
constexpr const char* kEmptyKey = "key cannot be empty";
constexpr const char* kVectorNotEmpty = "Output vector must be empty.";
constexpr const char* kNullOutput = "Output pointer cannot be null.";
constexpr const char* kDecodeFailed = "Failed to decode binary value";

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

}  // namespace

void ThrowInvalidType(const char* key) {
  throw InvalidTypeException(std::string(kInvalidTypePrefix) + key);
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

}  // namespace OrinConfigStore
