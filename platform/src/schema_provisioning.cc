#include <filesystem>
#include <fstream>
#include <sstream>

#include "configstore/exceptions.h"
#include "configstore/provisioning.h"
#include "platform/format.h"
#include "platform/schema_database.h"
#include "platform/schema_definition.h"

namespace OrinSchemaStore {

namespace {

constexpr const char* kTextSource = "JSON text";
constexpr const char* kUnreadableFile = "Invalid schema definition in %s: the file cannot be read";

std::size_t Load(const std::string& text, const std::string& source) {
  const std::vector<SchemaDefinition> definitions = ReadSchemaDefinitions(text, source);
  CreateSchemaStore();
  StoreDefinitions(definitions);
  return definitions.size();
}

}  // namespace

void InitializeSchemaStore() { CreateSchemaStore(); }

std::size_t LoadSchemaFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  std::error_code ignored;
  if (!file.is_open() || file.bad() || std::filesystem::is_directory(path, ignored)) {
    throw OrinConfigStore::InvalidArgumentException(Str_Format(kUnreadableFile, path.c_str()));
  }
  return Load(text.str(), path);
}

std::size_t LoadSchemaDefinition(const std::string& jsonText) {
  return Load(jsonText, kTextSource);
}

}  // namespace OrinSchemaStore
