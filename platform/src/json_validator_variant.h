#ifndef PLATFORM_JSON_VALIDATOR_VARIANT_H_
#define PLATFORM_JSON_VALIDATOR_VARIANT_H_

// The schema handed to valijson: a copy of the caller's schema rewritten for
// the standard checks that the tags select.

#include "configstore/json.h"

namespace OrinConfigStore {

enum class SchemaVariant : char {
  kAll = 'a',              // every standard keyword (tags 0 and 8)
  kWithoutRequired = 'w',  // all but `required` (tag 0 alone)
  kRequiredOnly = 'r',     // `required` alone (tag 8 alone)
};

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

}  // namespace OrinConfigStore

#endif  // PLATFORM_JSON_VALIDATOR_VARIANT_H_
