#include <sys/stat.h>

#include <fstream>

#include <rapidjson/istreamwrapper.h>

#include "configstore/exceptions.h"
#include "configstore/json_doc.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kGeneratedIdMember = "cs_generated_id";
}

std::shared_ptr<JsonDoc> CreateDocumentFromFile(const std::string& path) {
  std::ifstream stream(path);
  std::shared_ptr<JsonDoc> document = CreateDocument();
  if (stream.is_open()) {
    rapidjson::IStreamWrapper wrapper(stream);
    document->GetDocument().ParseStream(wrapper);
  }
  if (!stream.is_open() || document->GetDocument().HasParseError()) {
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
