#include "platform/config_store_document.h"

#include <algorithm>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "configstore/logger.h"

namespace OrinConfigStore {

namespace {

constexpr std::size_t kDocumentChunkCapacity = 1024;

// A document together with the allocator it draws from, freed together.
struct PooledDocument {
  JAllocator allocator{kDocumentChunkCapacity};
  JDoc document{&allocator};
};

constexpr const char* kLogTooDeep = "JSON text nests deeper than %zu levels";

// The deepest nesting of the text's arrays and objects, counting brackets
// outside strings; stops counting once past `limit`. Malformed text is left
// for the parser to refuse.
std::size_t NestingDepth(const char* text, std::size_t length, std::size_t limit) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  bool inString = false;
  for (std::size_t i = 0; i < length && deepest <= limit; ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      deepest = std::max(deepest, ++depth);
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

}  // namespace

std::shared_ptr<JDoc> ConfigStoreDocument::NewDocument() {
  auto pooled = std::make_shared<PooledDocument>();
  return std::shared_ptr<JDoc>(pooled, &pooled->document);
}

bool ConfigStoreDocument::Parse(JDoc& document, const char* text, std::size_t length) {
  // Each level needs at least one bracket: a shorter text cannot nest too
  // deep, and skips the scan (most stored values are short).
  if (length > kMaxNestingDepth &&
      NestingDepth(text, length, kMaxNestingDepth) > kMaxNestingDepth) {
    CSLogger::Log(1, kLogTooDeep, kMaxNestingDepth);
    return false;
  }
  document.Parse(text, length);
  return !document.HasParseError();
}

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
