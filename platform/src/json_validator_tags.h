#ifndef PLATFORM_JSON_VALIDATOR_TAGS_H_
#define PLATFORM_JSON_VALIDATOR_TAGS_H_

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

#include "configstore/json.h"
#include "json_validator_report.h"

namespace OrinConfigStore {

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

#endif  // PLATFORM_JSON_VALIDATOR_TAGS_H_
