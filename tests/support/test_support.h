#ifndef TESTS_SUPPORT_TEST_SUPPORT_H_
#define TESTS_SUPPORT_TEST_SUPPORT_H_

// Helpers shared by the test suites: exact exception checks, a captured
// log, and a scratch host root per test with the sample types.

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

// Stores the types that the schema definitions in `text` describe, in the
// schema store alone (their shipped defaults go nowhere).
void LoadTypes(const std::string& text);

// A scratch root whose schema store holds the sample types of
// examples/schemas (without their shipped defaults, which need the
// configuration database: see DatabaseRoot).
class SampleSchemaRoot : public TempRoot {
 public:
  SampleSchemaRoot();
};

// The path of a file under examples/.
std::string ExamplePath(const std::string& relative);

}  // namespace cstest

#endif  // TESTS_SUPPORT_TEST_SUPPORT_H_
