#include <memory>

#include "configstore/store_object.h"
#include "platform/base64.h"

namespace OrinConfigStore {

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
