#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "configstore/exceptions.h"
#include "configstore/json_doc.h"
#include "platform/config_store_document.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kGeneratedIdMember = "cs_generated_id";
}

// The whole file is read first so that it goes through the same checked
// parse as a text; configuration files are small.
std::shared_ptr<JsonDoc> CreateDocumentFromFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  std::shared_ptr<JsonDoc> document = CreateDocument();
  const std::string text = content.str();
  if (!stream.is_open() || stream.bad() ||
      !ConfigStoreDocument::Parse(document->GetDocument(), text.data(), text.size())) {
    ThrowException<InvalidArgumentException>(CS_ERR_JSON_PARSE_FILE, path.c_str());
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
