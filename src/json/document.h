#ifndef SRC_JSON_DOCUMENT_H_
#define SRC_JSON_DOCUMENT_H_

#include <cstddef>
#include <memory>
#include <string>

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

  // Parses `length` characters of `text` into `document` with rapidjson's
  // default flags. False when the text is not one JSON value or nests deeper
  // than kMaxNestingDepth (which is logged at priority 1).
  static bool Parse(JDoc& document, const char* text, std::size_t length);

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

// CreateDocumentFromString without a string: for text that lives elsewhere,
// such as a database row.
std::shared_ptr<JsonDoc> CreateDocumentFromText(const char* text, std::size_t length);

// The JSON pointer of member or element `token` below `parent`, with "~" and
// "/" in the token escaped as "~0" and "~1".
std::string ChildPointer(const std::string& parent, const std::string& token);

}  // namespace OrinConfigStore

#endif  // SRC_JSON_DOCUMENT_H_
