#include "json_validator_cache.h"

#include <cstddef>
#include <exception>
#include <list>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <valijson/schema_parser.hpp>

#include "configstore/logger.h"
#include "json_validator_schema.h"
#include "json_validator_valijson.h"

namespace OrinConfigStore {

namespace {

// A host has a few hundred object types at most, each used in a few
// variants; the bound only stops a stream of one-off schemas from growing
// the cache without end.
constexpr std::size_t kMaxCachedSchemas = 1024;
constexpr const char* kLogBadSchema = "JSON schema does not compile: %s";

std::shared_ptr<const CompiledSchema> Compile(const JVal& schema, SchemaVariant variant) {
  auto compiled = std::make_shared<CompiledSchema>();
  try {
    if (CheckSchemaRefs(schema, &compiled->error) &&
        CheckSchemaPatterns(schema, &compiled->error)) {
      JDoc prepared;
      BuildSchemaVariant(schema, variant, prepared);
      valijson::SchemaParser parser(valijson::SchemaParser::kDraft7);
      parser.populateSchema(valijson::adapters::RapidJsonAdapter(prepared), compiled->schema);
    }
  } catch (const std::exception& e) {
    compiled->error = e.what();
  }
  if (!compiled->error.empty()) CSLogger::Log(1, kLogBadSchema, compiled->error.c_str());
  return compiled;
}

// Least recently used entries leave first.
class SchemaCache {
 public:
  std::shared_ptr<const CompiledSchema> Find(const std::string& key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = index_.find(key);
    if (found == index_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->compiled;
  }

  // Returns the entry already cached under `key` if another thread compiled
  // the same schema meanwhile, else `compiled`.
  std::shared_ptr<const CompiledSchema> Insert(std::string key,
                                               std::shared_ptr<const CompiledSchema> compiled) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = index_.find(key);
    if (found != index_.end()) return found->second->compiled;
    entries_.push_front(Entry{std::move(key), std::move(compiled)});
    index_.emplace(entries_.front().key, entries_.begin());
    if (entries_.size() > kMaxCachedSchemas) {
      index_.erase(entries_.back().key);
      entries_.pop_back();
    }
    return entries_.front().compiled;
  }

 private:
  struct Entry {
    std::string key;
    std::shared_ptr<const CompiledSchema> compiled;
  };

  std::mutex mutex_;
  std::list<Entry> entries_;
  // Keys view the strings held by `entries_`.
  std::unordered_map<std::string_view, std::list<Entry>::iterator> index_;
};

SchemaCache& Cache() {
  static SchemaCache cache;
  return cache;
}

}  // namespace

std::shared_ptr<const CompiledSchema> CompiledSchemaFor(const JVal& schema, const std::string& text,
                                                        SchemaVariant variant) {
  std::string key(1, static_cast<char>(variant));
  key += text;
  if (auto cached = Cache().Find(key)) return cached;
  // Compiled outside the lock: a slow parse must not stall other schemas.
  return Cache().Insert(std::move(key), Compile(schema, variant));
}

}  // namespace OrinConfigStore
