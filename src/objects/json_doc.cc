#include "configstore/json_doc.h"

#include <utility>

#include "configstore/exceptions.h"
#include "configstore/logger.h"
#include "json_lookup.h"
#include "platform/config_store_document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kMissingSubObject = "Subobject does not exists.";
constexpr const char* kMissingInstance = "Subobject instance does not exists.";
constexpr const char* kLogMissingSubObject = "Cannot find subobject %s";
constexpr const char* kLogMissingInstance = "Cannot find subobject instance %s=%s";

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
  return CreateDocumentFromText(text.data(), text.size());
}

std::shared_ptr<JsonDoc> CreateDocumentFromText(const char* text, std::size_t length) {
  std::shared_ptr<JsonDoc> document = CreateDocument();
  if (!ConfigStoreDocument::Parse(document->GetDocument(), text, length)) {
    ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_STRING);
  }
  return document;
}

std::string SerializeJson(const JVal& value) {
  std::string text;
  ConfigStoreDocument::SerializeValue(value, text);
  return text;
}

}  // namespace OrinConfigStore
