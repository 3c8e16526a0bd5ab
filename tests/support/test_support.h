#ifndef TESTS_SUPPORT_TEST_SUPPORT_H_
#define TESTS_SUPPORT_TEST_SUPPORT_H_

// Helpers shared by the test suites: exact exception checks, a captured
// log, and a scratch host root per test.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "configstore/exceptions.h"
#include "configstore/logger.h"

namespace cstest {

// Succeeds when `statement` throws exactly `E` (not a subclass) with the
// given code and message.
template <typename E, typename F>
::testing::AssertionResult ThrowsError(F&& statement, int code, const std::string& message) {
  try {
    statement();
  } catch (const OrinConfigStore::ConfigStoreException& e) {
    if (typeid(e) == typeid(E) && e.GetErrorCode() == code && message == e.what()) {
      return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "threw " << typeid(e).name() << " [" << e.GetErrorCode() << "] \"" << e.what()
           << "\"; expected " << typeid(E).name() << " [" << code << "] \"" << message << "\"";
  } catch (const std::exception& e) {
    return ::testing::AssertionFailure() << "threw " << typeid(e).name() << ": " << e.what();
  }
  return ::testing::AssertionFailure() << "threw nothing";
}

#define EXPECT_CS_ERROR(type, code, message, statement) \
  EXPECT_TRUE(::cstest::ThrowsError<type>([&] { statement; }, code, message))

// Collects every log line while it lives; restores the default sink after.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  const std::vector<std::pair<int, std::string>>& Lines() const { return *lines_; }
  bool Contains(int priority, const std::string& line) const;
  void Clear() { lines_->clear(); }

 private:
  std::shared_ptr<std::vector<std::pair<int, std::string>>> lines_;
};

// Sets an environment variable for the test's lifetime.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::string previous_;
  bool hadPrevious_ = false;
};

// A fresh temporary directory set as CONFIGSTORE_ROOT for the test's
// lifetime; removed with its contents afterwards.
class TempRoot {
 public:
  TempRoot();
  ~TempRoot();
  TempRoot(const TempRoot&) = delete;
  TempRoot& operator=(const TempRoot&) = delete;

  const std::string& Path() const { return path_; }
  // Writes `content` to the file at `relative` under the root.
  std::string WriteFile(const std::string& relative, const std::string& content) const;

 private:
  std::string path_;
  std::unique_ptr<ScopedEnv> root_;
};

// A scratch root with the sample schemas of examples/schemas loaded.
class SampleSchemaRoot : public TempRoot {
 public:
  SampleSchemaRoot();
};

// A sample-schema root with the configuration database initialised, and
// plain SQL access to it for arranging rows.
class DatabaseRoot : public SampleSchemaRoot {
 public:
  DatabaseRoot();

  // Runs statements; fails the test when the database refuses.
  void Sql(const std::string& statements) const;
  // The rows of a query, each as column=value texts joined by ", " (NULL
  // columns as column=NULL).
  std::vector<std::string> Rows(const std::string& query) const;
  // Inserts a Config row; empty values are stored as NULL.
  struct ConfigRow {
    std::string component{}, group{}, name{}, identifier{};
    std::string autoValue{}, userValue{}, vitalValue{}, cachedValue{}, desiredValue{};
    std::string success = "1";
    std::string version = "1.0";
    std::string revision = "1";
  };
  void Insert(const ConfigRow& row) const;
};

// The path of a file under examples/.
std::string ExamplePath(const std::string& relative);

}  // namespace cstest

#endif  // TESTS_SUPPORT_TEST_SUPPORT_H_
