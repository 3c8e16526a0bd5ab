#ifndef PLATFORM_JSON_VALIDATOR_H_
#define PLATFORM_JSON_VALIDATOR_H_

#include <string>
#include <unordered_set>

#include "configstore/json.h"

namespace OrinConfigStore {

// JSON Schema (draft-07) validation with tags that choose which checks run.
//
// Tags:
//   0  the standard keywords (type, enum, const, bounds, pattern, items,
//      properties, additionalProperties as written, allOf/anyOf/oneOf/not,
//      if/then/else, $ref within the schema, ...), except `required`
//   8  `required` is enforced (0 and 8 together are plain draft-07)
//   1  strict members: in an object whose schema lists `properties` and sets
//      neither `additionalProperties` nor `patternProperties`, a member that
//      is not listed is refused
//   3  user-owned only: members marked "vital" or "cached" are refused
//   4  members marked "deprecated": true are refused
//   5  vital only: members other than vital ones and instance ids are
//      refused (a schema marked vital at its top level is vital throughout)
//   7  instance keys: each element of a repeated sub-object (an array
//      property whose schema has "instanceId": "<member>") carries that
//      member as a non-empty string, unique within the array
//   9  cached only: as 5, for "cached"
// Other tags are accepted and ignored. Without 8, `required` still counts
// inside "if" and "not", which select rather than demand, and "oneOf" is
// read as "anyOf" (an absent discriminating member matches every branch).
// 8 without 0 checks the `required` keywords alone, found through
// properties, items, combinators, "then"/"else" and "$ref".
//
// Annotations that the tags read, on a property at any depth (properties of
// properties, array items), also beside a "$ref":
//   "vital": true, "cached": true  the member and everything below it belong
//       to that source; on the schema's root they cover every member.
//       Unmarked members are the user's ("user": true may say so).
//   "instanceId": true  the member holds an instance id; the source checks
//       (3, 5, 9) never refuse it.
//   "instanceId": "<member>" on an array property  a repeated sub-object.
//   "deprecated": true
// Under 5 and 9, an unmarked object or array whose schema declares marked
// members below is walked into and its members judged one by one.
//
// Limits of the underlying validator that schemas must respect: "format"
// checks only "date", "time" and "date-time"; "default" is never applied;
// "$ref" must point inside the schema ("#...") and must not lead back to
// itself, or the schema does not compile.
class JsonValidator {
 public:
  // Validates `value` against `schema` with the checks that `tags` select.
  // `result` becomes a JSON array with one object {"field": <JSON pointer of
  // the offending member, "/" for the root>, "error": <text>} per problem
  // found: all problems, deepest first, without wrapper messages of the kind
  // "failed to validate against the schema of property x". A schema that
  // cannot be compiled gives one error at "/" (never a crash); a value
  // holding a string or member name that is not valid UTF-8 gives one error,
  // "text is not valid UTF-8" at that member, and is not judged further.
  // `context` is not used. Compiled schemas are cached, so repeated validations against
  // the same schema do not recompile it. Thread-safe.
  static void Validate(const JVal& schema, const JVal& value, JDoc& result,
                       const std::unordered_set<int>& tags, const std::string& context);
  // The same for a caller that also holds the schema as compact JSON text
  // (`schemaText`, as SchemaObject::GetSchemaText writes it): compiled
  // schemas are found by their text, which then need not be written out
  // for every validation.
  static void Validate(const JVal& schema, const std::string& schemaText, const JVal& value,
                       JDoc& result, const std::unordered_set<int>& tags);

  // Whether `schema` compiles as a draft-07 schema; on failure `error` (when
  // not null) receives the reason.
  static bool CheckSchema(const JVal& schema, std::string* error);
};

}  // namespace OrinConfigStore

#endif  // PLATFORM_JSON_VALIDATOR_H_
