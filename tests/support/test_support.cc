#include "test_support.h"

#include "configstore/provisioning.h"
#include "platform/db_store.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

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

SampleSchemaRoot::SampleSchemaRoot() {
  OrinSchemaStore::LoadSchemaFile(ExamplePath("schemas/net.json"));
  OrinSchemaStore::LoadSchemaFile(ExamplePath("schemas/orin.json"));
}

DatabaseRoot::DatabaseRoot() { OrinConfigStore::InitializeDatabase(); }

void DatabaseRoot::Sql(const std::string& statements) const {
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  ASSERT_TRUE(connection);
  ASSERT_EQ(DBStore::ExecuteV2(connection, statements, nullptr, nullptr, 3000), 0) << statements;
}

std::vector<std::string> DatabaseRoot::Rows(const std::string& query) const {
  std::vector<std::string> rows;
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  EXPECT_EQ(DBStore::ExecuteV2(
                connection, query,
                [](void* context, int columns, char** values, char** names) {
                  std::string row;
                  for (int i = 0; i < columns; ++i) {
                    row += (i ? ", " : "") + std::string(names[i]) + "=" +
                           (values[i] ? values[i] : "NULL");
                  }
                  static_cast<std::vector<std::string>*>(context)->push_back(row);
                  return 0;
                },
                &rows, 3000),
            0)
      << query;
  return rows;
}

void DatabaseRoot::Insert(const ConfigRow& row) const {
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  ASSERT_EQ(DBStore::Execute(connection,
                             "INSERT INTO Config(Component, ConfigGroup, Name, Identifier, "
                             "AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue, "
                             "Success, Version, Revision, CreationTime) VALUES(?, ?, ?, "
                             "coalesce(?, ''), ?, ?, ?, ?, ?, ?, ?, ?, '2026-01-01 00:00:00');",
                             {row.component, row.group, row.name, row.identifier, row.autoValue,
                              row.userValue, row.vitalValue, row.cachedValue, row.desiredValue,
                              row.success, row.version, row.revision},
                             {}, 3000),
            0);
}

}  // namespace cstest
