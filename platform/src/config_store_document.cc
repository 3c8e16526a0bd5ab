#include "platform/config_store_document.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace OrinConfigStore {

void ConfigStoreDocument::SerializeValue(const JVal& value, std::string& out) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  if (!value.Accept(writer)) ThrowInvalidJson();
  out.assign(buffer.GetString(), buffer.GetSize());
}

bool ConfigStoreDocument::ValueExists(const JVal& value, const char* key) {
  return value.FindMember(JsonKey(key)) != value.MemberEnd();
}

}  // namespace OrinConfigStore
