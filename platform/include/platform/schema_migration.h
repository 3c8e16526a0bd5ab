#ifndef PLATFORM_SCHEMA_MIGRATION_H_
#define PLATFORM_SCHEMA_MIGRATION_H_

// Migrations: how a type's stored data written under an earlier version of
// its definition becomes data of the definition's own version. A definition
// carries them as
//
//   "migrations": [
//     {"from": "1.0", "steps": [
//       {"op": "rename", "path": "/dnsServers", "to": "servers"},
//       {"op": "move", "from": "/timeout", "path": "/options/timeout"},
//       {"op": "add", "path": "/options/rotate", "value": false},
//       {"op": "remove", "path": "/legacyResolver"},
//       {"op": "map", "path": "/mode", "values": [["dhcp", "auto"], ["none", "off"]]},
//       {"op": "rename", "each": "/routes", "path": "/gw", "to": "gateway"}
//     ]}
//   ]
//
// Paths are JSON pointers into one object's data (one instance's, for a
// non-singleton type). Steps run in order, on each stored value separately
// (every source's part, the desired value), and do nothing where their
// member is absent, since a source's part holds only some members:
// - rename: the member at "path" takes the name "to" in the same object;
// - move: the member at "from" goes to "path", into or out of a
//   sub-object (objects missing on the way are created);
// - add: "path" gets "value" when it has none, in the values of the source
//   that the new schema gives the member to;
// - remove: the member at "path" goes;
// - map: the value at "path" that equals the first of a pair becomes the
//   second; other values stay;
// - "each" (any step): the step applies to every element of the array at
//   that pointer, its paths taken within the element.
// A rename or move onto a member that is already there, or a path through a
// value that is not an object, is a problem of that value: the migration of
// the object fails and the load is refused.

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/json.h"

namespace OrinSchemaStore {

using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

struct MigrationStep {
  enum class Op { kRename, kMove, kAdd, kRemove, kMap };
  Op op = Op::kRemove;
  std::string each;  // JSON pointer of an array, or "" for the object itself
  std::string path;
  std::string from;                   // move
  std::string to;                     // rename
  std::shared_ptr<const JDoc> value;  // add
  std::vector<std::pair<std::shared_ptr<const JDoc>, std::shared_ptr<const JDoc>>> values;  // map

  // The step as written, for messages: "rename /a".
  std::string Describe() const;
};

struct Migration {
  std::string from;
  std::vector<MigrationStep> steps;
};

// Reads a definition's "migrations" array; on a malformed one, `problem`
// says what is wrong (and the result is not to be used).
std::vector<Migration> ReadMigrations(const JVal& list, std::string& problem);

// Runs the steps of `migration` on `data` (one stored value, a JSON
// object). An "add" step runs only where `adds` says its member belongs.
// False, with `problem` ("<step>: <what>"), when a step cannot apply.
bool Migrate(const Migration& migration, JDoc& data,
             const std::function<bool(const MigrationStep&)>& adds, std::string& problem);

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_MIGRATION_H_
