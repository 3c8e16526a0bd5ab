#ifndef SRC_DB_CONFIG_DATABASE_H_
#define SRC_DB_CONFIG_DATABASE_H_

// The tables and triggers of the configuration database, as the statements
// that create them. They are the authoritative definition of the database;
// InitializeDatabase runs them.

#include <string>
#include <utility>
#include <vector>

namespace OrinConfigStore {

// The CREATE TABLE statements, in creation order.
const std::vector<std::string>& CreateTableStatements();

// The triggers, each a (name, CREATE TRIGGER statement) pair.
const std::vector<std::pair<std::string, std::string>>& CreateTriggerStatements();

}  // namespace OrinConfigStore

#endif  // SRC_DB_CONFIG_DATABASE_H_
