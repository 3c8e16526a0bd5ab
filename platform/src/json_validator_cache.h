#ifndef PLATFORM_JSON_VALIDATOR_CACHE_H_
#define PLATFORM_JSON_VALIDATOR_CACHE_H_

// Compiled schemas, kept per schema text and variant: valijson's parse costs
// far more than a validation against its result.

#include <memory>
#include <string>

#include <valijson/schema.hpp>

#include "configstore/json.h"
#include "json_validator_variant.h"

namespace OrinConfigStore {

struct CompiledSchema {
  valijson::Schema schema;
  // Why the schema did not compile; empty when it did.
  std::string error;
};

// The `variant` of `schema`, whose compact JSON text is `text`, compiled;
// from the cache when it holds it. Schemas that do not compile are cached
// too, with their reason. Never null; thread-safe.
std::shared_ptr<const CompiledSchema> CompiledSchemaFor(const JVal& schema, const std::string& text,
                                                        SchemaVariant variant);

}  // namespace OrinConfigStore

#endif  // PLATFORM_JSON_VALIDATOR_CACHE_H_
