#ifndef CONFIGSTORE_JSON_DOC_H_
#define CONFIGSTORE_JSON_DOC_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "configstore/export.h"
#include "configstore/json.h"

namespace OrinConfigStore {

// One step of a path into a document: the member `key` of the enclosing
// object; when that member is an array (a repeated sub-object), the element
// whose member `instanceKey` holds the text `instanceId`.
struct JsonNode {
  std::string key;
  std::string instanceKey;
  std::string instanceId;
};

// A shared JSON document and the path from its root to the object that one
// view works on. Several JsonDocs may share a document with different paths;
// the document lives as long as its last holder. Not thread-safe: a document
// and all its views belong to one thread at a time.
class CONFIGSTORE_API JsonDoc {
 public:
  // A new document whose root is JSON null, with an empty path.
  JsonDoc();
  // A view of `document` at `path`.
  JsonDoc(std::shared_ptr<JDoc> document, std::vector<JsonNode> path);

  JDoc& GetDocument() const { return *document_; }
  JAllocator& GetAllocator() const { return document_->GetAllocator(); }
  const std::shared_ptr<JDoc>& ShareDocument() const { return document_; }
  const std::vector<JsonNode>& GetPath() const { return path_; }

  // The value the path leads to, resolved afresh on every call so that a
  // view follows changes made through other views. A missing member raises
  // ConfigStoreException 2000 "Subobject does not exists."; a repeated
  // sub-object without the instance raises "Subobject instance does not
  // exists."; a malformed step raises "Invalid JSON".
  JVal* GetJsonValuePtr() const;

 private:
  std::shared_ptr<JDoc> document_;
  std::vector<JsonNode> path_;
};

// A new, empty document (null root) with an empty path.
CONFIGSTORE_API std::shared_ptr<JsonDoc> CreateDocument();

// A new document parsed from `text` with rapidjson's default flags. Any parse
// error, an empty text included, raises InvalidArgumentException 1080
// "Failed to parse JSON String".
CONFIGSTORE_API std::shared_ptr<JsonDoc> CreateDocumentFromString(const std::string& text);

// As CreateDocumentFromString, reading the whole file at `path`. A file that
// cannot be opened or does not hold one JSON value raises
// InvalidArgumentException 1081 "Failed to parse JSON file <path>".
CONFIGSTORE_API std::shared_ptr<JsonDoc> CreateDocumentFromFile(const std::string& path);

// Parses `length` characters of JSON `text` into `document` the way the
// library reads JSON: integers exactly, and every other number as the
// nearest double, so that a document serialised and parsed again holds the
// same numbers (rapidjson's own reading may be a little off). With
// `validateUtf8`, text that is not UTF-8 is a parse error. On an error the
// document keeps its value. Returns rapidjson's result (error and offset).
CONFIGSTORE_API rapidjson::ParseResult ParseJsonText(JDoc& document, const char* text,
                                                     std::size_t length, bool validateUtf8 = false);

// Removes every member named "cs_generated_id" from `value` and from every
// object and array nested in it. A null pointer is ignored.
CONFIGSTORE_API void ClearGeneratedInstanceId(JVal* value);

// `value` as compact JSON text.
CONFIGSTORE_API std::string SerializeJson(const JVal& value);

// True when stat() of the path succeeds (directories included).
CONFIGSTORE_API bool FileExists(const std::string& path);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_JSON_DOC_H_
