#ifndef FUZZ_TARGETS_FUZZ_TARGETS_H_
#define FUZZ_TARGETS_FUZZ_TARGETS_H_

// The fuzz targets. Each drives one part of the library with one input. The
// library's own exceptions (ConfigStoreException and its subclasses) are
// answers, never faults; anything else leaving a target is a fault: a crash,
// a sanitizer report, another exception, or a Finding, which a target raises
// when the library breaks one of its promises. The targets do not depend on
// libFuzzer: the fuzz build wraps each in a libFuzzer entry point, and the
// unit suite replays the kept inputs through the same functions.

#include <stdexcept>
#include <string>

namespace cfuzz {

// A broken promise of the library, with what was seen.
class Finding : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

// The text as one configuration object of two sample types (a repeated and
// a singleton one): typed getters on every member, setters, sub-object views
// created, read and deleted, the data written back.
void ObjectText(const std::string& input);
// The text as drift of one object, walked through properties, sub-objects
// and instances.
void DriftText(const std::string& input);
// The first line as a filter's data, each further line as one object: the
// objects and their repeated sub-objects filtered, filtered again and
// deleted by the filter.
void FilterMatch(const std::string& input);
// The first line as schema definitions, stored in a scratch schema store and
// read back; fixed objects and each further line validated against every
// type with each of the store's tag sets.
void SchemaDefinitions(const std::string& input);
// Each line a write, "<operation> <component>/<group>/<key>[/<id>] <JSON>",
// run on the sample store in one transaction that is cancelled afterwards.
void StoreWrites(const std::string& input);
// The text as an export document imported into the sample store; when that
// succeeds, the export of its types must import again and export the same.
void ImportRoundTrip(const std::string& input);

struct Target {
  const char* name;  // the directory of its corpus and its regressions
  void (*run)(const std::string& input);
};

inline constexpr Target kTargets[] = {
    {"object_text", ObjectText},   {"drift_text", DriftText},
    {"filter_match", FilterMatch}, {"schema_definitions", SchemaDefinitions},
    {"store_writes", StoreWrites}, {"import_round_trip", ImportRoundTrip},
};

}  // namespace cfuzz

#endif  // FUZZ_TARGETS_FUZZ_TARGETS_H_
