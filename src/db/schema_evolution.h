#ifndef SRC_DB_SCHEMA_EVOLUTION_H_
#define SRC_DB_SCHEMA_EVOLUTION_H_

// Planning and applying what new type definitions do to the stored
// objects of their types (see configstore/schema_evolution.h).

#include <optional>
#include <string>
#include <vector>

#include "configstore/schema_evolution.h"
#include "platform/schema_definition.h"
#include "row_reader.h"

namespace OrinConfigStore {

// One row to write again: its new values (nullopt: no value) and version.
struct RowRewrite {
  const char* table;
  ConfigStoreObjectId id{"", "", ""};
  std::vector<std::optional<std::string>> values;
  std::string version;
  bool migrated = false;  // values changed, not only the version
};

struct EvolutionPlan {
  OrinSchemaStore::SchemaLoadReport report;
  std::vector<RowRewrite> rewrites;
};

// Reads the stored types and the rows of their objects (through
// `connection`, null when there is no configuration database) and works out
// the change of each definition's type. Writes nothing.
EvolutionPlan PlanEvolution(const std::vector<OrinSchemaStore::SchemaDefinition>& definitions,
                            const OrinSchemaStore::SchemaLoadOptions& options,
                            const Connection& connection);

// Writes the plan's rows, inside the caller's transaction.
void ApplyEvolution(const EvolutionPlan& plan, const Connection& connection);

// ValidationException 1083 "Schema load refused: <types>" of a refused
// report.
[[noreturn]] void ThrowRefusal(const OrinSchemaStore::SchemaLoadReport& report);

}  // namespace OrinConfigStore

#endif  // SRC_DB_SCHEMA_EVOLUTION_H_
