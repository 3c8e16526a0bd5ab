#include "test_support.h"

#include "platform/schema_database.h"
#include "platform/schema_definition.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace cstest {

LogCapture::LogCapture() : lines_(std::make_shared<std::vector<std::pair<int, std::string>>>()) {
  auto lines = lines_;
  OrinConfigStore::CSLogger::SetSink(
      [lines](int priority, const std::string& line) { lines->emplace_back(priority, line); });
}

LogCapture::~LogCapture() { OrinConfigStore::CSLogger::SetSink(nullptr); }

bool LogCapture::Contains(int priority, const std::string& line) const {
  return std::find(lines_->begin(), lines_->end(), std::make_pair(priority, line)) != lines_->end();
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
  if (const char* previous = getenv(name)) {
    previous_ = previous;
    hadPrevious_ = true;
  }
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

ScopedEnv::~ScopedEnv() {
  if (hadPrevious_) {
    setenv(name_.c_str(), previous_.c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

TempRoot::TempRoot() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "configstore-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
  root_ = std::make_unique<ScopedEnv>("CONFIGSTORE_ROOT", path_.c_str());
}

TempRoot::~TempRoot() {
  root_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempRoot::WriteFile(const std::string& relative, const std::string& content) const {
  const std::filesystem::path file = std::filesystem::path(path_) / relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file) << content;
  return file.string();
}

std::string ExamplePath(const std::string& relative) {
  return std::string(CONFIGSTORE_EXAMPLES_DIR) + "/" + relative;
}

namespace {

std::string ReadText(const std::string& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

void LoadTypes(const std::string& text) {
  OrinSchemaStore::CreateSchemaStore();
  OrinSchemaStore::StoreDefinitions(OrinSchemaStore::ReadSchemaDefinitions(text, "test types"));
}

SampleSchemaRoot::SampleSchemaRoot() {
  LoadTypes(ReadText(ExamplePath("schemas/net.json")));
  LoadTypes(ReadText(ExamplePath("schemas/orin.json")));
}

}  // namespace cstest
