#ifndef TESTS_OBJECTS_OUTCOME_H_
#define TESTS_OBJECTS_OUTCOME_H_

// What a statement raised, in one line for tables: "<class> <code>
// <message>" for the library's exceptions (the exact class), "ok" when it
// returned. RAISED(statements) is Outcome of a lambda running them.

#include <string>
#include <typeinfo>

#include "configstore/exceptions.h"
#include "configstore/json.h"

namespace cstest {

template <typename F>
std::string Outcome(F&& statement) {
  using namespace OrinConfigStore;
  try {
    statement();
    return "ok";
  } catch (const ConfigStoreException& e) {
    const std::type_info& type = typeid(e);
    const char* name = type == typeid(InvalidTypeException)       ? "InvalidType"
                       : type == typeid(InvalidArgumentException) ? "InvalidArgument"
                       : type == typeid(ConfigStoreException)     ? "ConfigStore"
                                                                  : type.name();
    return std::string(name) + " " + std::to_string(e.GetErrorCode()) + " " + e.what();
  }
}

// What a structural fault (rapidjson's assertion) raises.
inline const std::string kInvalidJson = "ConfigStore 2000 Invalid JSON";

inline OrinConfigStore::JDoc Parse(const char* text) {
  OrinConfigStore::JDoc document;
  document.Parse(text);
  return document;
}

}  // namespace cstest

#define RAISED(...) ::cstest::Outcome([&] { __VA_ARGS__; })

#endif  // TESTS_OBJECTS_OUTCOME_H_
