#ifndef CFGSTORE_JSON_OUTPUT_H_
#define CFGSTORE_JSON_OUTPUT_H_

// Results on standard output: one JSON document per command, compact on one
// line unless pretty printing was asked for.

#include <configstore/configstore.h>

#include <memory>
#include <string>
#include <vector>

namespace cfgstore {

class JsonPrinter {
 public:
  explicit JsonPrinter(bool pretty) : pretty_(pretty) {}

  void Print(const OrinConfigStore::JVal& value) const;
  // `json` must be valid JSON text, as the library hands it out.
  void PrintText(const std::string& json) const;

 private:
  bool pretty_;
};

// The parsed JSON text as a value owned by `allocator`.
OrinConfigStore::JVal ParseValue(const std::string& json, OrinConfigStore::JAllocator& allocator);

// `text` as a JSON string owned by `allocator`.
OrinConfigStore::JVal TextValue(const std::string& text, OrinConfigStore::JAllocator& allocator);

// The objects' data (as GetData() shows it) as one JSON array.
OrinConfigStore::JDoc DataArray(
    const std::vector<std::shared_ptr<OrinConfigStore::ConfigStoreObject>>& objects);

}  // namespace cfgstore

#endif  // CFGSTORE_JSON_OUTPUT_H_
