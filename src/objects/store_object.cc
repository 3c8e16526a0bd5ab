// The public handle of a JSON-backed value (every operation forwards to the
// implementation), and the Base64 codec of its binary members.

#include <memory>
#include <utility>

#include "configstore/store_object.h"
#include "platform/base64.h"
#include "store_object_impl.h"

namespace OrinConfigStore {

StoreObject::StoreObject(const ConfigStoreObjectId& id)
    : impl_(std::make_shared<StoreObjectImpl>(id)) {}
StoreObject::StoreObject(std::shared_ptr<StoreObjectImpl> impl) : impl_(std::move(impl)) {
  RAPIDJSON_ASSERT(impl_ != nullptr);
}
StoreObject::~StoreObject() = default;

const ConfigStoreObjectId& StoreObject::GetConfigStoreObjectId() const {
  return impl_->GetConfigStoreObjectId();
}

int StoreObject::GetValue(const char* key, std::string* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, int* out) const { return impl_->GetValue(key, out); }
int StoreObject::GetValue(const char* key, long* out) const { return impl_->GetValue(key, out); }
int StoreObject::GetValue(const char* key, long long* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, unsigned int* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, unsigned short* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, unsigned char* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, bool* out) const { return impl_->GetValue(key, out); }
int StoreObject::GetValue(const char* key, double* out) const { return impl_->GetValue(key, out); }
int StoreObject::GetValue(const char* key, std::vector<std::string>* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, std::vector<int>* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, std::vector<long long>* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, std::vector<double>* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValue(const char* key, std::vector<bool>* out) const {
  return impl_->GetValue(key, out);
}
int StoreObject::GetValueBinary(const char* key, unsigned char** data,
                                unsigned long* length) const {
  return impl_->GetValueBinary(key, data, length);
}

void StoreObject::SetValue(const char* key, const char* value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, const std::string& value) {
  impl_->SetValue(key, value);
}
void StoreObject::SetValue(const char* key, int value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, long value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, long long value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, unsigned int value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, unsigned short value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, unsigned char value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, bool value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, double value) { impl_->SetValue(key, value); }
void StoreObject::SetValue(const char* key, float value) { impl_->SetValue(key, value); }
template <typename T>
void StoreObject::SetValue(const char* key, const std::vector<T>& values) {
  impl_->SetValue(key, values);
}
template void StoreObject::SetValue<int>(const char*, const std::vector<int>&);
template void StoreObject::SetValue<std::string>(const char*, const std::vector<std::string>&);
void StoreObject::SetValueBinary(const char* key, const unsigned char* data, unsigned long length) {
  impl_->SetValueBinary(key, data, length);
}
void StoreObject::SetValueEmptyList(const char* key) { impl_->SetValueEmptyList(key); }

void StoreObject::AppendValue(const char* key, int value) { impl_->AppendValue(key, value); }
void StoreObject::AppendValue(const char* key, long long value) { impl_->AppendValue(key, value); }
void StoreObject::AppendValue(const char* key, double value) { impl_->AppendValue(key, value); }
void StoreObject::AppendValue(const char* key, bool value) { impl_->AppendValue(key, value); }
void StoreObject::AppendValue(const char* key, const std::string& value) {
  impl_->AppendValue(key, value);
}
void StoreObject::AppendValue(const char* key, const char* value) {
  impl_->AppendValue(key, value);
}

const JVal* StoreObject::GetValuePtr(const char* key) const { return impl_->GetValuePtr(key); }
bool StoreObject::CheckKey(const char* key) { return impl_->CheckKey(key); }
bool StoreObject::Remove(const char* key) { return impl_->Remove(key); }
std::string StoreObject::GetData() const { return impl_->GetData(); }
bool StoreObject::IsEmpty() const { return impl_->IsEmpty(); }
void StoreObject::SetData(const char* json) { impl_->SetData(json); }

bool EncodeBinary(const unsigned char* data, unsigned long length, std::string& out) {
  std::string buffer(Base64_EncodedLength(length), '\0');
  if (!Base64_Encode(data, length, buffer.data(), buffer.size())) return false;
  out = std::move(buffer);
  return true;
}

bool DecodeBinary(std::string& in, unsigned char** data, unsigned long* length) {
  if (data == nullptr || length == nullptr) return false;
  const std::size_t capacity = Base64_DecodedLength(in.data(), in.size());
  auto buffer = std::make_unique<unsigned char[]>(capacity);
  std::size_t written = 0;
  if (!Base64_Decode(in.data(), in.size(), buffer.get(), capacity, &written)) return false;
  *data = buffer.release();
  *length = written;
  return true;
}

}  // namespace OrinConfigStore
