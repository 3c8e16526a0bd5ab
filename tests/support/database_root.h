#ifndef TESTS_SUPPORT_DATABASE_ROOT_H_
#define TESTS_SUPPORT_DATABASE_ROOT_H_

// A scratch root with a configuration database, for the suites of the
// database layer and above.

#include <string>
#include <vector>

#include "test_support.h"

namespace cstest {

// A sample-schema root with the configuration database initialised, and
// plain SQL access to it for arranging rows.
class DatabaseRoot : public TempRoot {
 public:
  // Loads the sample schemas as a host does: types and shipped defaults.
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

}  // namespace cstest

#endif  // TESTS_SUPPORT_DATABASE_ROOT_H_
