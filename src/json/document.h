#ifndef SRC_JSON_DOCUMENT_H_
#define SRC_JSON_DOCUMENT_H_

#include <cstddef>
#include <memory>
#include <string>

#include "configstore/error_codes.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"

namespace OrinConfigStore {

// Parsing and serialising documents: the JSON helpers every layer shares.
class ConfigStoreDocument {
 public:
  // A new, empty document whose memory pool grows in small chunks.
  // rapidjson's own default starts every document with a 64 KiB chunk; an
  // object read from the store is a few hundred bytes, and a read builds
  // several documents, so the default costs far more in heap traffic and
  // page faults than the work itself.
  static std::shared_ptr<JDoc> NewDocument();

  // Deepest nesting of arrays and objects that Parse accepts. Parsing,
  // serialising and walking a document all recurse once per level, so an
  // unbounded depth would let a hostile text overflow the stack; real
  // configuration stays within a few dozen levels.
  static constexpr std::size_t kMaxNestingDepth = 512;

  // Parses `length` characters of text that comes from outside the library
  // (callers, files, the tool's input) into `document`. False when the text
  // is not one JSON value, nests deeper than kMaxNestingDepth (logged at
  // priority 1), is not valid UTF-8 (raw, or once its \u escapes are
  // decoded), repeats a member name within one object (an earlier
  // occurrence holding null aside: the setters append beside a null member,
  // and readers skip it), or holds a number
  // beyond the range of a double. For a repeated name `problem`, when given,
  // becomes `duplicate member "<name>" at <pointer>`, for such a number
  // `number out of range at <pointer>` (or `at offset <n>` when the parser
  // itself refused it), and stays empty otherwise. Numbers are read exactly
  // (ParseJsonText), here and in ParseStored. Text that is not UTF-8 would
  // reach the validator's string checks, which read past their tables on
  // it; a repeated name lets the validator and the accessors see different
  // members.
  static bool Parse(JDoc& document, const char* text, std::size_t length,
                    std::string* problem = nullptr);

  // Parses text the library wrote itself (stored rows and schemas, its own
  // serialisations) as it was written: only the nesting limit is checked,
  // so that what earlier versions stored stays readable. The text ends at
  // its first NUL, which is at `length` at the latest (a column's text, a
  // string's data).
  static bool ParseStored(JDoc& document, const char* text, std::size_t length);

  // Writes the compact JSON text of `value` to `out`. A value without a JSON
  // text (a NaN or infinite number) raises ConfigStoreException 2000
  // "Invalid JSON" and leaves `out` unchanged.
  static void SerializeValue(const JVal& value, std::string& out);

  // Whether the JSON object `value` has the member `key`; a member holding
  // null counts. A value that is not an object, or a null key, raises
  // "Invalid JSON".
  static bool ValueExists(const JVal& value, const char* key);
};

// A member name for rapidjson's lookups, referring to the caller's text
// (valid while that text is). A null name raises "Invalid JSON" rather than
// reaching rapidjson's strlen.
inline JVal JsonKey(const char* key) {
  RAPIDJSON_ASSERT(key != nullptr);
  return JVal(rapidjson::StringRef(key));
}

inline JVal JsonKey(const std::string& key) {
  return JVal(rapidjson::StringRef(key.data(), key.size()));
}

// Whether the JSON string `value` holds exactly `text`; a value that is not
// a string raises "Invalid JSON".
inline bool JsonStringEquals(const JVal& value, const std::string& text) {
  return value.GetStringLength() == text.size() &&
         text.compare(0, text.size(), value.GetString(), value.GetStringLength()) == 0;
}

// Member and instance lookups shared by the object views. Each raises
// ConfigStoreException 2000 "Invalid JSON" when the JSON is not of the
// shape it needs.

// The first member named `key` of `object` that does not hold JSON null, or
// null. Skipping null members matters: a setter appends a new member beside
// one that holds null, and readers must see the new one.
JVal* FindValue(JVal& object, const char* key);
const JVal* FindValue(const JVal& object, const char* key);

// The member `name` of `object`, which must exist.
JVal& RequireMember(JVal& object, const std::string& name);
const JVal& RequireMember(const JVal& object, const std::string& name);

// The first element of the array `instances` whose member `instanceKey`
// holds the text `instanceId`, or null. Every element examined must be an
// object with that member as a string.
JVal* FindInstance(JVal& instances, const std::string& instanceKey, const std::string& instanceId);
const JVal* FindInstance(const JVal& instances, const std::string& instanceKey,
                         const std::string& instanceId);

// Sets the member `key` of `object` to a deep copy of `value`: an equal
// member is left alone, a different one is removed and the new member added
// at the end of the object (so a changed member moves to the end). A null
// key raises "Invalid JSON".
void SetMemberEx(JVal& object, const char* key, const JVal& value, JAllocator& allocator);
// A deep copy of `value` in `allocator`, every string copied. rapidjson's
// own copy of an object or array builds it through a document of its own,
// whose stack is allocated and freed for each copy; a merge copies many.
JVal DeepCopy(const JVal& value, JAllocator& allocator);
// The same with the member's name as a JSON string (a member of another
// object), which saves measuring and copying a C string.
void SetMemberEx(JVal& object, const JVal& name, const JVal& value, JAllocator& allocator);

// A new document of text the library wrote itself (ParseStored), such as a
// database row or an object's own serialisation. Text that does not parse
// raises InvalidArgumentException 1080 "Failed to parse JSON String".
std::shared_ptr<JsonDoc> CreateDocumentFromStoredText(const char* text, std::size_t length);

// Raises InvalidArgumentException `code` (1080 or 1081) for text that
// ConfigStoreDocument::Parse refused: the code's message (filled with
// `path`, for 1081), followed by ": <problem>" when there is one.
[[noreturn]] void ThrowUnparsable(CSErrorCodes code, const std::string& problem,
                                  const char* path = nullptr);

// Whether `length` bytes of `text` are UTF-8 as Unicode defines it: no
// overlong forms, surrogates or code points past U+10FFFF.
bool IsValidUtf8(const char* text, std::size_t length);

// Whether an object in `value` repeats a member name (as Parse counts
// repeats: not after a null occurrence), looked for up to the
// first text that is not valid UTF-8; `pointer` then becomes the JSON
// pointer of the repeated member.
bool FindRepeatedMember(const JVal& value, std::string* pointer);

// Whether every string and member name in `value` is valid UTF-8; when not,
// `pointer` becomes the JSON pointer of the first that is not.
bool IsValidUtf8Text(const JVal& value, std::string* pointer);

// The JSON pointer of member or element `token` below `parent`, with "~" and
// "/" in the token escaped as "~0" and "~1".
std::string ChildPointer(const std::string& parent, const std::string& token);

}  // namespace OrinConfigStore

#endif  // SRC_JSON_DOCUMENT_H_
