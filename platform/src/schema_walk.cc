#include "platform/schema_walk.h"

#include "platform/json_pointer.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ChildPointer;

void WalkNode(const JVal& schema, const std::string& pointer, const PropertyVisitor& visit) {
  if (const JVal* properties = PropertiesOf(schema)) {
    for (const auto& member : properties->GetObject()) {
      const std::string name(member.name.GetString(), member.name.GetStringLength());
      const std::string at = ChildPointer(ChildPointer(pointer, kPropertiesKeyword), name);
      visit(at, name, member.value);
      WalkNode(member.value, at, visit);
    }
  }
  if (schema.IsObject()) {
    const auto items = schema.FindMember(kItemsKeyword);
    if (items != schema.MemberEnd())
      WalkNode(items->value, ChildPointer(pointer, kItemsKeyword), visit);
  }
}

}  // namespace

void WalkProperties(const JVal& schema, const PropertyVisitor& visit) {
  WalkNode(schema, "", visit);
}

const JVal* PropertiesOf(const JVal& schema) {
  if (!schema.IsObject()) return nullptr;
  const auto properties = schema.FindMember(kPropertiesKeyword);
  if (properties == schema.MemberEnd() || !properties->value.IsObject()) return nullptr;
  return &properties->value;
}

const char* RepeatedInstanceKey(const JVal& property) {
  if (!property.IsObject()) return nullptr;
  const auto mark = property.FindMember(kInstanceIdMark);
  if (mark == property.MemberEnd() || !mark->value.IsString()) return nullptr;
  return mark->value.GetString();
}

bool IsInstanceIdMember(const JVal& property) {
  if (!property.IsObject()) return false;
  const auto mark = property.FindMember(kInstanceIdMark);
  return mark != property.MemberEnd() && mark->value.IsTrue();
}

std::string TopLevelInstanceIdMember(const JVal& schema) {
  const JVal* properties = PropertiesOf(schema);
  if (properties == nullptr) return std::string();
  for (const auto& member : properties->GetObject()) {
    if (IsInstanceIdMember(member.value)) return member.name.GetString();
  }
  return std::string();
}

}  // namespace OrinSchemaStore
