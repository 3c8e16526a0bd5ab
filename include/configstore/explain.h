#ifndef CONFIGSTORE_EXPLAIN_H_
#define CONFIGSTORE_EXPLAIN_H_

// Why a stored object holds what it holds: for each member of the object
// that Get returns, the source its value came from and the lower sources
// that also hold a value there.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/export.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// The sources of a read, lowest precedence first: the defaults of the
// type's schema (which getters fall back on for members the data lacks),
// then the vital, cached, automatic and user values, each winning over the
// ones before it.
enum class ConfigSource : int {
  kDefault = 0,
  kVital = 1,
  kCached = 2,
  kAutomatic = 3,
  kUser = 4,
};

// "default", "vital", "cached", "automatic" or "user" (empty for a value
// outside the enumeration).
CONFIGSTORE_API const char* ConfigSourceName(ConfigSource source);

// One leaf member of an explained object.
struct MemberSource {
  // Where the member sits, as a JSON pointer into the object's data; inside
  // a repeated sub-object the instance's place in the array ("/addresses/0/
  // prefixLength").
  std::string pointer;
  // The member's value as compact JSON text.
  std::string value;
  ConfigSource source = ConfigSource::kDefault;
  // The lower sources that also hold a value at this place, hidden by
  // `source`, highest first (a value equal to the winning one counts too).
  std::vector<ConfigSource> overrides;
};

struct ConfigExplanation {
  // The object exactly as Get returns it (null when nothing is stored);
  // like Get's, its data leaves the schema's defaults out.
  std::shared_ptr<ConfigStoreObject> object;
  // Every leaf member in the data's order, depth first; after the members
  // of each object come those that only its defaults supply. A leaf is a
  // member that does not hold an object, or holds an empty one.
  //
  // A read takes an array whole from the highest source that holds it,
  // never element by element. Plain arrays are therefore leaves. A
  // repeated sub-object is explained instance by instance: each member of
  // an instance comes from the source of the whole array or, when that
  // instance lacks it, from the instance defaults; the lower sources it
  // overrides are matched by instance id, not by place. The defaults of a
  // repeated sub-object's instances apply to instances only, so they list
  // nothing when the data has no such sub-object. The read writes an
  // instance's id into every source it takes, so the instance-id member
  // comes from the highest source present and overrides the others.
  std::vector<MemberSource> members;
};

// Explains the object `id` (a singleton, or one instance of a non-singleton
// type) as the store reads it now, on a database connection of its own: the
// object comes from the same row read as Get's, with the same rules (a user
// value counts only once applied; in the upgrade context a staged desired
// value stands in for it). The identifier is checked as Get checks it;
// nothing stored answers a null object and no members.
CONFIGSTORE_API ConfigExplanation ExplainConfig(const ConfigStoreObjectId& id);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_EXPLAIN_H_
