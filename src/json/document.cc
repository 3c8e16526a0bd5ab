#include "json/document.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "configstore/logger.h"
#include "json/exact_parse.h"

namespace OrinConfigStore {

namespace {

constexpr std::size_t kDocumentChunkCapacity = 1024;

// A document together with the allocator it draws from, freed together.
// The allocator's first chunk is part of the same allocation: nearly every
// document holds something, and a read makes one document per object.
struct PooledDocument {
  // Provided, so that make_shared leaves the chunk uninitialised (with the
  // implicit constructor it would zero a kilobyte per document); the
  // allocator writes what it hands out.
  PooledDocument() {}

  alignas(std::max_align_t) char firstChunk[kDocumentChunkCapacity];
  JAllocator allocator{firstChunk, sizeof firstChunk, kDocumentChunkCapacity};
  JDoc document{&allocator};
};

constexpr const char* kLogTooDeep = "JSON text nests deeper than %zu levels";
constexpr const char* kDuplicateMember = "duplicate member \"";
constexpr const char* kDuplicateAt = "\" at ";
constexpr const char* kNumberOutOfRange = "number out of range at ";
constexpr const char* kAtOffset = "offset ";

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

// The depth check every parse makes before rapidjson sees the text.
bool NestsTooDeep(const char* text, std::size_t length) {
  // Each level needs at least one bracket: a shorter text cannot nest too
  // deep, and skips the scan (most stored values are short).
  if (length <= ConfigStoreDocument::kMaxNestingDepth ||
      NestingDepth(text, length, ConfigStoreDocument::kMaxNestingDepth) <=
          ConfigStoreDocument::kMaxNestingDepth) {
    return false;
  }
  CSLogger::Log(1, kLogTooDeep, ConfigStoreDocument::kMaxNestingDepth);
  return true;
}

std::string_view View(const JVal& text) { return {text.GetString(), text.GetStringLength()}; }

// A member name that `object` repeats with a value before the last
// occurrence, or null. An earlier occurrence holding null is no repeat: a
// setter appends beside a null member, which every reader skips, so that
// shape is the library's own and reads one way only.
const JVal* RepeatedName(const JVal& object) {
  using Member = JVal::ConstMemberIterator;
  std::vector<Member> members;
  members.reserve(object.MemberCount());
  for (Member member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
    members.push_back(member);
  }
  std::stable_sort(members.begin(), members.end(),
                   [](const Member& a, const Member& b) { return View(a->name) < View(b->name); });
  for (std::size_t i = 0; i + 1 < members.size(); ++i) {
    const bool sameNext = View(members[i]->name) == View(members[i + 1]->name);
    if (sameNext && !members[i]->value.IsNull()) return &members[i]->name;
  }
  return nullptr;
}

// The fault of a text: a string or member name that is not UTF-8, a
// repeated member name, or a number too large for a double (which reads as
// infinity and has no JSON text); `pointer` is built only when there is
// one, from the innermost step out.
enum class Fault { kNone, kNotUtf8, kRepeated, kOutOfRange };

Fault Prefixed(Fault fault, const std::string& token, std::string* pointer) {
  if (fault != Fault::kNone) *pointer = ChildPointer(std::string(), token) + *pointer;
  return fault;
}

// The first fault below `value`. Repeated names are faults only when
// `repeated` is given, which then receives the name.
Fault FindFault(const JVal& value, std::string* repeated, std::string* pointer) {
  if (value.IsString()) {
    return IsValidUtf8(value.GetString(), value.GetStringLength()) ? Fault::kNone : Fault::kNotUtf8;
  }
  if (value.IsDouble()) return std::isfinite(value.GetDouble()) ? Fault::kNone : Fault::kOutOfRange;
  if (value.IsArray()) {
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
      const Fault fault = FindFault(value[i], repeated, pointer);
      if (fault != Fault::kNone) return Prefixed(fault, std::to_string(i), pointer);
    }
    return Fault::kNone;
  }
  if (!value.IsObject()) return Fault::kNone;
  if (const JVal* name = repeated != nullptr ? RepeatedName(value) : nullptr) {
    *repeated = View(*name);
    return Prefixed(Fault::kRepeated, *repeated, pointer);
  }
  for (const auto& member : value.GetObject()) {
    const std::string_view name = View(member.name);
    Fault fault = IsValidUtf8(name.data(), name.size()) ? Fault::kNone : Fault::kNotUtf8;
    if (fault == Fault::kNone) fault = FindFault(member.value, repeated, pointer);
    if (fault != Fault::kNone) return Prefixed(fault, std::string(name), pointer);
  }
  return Fault::kNone;
}

}  // namespace

std::shared_ptr<JDoc> ConfigStoreDocument::NewDocument() {
  auto pooled = std::make_shared<PooledDocument>();
  return std::shared_ptr<JDoc>(pooled, &pooled->document);
}

bool ConfigStoreDocument::Parse(JDoc& document, const char* text, std::size_t length,
                                std::string* problem) {
  if (problem != nullptr) problem->clear();
  if (NestsTooDeep(text, length)) return false;
  const rapidjson::ParseResult result = ParseJsonText(document, text, length, true);
  if (result.IsError()) {
    // Some numbers too large are refused by the parser, others read as
    // infinity and are found below: the caller hears the same of both.
    if (problem != nullptr && result.Code() == rapidjson::kParseErrorNumberTooBig) {
      *problem = kNumberOutOfRange + std::string(kAtOffset) + std::to_string(result.Offset());
    }
    return false;
  }
  std::string name;
  std::string pointer;
  const Fault fault = FindFault(document, &name, &pointer);
  if (problem != nullptr && fault == Fault::kRepeated) {
    *problem = kDuplicateMember + name + kDuplicateAt + pointer;
  } else if (problem != nullptr && fault == Fault::kOutOfRange) {
    *problem = kNumberOutOfRange + (pointer.empty() ? std::string("/") : pointer);
  }
  return fault == Fault::kNone;
}

bool ConfigStoreDocument::ParseStored(JDoc& document, const char* text, std::size_t length) {
  if (NestsTooDeep(text, length)) return false;
  return ParseTerminatedText(document, text);
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
JVal DeepCopy(const JVal& value, JAllocator& allocator) {
  if (value.IsObject()) {
    JVal object(rapidjson::kObjectType);
    for (const auto& member : value.GetObject()) {
      object.AddMember(JVal(member.name.GetString(), member.name.GetStringLength(), allocator),
                       DeepCopy(member.value, allocator), allocator);
    }
    return object;
  }
  if (value.IsArray()) {
    JVal array(rapidjson::kArrayType);
    array.Reserve(value.Size(), allocator);
    for (const JVal& element : value.GetArray())
      array.PushBack(DeepCopy(element, allocator), allocator);
    return array;
  }
  if (value.IsString()) return JVal(value.GetString(), value.GetStringLength(), allocator);
  return JVal(value, allocator);
}

void SetMemberEx(JVal& object, const char* key, const JVal& value, JAllocator& allocator) {
  SetMemberEx(object, JsonKey(key), value, allocator);
}

void SetMemberEx(JVal& object, const JVal& name, const JVal& value, JAllocator& allocator) {
  const auto existing = object.FindMember(name);
  if (existing != object.MemberEnd() && existing->value == value) return;
  JVal copy = DeepCopy(value, allocator);
  if (existing != object.MemberEnd()) object.RemoveMember(existing);
  // Built from the characters: a copy of a name that merely refers to its
  // text (JsonKey) would go on referring to it.
  object.AddMember(JVal(name.GetString(), name.GetStringLength(), allocator), copy, allocator);
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

bool IsValidUtf8(const char* text, std::size_t length) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  for (std::size_t i = 0; i < length;) {
    const unsigned lead = bytes[i];
    std::size_t extra = 0;
    unsigned codePoint = lead;
    unsigned smallest = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    } else if ((lead & 0xE0) == 0xC0) {
      extra = 1, codePoint = lead & 0x1F, smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      extra = 2, codePoint = lead & 0x0F, smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      extra = 3, codePoint = lead & 0x07, smallest = 0x10000;
    } else {
      return false;
    }
    if (length - i <= extra) return false;
    for (std::size_t k = 1; k <= extra; ++k) {
      if ((bytes[i + k] & 0xC0) != 0x80) return false;
      codePoint = (codePoint << 6) | (bytes[i + k] & 0x3F);
    }
    if (codePoint < smallest || codePoint > 0x10FFFF ||
        (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
      return false;
    }
    i += extra + 1;
  }
  return true;
}

bool FindRepeatedMember(const JVal& value, std::string* pointer) {
  std::string name;
  std::string found;
  if (FindFault(value, &name, &found) != Fault::kRepeated) return false;
  if (pointer != nullptr) *pointer = found;
  return true;
}

bool IsValidUtf8Text(const JVal& value, std::string* pointer) {
  std::string found;
  if (FindFault(value, nullptr, &found) == Fault::kNone) return true;
  if (pointer != nullptr) *pointer = found.empty() ? "/" : found;
  return false;
}

}  // namespace OrinConfigStore
