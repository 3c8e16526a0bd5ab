#include "json_validator_results.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "json_validator_valijson.h"

namespace OrinConfigStore {

namespace {

// valijson's validator keeps each regular expression of "pattern" and
// "patternProperties" it has built, keyed by its text, and building one
// costs ten times a whole validation. Each thread keeps one validator, and
// renews it now and then so that the expressions of schemas no longer in use
// do not pile up.
constexpr unsigned kValidatorUses = 10000;

constexpr const char* kGenericError = "value does not match the schema";
constexpr const char* kMissingRequired = "required member is missing";
constexpr const char* kNotAllowed = "member is not allowed by the schema";

// A valijson message: the text around the variable part, and whether that
// part names the child (member or index) the message is about.
struct MessageShape {
  const char* prefix;
  const char* suffix;
  bool namesChild;
};

// Messages about one member, reworded and reported at that member.
struct MemberMessage {
  MessageShape shape;
  const char* error;
};

constexpr MemberMessage kMemberMessages[] = {
    {{"Missing required property '", "'.", true}, kMissingRequired},
    {{"Object contains a property that could not be validated using 'properties' or "
      "'additionalProperties' constraints: '",
      "'.", true},
     kNotAllowed},
};

// Messages that only say that something below failed.
constexpr MessageShape kWrappers[] = {
    {"Failed to validate against schema associated with property name '", "'.", true},
    {"Failed to validate item #", " in array.", true},
    {"Failed to validate item #", " against additional items schema.", true},
    // Reported at the item itself already.
    {"Failed to validate item #", " against corresponding item schema.", false},
    {"Failed to validate against additional properties schema", "", false},
    {"Failed to validate against schema associated with pattern '", "'.", false},
    {"Failed to validate against child schema #", ".", false},
    {"Failed to validate against a conditional schema set by if-then-else constraints.", "", false},
    {"Failed to validate against dependent schema.", "", false},
};

// Whether `text` has the shape; `field` then becomes the pointer the message
// is about.
bool Matches(const std::string& text, const MessageShape& shape, std::string* field) {
  const std::size_t prefix = std::strlen(shape.prefix);
  const std::size_t suffix = std::strlen(shape.suffix);
  if (text.size() < prefix + suffix || text.compare(0, prefix, shape.prefix) != 0 ||
      text.compare(text.size() - suffix, suffix, shape.suffix) != 0) {
    return false;
  }
  if (shape.namesChild) {
    *field = ChildPointer(*field, text.substr(prefix, text.size() - prefix - suffix));
  }
  return true;
}

// valijson's context is "<root>" followed by "[member]" or "[index]".
std::string ContextPointer(const std::vector<std::string>& context) {
  std::string pointer;
  for (std::size_t i = 1; i < context.size(); ++i) {
    const std::string& step = context[i];
    pointer = ChildPointer(pointer, step.size() >= 2 ? step.substr(1, step.size() - 2) : step);
  }
  return pointer;
}

ValidatorError Reworded(const valijson::ValidationResults::Error& raw) {
  ValidatorError entry{ContextPointer(raw.context), raw.description};
  for (const MemberMessage& message : kMemberMessages) {
    if (Matches(raw.description, message.shape, &entry.field)) {
      entry.error = message.error;
      break;
    }
  }
  if (entry.error.empty()) entry.error = kGenericError;
  return entry;
}

valijson::Validator& ThreadValidator() {
  thread_local std::unique_ptr<valijson::Validator> validator;
  thread_local unsigned uses = 0;
  if (validator == nullptr || ++uses > kValidatorUses) {
    validator = std::make_unique<valijson::Validator>();
    uses = 0;
  }
  return *validator;
}

bool Explained(const ValidatorErrors& errors, const std::string& field) {
  for (const ValidatorError& entry : errors) {
    if (PointerWithin(entry.field, field)) return true;
  }
  return false;
}

}  // namespace

ValidatorErrors StandardErrors(const valijson::Schema& schema, const JVal& value) {
  valijson::ValidationResults results;
  const bool valid =
      ThreadValidator().validate(schema, valijson::adapters::RapidJsonAdapter(value), &results);
  ValidatorErrors errors;
  std::vector<std::string> wrapped;
  for (const valijson::ValidationResults::Error& raw : results) {
    std::string field = ContextPointer(raw.context);
    bool wrapper = false;
    for (const MessageShape& shape : kWrappers) {
      if ((wrapper = Matches(raw.description, shape, &field))) break;
    }
    if (wrapper) {
      wrapped.push_back(field);
    } else {
      errors.push_back(Reworded(raw));
    }
  }
  for (const std::string& field : wrapped) {
    if (!Explained(errors, field)) errors.push_back({field, kGenericError});
  }
  if (!valid && errors.empty()) errors.push_back({std::string(), kGenericError});
  return errors;
}

}  // namespace OrinConfigStore
