#include "platform/schema_walk.h"

#include "json/document.h"
#include "schema_reading.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ChildPointer;
using OrinConfigStore::FollowSchemaRefs;

// Far deeper than any configuration nests; only a reference cycle gets here.
constexpr int kMaxDepth = 64;

const JVal* OwnMember(const JVal& node, const char* name) {
  if (!node.IsObject()) return nullptr;
  const auto found = node.FindMember(name);
  return found == node.MemberEnd() ? nullptr : &found->value;
}

void WalkNode(const JVal& root, const JVal& node, const std::string& pointer,
              const PropertyVisitor& visit, int depth) {
  if (depth > kMaxDepth) return;
  if (const JVal* properties = PropertiesOf(root, node)) {
    for (const auto& member : properties->GetObject()) {
      const std::string name(member.name.GetString(), member.name.GetStringLength());
      const std::string at = ChildPointer(ChildPointer(pointer, kPropertiesKeyword), name);
      visit(at, name, member.value);
      WalkNode(root, member.value, at, visit, depth + 1);
    }
  }
  if (const JVal* items = SchemaAnnotation(root, node, kItemsKeyword)) {
    WalkNode(root, *items, ChildPointer(pointer, kItemsKeyword), visit, depth + 1);
  }
}

}  // namespace

void WalkProperties(const JVal& root, const PropertyVisitor& visit) {
  WalkNode(root, root, "", visit, 0);
}

const JVal* SchemaAnnotation(const JVal& root, const JVal& node, const char* name) {
  if (const JVal* written = OwnMember(node, name)) return written;
  const JVal* target = FollowSchemaRefs(root, &node);
  return target != nullptr && target != &node ? OwnMember(*target, name) : nullptr;
}

const JVal* PropertiesOf(const JVal& root, const JVal& node) {
  const JVal* properties = SchemaAnnotation(root, node, kPropertiesKeyword);
  return properties != nullptr && properties->IsObject() ? properties : nullptr;
}

const char* RepeatedInstanceKey(const JVal& root, const JVal& property) {
  const JVal* mark = SchemaAnnotation(root, property, kInstanceIdMark);
  return mark != nullptr && mark->IsString() ? mark->GetString() : nullptr;
}

bool IsInstanceIdMember(const JVal& root, const JVal& property) {
  const JVal* mark = SchemaAnnotation(root, property, kInstanceIdMark);
  return mark != nullptr && mark->IsTrue();
}

std::string TopLevelInstanceIdMember(const JVal& root) {
  const JVal* properties = PropertiesOf(root, root);
  if (properties == nullptr) return std::string();
  for (const auto& member : properties->GetObject()) {
    if (IsInstanceIdMember(root, member.value)) return member.name.GetString();
  }
  return std::string();
}

}  // namespace OrinSchemaStore
