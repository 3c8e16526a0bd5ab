#include "json/document.h"

#include <algorithm>
#include <cstring>

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

// The mutable forms share the const lookups: finding never changes the JSON.

JVal* FindValue(JVal& object, const char* key) {
  return const_cast<JVal*>(FindValue(static_cast<const JVal&>(object), key));
}

const JVal* FindValue(const JVal& object, const char* key) {
  RAPIDJSON_ASSERT(key != nullptr);
  const std::size_t length = std::strlen(key);
  for (const auto& member : object.GetObject()) {
    if (member.name.GetStringLength() == length &&
        std::memcmp(member.name.GetString(), key, length) == 0 && !member.value.IsNull()) {
      return &member.value;
    }
  }
  return nullptr;
}

JVal& RequireMember(JVal& object, const std::string& name) {
  return const_cast<JVal&>(RequireMember(static_cast<const JVal&>(object), name));
}

const JVal& RequireMember(const JVal& object, const std::string& name) {
  const auto member = object.FindMember(JsonKey(name));
  RAPIDJSON_ASSERT(member != object.MemberEnd());
  return member->value;
}

JVal* FindInstance(JVal& instances, const std::string& instanceKey, const std::string& instanceId) {
  return const_cast<JVal*>(
      FindInstance(static_cast<const JVal&>(instances), instanceKey, instanceId));
}

const JVal* FindInstance(const JVal& instances, const std::string& instanceKey,
                         const std::string& instanceId) {
  for (const JVal& element : instances.GetArray()) {
    if (JsonStringEquals(RequireMember(element, instanceKey), instanceId)) return &element;
  }
  return nullptr;
}

// The copy is taken before anything moves: `value` may be a member of this
// very object, which the removal would shift.
void SetMemberEx(JVal& object, const char* key, const JVal& value, JAllocator& allocator) {
  const auto existing = object.FindMember(JsonKey(key));
  if (existing != object.MemberEnd() && existing->value == value) return;
  JVal copy(value, allocator);
  if (existing != object.MemberEnd()) object.RemoveMember(existing);
  object.AddMember(JVal(key, allocator), copy, allocator);
}

std::string ChildPointer(const std::string& parent, const std::string& token) {
  std::string pointer = parent;
  pointer.reserve(parent.size() + token.size() + 1);
  pointer += '/';
  for (const char c : token) {
    if (c == '~') {
      pointer += "~0";
    } else if (c == '/') {
      pointer += "~1";
    } else {
      pointer += c;
    }
  }
  return pointer;
}

}  // namespace OrinConfigStore
