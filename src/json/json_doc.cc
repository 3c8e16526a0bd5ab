#include "configstore/json_doc.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <utility>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "errors/format.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kMissingSubObject = "Subobject does not exists.";
constexpr const char* kMissingInstance = "Subobject instance does not exists.";
constexpr const char* kLogMissingSubObject = "Cannot find subobject %s";
constexpr const char* kLogMissingInstance = "Cannot find subobject instance %s=%s";
constexpr const char* kGeneratedIdMember = "cs_generated_id";
constexpr const char* kProblemSeparator = ": ";

JVal& Step(JVal& current, const JsonNode& node) {
  if (!ConfigStoreDocument::ValueExists(current, node.key.c_str())) {
    CSLogger::Log(0, kLogMissingSubObject, node.key.c_str());
    throw ConfigStoreException(kMissingSubObject);
  }
  JVal& member = RequireMember(current, node.key);
  if (!member.IsArray()) return member;
  JVal* instance = FindInstance(member, node.instanceKey, node.instanceId);
  if (instance == nullptr) {
    CSLogger::Log(0, kLogMissingInstance, node.instanceKey.c_str(), node.instanceId.c_str());
    throw ConfigStoreException(kMissingInstance);
  }
  return *instance;
}

}  // namespace

JsonDoc::JsonDoc() : document_(ConfigStoreDocument::NewDocument()) {}

JsonDoc::JsonDoc(std::shared_ptr<JDoc> document, std::vector<JsonNode> path)
    : document_(std::move(document)), path_(std::move(path)) {
  RAPIDJSON_ASSERT(document_ != nullptr);
}

JVal* JsonDoc::GetJsonValuePtr() const {
  JVal* current = document_.get();
  for (const JsonNode& node : path_) current = &Step(*current, node);
  return current;
}

std::shared_ptr<JsonDoc> CreateDocument() { return std::make_shared<JsonDoc>(); }

std::shared_ptr<JsonDoc> CreateDocumentFromString(const std::string& text) {
  std::shared_ptr<JsonDoc> document = CreateDocument();
  std::string problem;
  if (!ConfigStoreDocument::Parse(document->GetDocument(), text.data(), text.size(), &problem)) {
    ThrowUnparsable(CS_ERR_JSON_PARSE_STRING, problem);
  }
  return document;
}

std::shared_ptr<JsonDoc> CreateDocumentFromStoredText(const char* text, std::size_t length) {
  std::shared_ptr<JsonDoc> document = CreateDocument();
  if (!ConfigStoreDocument::ParseStored(document->GetDocument(), text, length)) {
    ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING);
  }
  return document;
}

void ThrowUnparsable(CSErrorCodes code, const std::string& problem, const char* path) {
  if (problem.empty()) ThrowException<InvalidArgumentException>(code, path);
  throw InvalidArgumentException(
      code, Str_Format(GetErrorTemplate(code), path) + kProblemSeparator + problem);
}

std::string SerializeJson(const JVal& value) {
  std::string text;
  ConfigStoreDocument::SerializeValue(value, text);
  return text;
}

// The whole file is read first so that it goes through the same checked
// parse as a text; configuration files are small.
std::shared_ptr<JsonDoc> CreateDocumentFromFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  std::shared_ptr<JsonDoc> document = CreateDocument();
  const std::string text = content.str();
  std::string problem;
  if (!stream.is_open() || stream.bad() ||
      !ConfigStoreDocument::Parse(document->GetDocument(), text.data(), text.size(), &problem)) {
    ThrowUnparsable(CS_ERR_JSON_PARSE_FILE, problem, path.c_str());
  }
  return document;
}

void ClearGeneratedInstanceId(JVal* value) {
  if (value == nullptr) return;
  if (value->IsArray()) {
    for (JVal& element : value->GetArray()) ClearGeneratedInstanceId(&element);
  } else if (value->IsObject()) {
    while (value->RemoveMember(kGeneratedIdMember)) {
    }
    for (auto& member : value->GetObject()) ClearGeneratedInstanceId(&member.value);
  }
}

bool FileExists(const std::string& path) {
  struct stat info;
  return ::stat(path.c_str(), &info) == 0;
}

}  // namespace OrinConfigStore
