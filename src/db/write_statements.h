#ifndef SRC_DB_WRITE_STATEMENTS_H_
#define SRC_DB_WRITE_STATEMENTS_H_

// The statements that change the Config table, composed once from their
// fixed pieces. Positional placeholders: %1$s instance id, %2$s key name,
// %3$s group, %4$s component, %5$s version; JSON values are bound as "?".

#include <string>

namespace OrinConfigStore {

struct WriteStatements {
  // The context inserts: a user write that drops the desired value, a user
  // write that keeps the success flag, and an automatic write.
  std::string userDroppingDesired;
  std::string userKeepingSuccess;
  std::string automatic;
  // The context updates of an existing row (plain %s: name, group,
  // component, identifier), in the same three kinds.
  std::string updateUserDroppingDesired;
  std::string updateUser;
  std::string updateAutomatic;
  // The per-source instance writers: prefix and row template.
  std::string userPrefix, userRow;
  std::string userUpgradePrefix, userUpgradeRow;
  std::string automaticPrefix, automaticRow;
  std::string vitalPrefix, vitalRow;
  std::string cachedPrefix, cachedRow;
  // All four sources at once (five plain %s: identifier, name, group,
  // component, version).
  std::string completePrefix, completeRow;
  // Deletes: one object (name, component, identifier, group), every
  // instance of a key (name, component, group), and one source of every
  // instance (column, name, group, component).
  std::string deleteOne;
  std::string deleteInstances;
  std::string clearSource;
  // Kernel options: the desired and vital values, the user value kept.
  std::string kernelOptions;
  // Every value column at once, the desired one included, the success flag
  // kept: putting an object back as it was.
  std::string restore;
};

const WriteStatements& Statements();

}  // namespace OrinConfigStore

#endif  // SRC_DB_WRITE_STATEMENTS_H_
