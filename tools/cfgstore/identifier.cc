#include "identifier.h"

#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr char kSeparator = '/';
constexpr const char* kMalformed =
    "Invalid identifier (expected component/group/key[/instance-id]): ";
constexpr const char* kInstanceNotAllowed = "This command takes a type without instance id: ";

}  // namespace

OrinConfigStore::ConfigStoreObjectId ParseIdentifier(const std::string& text) {
  const std::size_t afterComponent = text.find(kSeparator);
  const std::size_t afterGroup = afterComponent == std::string::npos
                                     ? afterComponent
                                     : text.find(kSeparator, afterComponent + 1);
  if (afterGroup == std::string::npos) throw UsageError(kMalformed + text);
  const std::size_t afterKey = text.find(kSeparator, afterGroup + 1);

  const std::string component = text.substr(0, afterComponent);
  const std::string group = text.substr(afterComponent + 1, afterGroup - afterComponent - 1);
  const std::string key = text.substr(afterGroup + 1, afterKey - afterGroup - 1);
  const std::string instanceId =
      afterKey == std::string::npos ? std::string() : text.substr(afterKey + 1);
  if (component.empty() || group.empty() || key.empty() ||
      (afterKey != std::string::npos && instanceId.empty())) {
    throw UsageError(kMalformed + text);
  }
  return OrinConfigStore::ConfigStoreObjectId(key, group, component, instanceId);
}

OrinConfigStore::ConfigStoreObjectId ParseTypeIdentifier(const std::string& text) {
  OrinConfigStore::ConfigStoreObjectId id = ParseIdentifier(text);
  if (!id.instanceId.empty()) throw UsageError(kInstanceNotAllowed + text);
  return id;
}

std::string FormatIdentifier(const OrinConfigStore::ConfigStoreObjectId& id) {
  std::string text = id.component + kSeparator + id.group + kSeparator + id.key;
  if (!id.instanceId.empty()) text += kSeparator + id.instanceId;
  return text;
}

}  // namespace cfgstore
