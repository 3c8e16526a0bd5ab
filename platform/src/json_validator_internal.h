#ifndef PLATFORM_SRC_JSON_VALIDATOR_INTERNAL_H_
#define PLATFORM_SRC_JSON_VALIDATOR_INTERNAL_H_

// The validator's parts: the report of the problems found, the standard
// keywords (checked by valijson on a variant of the schema that the tags
// select, compiled once and cached), and the checks of the store's own
// annotations (tags 1, 3, 4, 5, 7, 9).

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <valijson/schema.hpp>

#include "configstore/json.h"

namespace OrinConfigStore {

// ---- The report

// A member that the schema does not allow, by its standard keywords or by
// strict members (tag 1).
constexpr const char* kMemberNotAllowed = "member is not allowed by the schema";

// One problem. `field` is a JSON pointer; the root is the empty pointer
// until the report is written, where it becomes "/".
struct ValidatorError {
  std::string field;
  std::string error;
};

using ValidatorErrors = std::vector<ValidatorError>;

// Whether `pointer` is `ancestor` or lies below it.
bool PointerWithin(const std::string& pointer, const std::string& ancestor);

// Orders `errors` deepest first (stable, so equal depths keep the order in
// which they were found), drops exact repeats and writes them to `result` as
// an array of {"field", "error"} objects.
void WriteReport(ValidatorErrors errors, JDoc& result);

// ---- The standard keywords

// The schema handed to valijson: a copy of the caller's schema rewritten for
// the standard checks that the tags select.

// The values number the variants from 0, as the compiled-schema cache keeps them.
enum class SchemaVariant : unsigned char {
  kAll,              // every standard keyword (tags 0 and 8)
  kWithoutRequired,  // all but `required` (tag 0 alone)
  kRequiredOnly,     // `required` alone (tag 8 alone)
};
constexpr std::size_t kSchemaVariants = 3;

// Writes the `variant` of `schema` to `out`.
//
// In every variant "format" only applies to strings: valijson would throw on
// a number and judge null as an empty string, so each "format" moves into
// {"if": {"type": "string"}, "then": {"format": ...}} inside "allOf".
//
// kWithoutRequired drops every `required` keyword, except under "if" and
// "not", which select or forbid rather than demand, and whose meaning would
// turn over without it. A "oneOf" becomes an "anyOf": once members may be
// absent, an absent discriminating member matches every branch.
//
// kRequiredOnly keeps `required` and only what leads to one: "properties",
// "patternProperties", "additionalProperties" and "additionalItems" when they
// are schemas, "items", "allOf", "anyOf", "oneOf" (as "anyOf", for the same
// reason), "then", "else", the schemas of "dependencies", "definitions" and
// "$ref". "if" stays whole, as the condition it is. Every check it keeps is
// implied by the full schema, so it refuses nothing that plain draft-07
// accepts.
//
// References keep their targets, so a "$ref" under "if" or "not" sees the
// rewritten definition.
void BuildSchemaVariant(const JVal& schema, SchemaVariant variant, JDoc& out);

// Compiled schemas, kept per schema text and variant: valijson's parse costs
// far more than a validation against its result.

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

// The standard keywords, checked by valijson, as this layer reports them.

// Every problem valijson finds in `value`. Its messages that only say that
// something below failed ("failed to validate against the schema of
// property x") are dropped when a problem at or below their place explains
// them, and otherwise kept with a generic text. A missing required member
// and a member refused by "additionalProperties" are reported at that
// member. valijson names only the first refused member of each object.
ValidatorErrors StandardErrors(const valijson::Schema& schema, const JVal& value);

// ---- The store's annotations

// The checks that read this layer's own schema annotations, made by one
// walk over the value beside the schema nodes that describe it.
//
// The walk starts at the schema's root and descends into each member
// through the "properties" entry that declares it (else a schema-valued
// "additionalProperties") and into each array element through "items" (a
// schema, or a list followed by a schema-valued "additionalItems"),
// following "$ref"s. Annotations are read there only: a member declared only
// through "allOf", "anyOf", "oneOf", "if"/"then"/"else" or
// "patternProperties" has no annotations and no schema below it.
//
// Annotations, read on a property and also beside a "$ref" there:
//   "vital": true / "cached": true  the member, and everything below it,
//       belongs to that source; on the schema's root, every member does. An
//       enclosing mark wins over the member's own. Other members are the
//       user's ("user": true may say so and changes nothing).
//   "instanceId": true  the member holds an instance id.
//   "instanceId": "<member>" on an array property  the array is a repeated
//       sub-object, each element identified by that member.
//   "deprecated": true  the member is deprecated.
//
// Decisions:
// - A refused member is reported once, at the member; what lies below it is
//   not judged.
// - Instance-id members (marked, or the identifying member of a repeated
//   sub-object's elements) identify the object they are in, so the source
//   checks (tags 3, 5, 9) never refuse them; a deprecated one is refused.
// - Under tags 5 and 9, an unmarked object or array member is walked into
//   when its schema declares marked members somewhere below, and its own
//   members are judged; otherwise it is refused as a whole.
// - Tag 1 applies to every object whose schema node lists "properties"
//   without "additionalProperties" or "patternProperties".

struct TagChecks {
  bool strictMembers = false;  // tag 1
  bool userOnly = false;       // tag 3
  bool noDeprecated = false;   // tag 4
  bool vitalOnly = false;      // tag 5
  bool instanceKeys = false;   // tag 7
  bool cachedOnly = false;     // tag 9
};

// Appends to `errors` what `checks` find in `value`, described by `schema`,
// whose "$ref"s must resolve without cycles (CheckSchemaRefs).
void CheckTags(const JVal& schema, const JVal& value, const TagChecks& checks,
               ValidatorErrors& errors);

}  // namespace OrinConfigStore

#endif  // PLATFORM_SRC_JSON_VALIDATOR_INTERNAL_H_
