#ifndef PLATFORM_INTEGRITY_H_
#define PLATFORM_INTEGRITY_H_

// SQLite's own check of a database file's structure.

#include <string>
#include <vector>

namespace OrinConfigStore {

// Runs SQLite's integrity check on the database file at `path`, opened as
// a reader (no write lock, whatever the writers do meanwhile), and puts
// each problem it reports into `problems` (none: the file is whole). False,
// with `error` set, when the file cannot be opened or read at all.
bool CheckDatabaseIntegrity(const std::string& path, std::vector<std::string>& problems,
                            std::string& error);

}  // namespace OrinConfigStore

#endif  // PLATFORM_INTEGRITY_H_
