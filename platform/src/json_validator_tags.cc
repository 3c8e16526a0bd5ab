#include "json/document.h"
#include "json_validator_internal.h"
#include "platform/schema_walk.h"

#include <string>
#include <unordered_set>
#include <utility>

#include "errors/format.h"
#include "schema_reading.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kDeprecated = "member is deprecated";
constexpr const char* kVitalHere = "member is vital and cannot be written here";
constexpr const char* kCachedHere = "member is cached and cannot be written here";
constexpr const char* kNotVital = "member is not vital and cannot be written here";
constexpr const char* kNotCached = "member is not cached and cannot be written here";
constexpr const char* kInstanceIdMissing = "instance id member \"%s\" is missing or empty";
constexpr const char* kInstanceIdDuplicate = "duplicate instance id \"%s\"";

using OrinSchemaStore::kCachedMark;
using OrinSchemaStore::kDeprecatedMark;
using OrinSchemaStore::kInstanceIdMark;
using OrinSchemaStore::kVitalMark;

enum class Source { kUser, kVital, kCached };

// The value of `object`'s member named by the JSON string `name`, or null.
const JVal* MemberNamed(const JVal* object, const JVal& name) {
  if (object == nullptr || !object->IsObject()) return nullptr;
  const auto found = object->FindMember(name);
  return found == object->MemberEnd() ? nullptr : &found->value;
}

// A schema node as written where it is used (where annotations may sit
// beside a "$ref") and the node its references lead to. Either may be null.
struct SchemaNode {
  const JVal* written = nullptr;
  const JVal* resolved = nullptr;

  const JVal* Member(const char* key) const {
    const JVal* found = written != nullptr ? SchemaMember(*written, key) : nullptr;
    if (found == nullptr && resolved != nullptr) found = SchemaMember(*resolved, key);
    return found;
  }
  bool Flag(const char* key) const {
    const JVal* flag = Member(key);
    return flag != nullptr && flag->IsTrue();
  }
  Source Mark() const {
    if (Flag(kVitalMark)) return Source::kVital;
    return Flag(kCachedMark) ? Source::kCached : Source::kUser;
  }
};

class TagWalk {
 public:
  TagWalk(const JVal& root, const TagChecks& checks, ValidatorErrors& errors)
      : root_(root), checks_(checks), errors_(errors) {}

  void Run(const JVal& value) {
    const SchemaNode node = Node(&root_);
    Walk(node, value, std::string(), node.Mark(), nullptr);
  }

 private:
  SchemaNode Node(const JVal* written) const {
    return SchemaNode{written, FollowSchemaRefs(root_, written)};
  }

  // The schema of what `node` holds under `key` ("additionalProperties",
  // "items", ...), when it is a schema.
  SchemaNode Child(const SchemaNode& node, const char* key) const {
    if (node.resolved == nullptr) return SchemaNode{};
    const JVal* child = SchemaMember(*node.resolved, key);
    return child != nullptr && child->IsObject() ? Node(child) : SchemaNode{};
  }

  void Walk(const SchemaNode& node, const JVal& value, const std::string& pointer, Source source,
            const JVal* instanceMember) {
    if (value.IsObject()) {
      WalkObject(node, value, pointer, source, instanceMember);
    } else if (value.IsArray()) {
      WalkArray(node, value, pointer, source);
    }
  }

  void WalkObject(const SchemaNode& node, const JVal& object, const std::string& pointer,
                  Source source, const JVal* instanceMember) {
    const JVal* properties = node.resolved ? SchemaMember(*node.resolved, "properties") : nullptr;
    if (properties != nullptr && !properties->IsObject()) properties = nullptr;
    const bool strict = checks_.strictMembers && properties != nullptr &&
                        SchemaMember(*node.resolved, "additionalProperties") == nullptr &&
                        SchemaMember(*node.resolved, "patternProperties") == nullptr;
    for (const auto& member : object.GetObject()) {
      const std::string field = ChildPointer(
          pointer, std::string(member.name.GetString(), member.name.GetStringLength()));
      const JVal* declared = MemberNamed(properties, member.name);
      if (strict && declared == nullptr) {
        Report(field, kMemberNotAllowed);
        continue;
      }
      const SchemaNode sub = declared ? Node(declared) : Child(node, "additionalProperties");
      const bool instanceId = sub.Flag(kInstanceIdMark) ||
                              (instanceMember != nullptr && member.name == *instanceMember);
      const Source inner = source != Source::kUser ? source : sub.Mark();
      if (const char* refusal = Refusal(sub, member.value, inner, instanceId)) {
        Report(field, refusal);
        continue;
      }
      Walk(sub, member.value, field, inner, nullptr);
    }
  }

  void WalkArray(const SchemaNode& node, const JVal& array, const std::string& pointer,
                 Source source) {
    const JVal* instanceMember = node.Member(kInstanceIdMark);
    if (instanceMember != nullptr && !instanceMember->IsString()) instanceMember = nullptr;
    if (checks_.instanceKeys && instanceMember != nullptr) {
      CheckInstanceKeys(array, pointer, *instanceMember);
    }
    const JVal* items = node.resolved ? SchemaMember(*node.resolved, "items") : nullptr;
    const SchemaNode additional = Child(node, "additionalItems");
    for (rapidjson::SizeType i = 0; i < array.Size(); ++i) {
      SchemaNode item;
      if (items != nullptr && items->IsArray()) {
        item = i < items->Size() ? Node(&(*items)[i]) : additional;
      } else if (items != nullptr) {
        item = Node(items);
      }
      Walk(item, array[i], ChildPointer(pointer, std::to_string(i)), source, instanceMember);
    }
  }

  const char* Refusal(const SchemaNode& sub, const JVal& value, Source source,
                      bool instanceId) const {
    if (checks_.noDeprecated && sub.Flag(kDeprecatedMark)) return kDeprecated;
    if (instanceId) return nullptr;
    if (checks_.userOnly && source == Source::kVital) return kVitalHere;
    if (checks_.userOnly && source == Source::kCached) return kCachedHere;
    if (checks_.vitalOnly && source != Source::kVital && !HoldsMarked(sub, value, kVitalMark)) {
      return kNotVital;
    }
    if (checks_.cachedOnly && source != Source::kCached && !HoldsMarked(sub, value, kCachedMark)) {
      return kNotCached;
    }
    return nullptr;
  }

  bool HoldsMarked(const SchemaNode& sub, const JVal& value, const char* mark) const {
    return (value.IsObject() || value.IsArray()) && MarkedBelow(sub.resolved, mark);
  }

  // Whether a node the walk would reach below `node` carries `mark`.
  bool MarkedBelow(const JVal* node, const char* mark) const {
    if (node == nullptr || !node->IsObject()) return false;
    const auto marked = [&](const JVal& written) {
      const SchemaNode child = Node(&written);
      return child.Flag(mark) || MarkedBelow(child.resolved, mark);
    };
    if (const JVal* properties = SchemaMember(*node, "properties")) {
      if (properties->IsObject()) {
        for (const auto& property : properties->GetObject()) {
          if (marked(property.value)) return true;
        }
      }
    }
    for (const char* key : {"additionalProperties", "additionalItems"}) {
      const JVal* child = SchemaMember(*node, key);
      if (child != nullptr && marked(*child)) return true;
    }
    const JVal* items = SchemaMember(*node, "items");
    if (items != nullptr && items->IsArray()) {
      for (const JVal& item : items->GetArray()) {
        if (marked(item)) return true;
      }
      return false;
    }
    return items != nullptr && marked(*items);
  }

  void CheckInstanceKeys(const JVal& array, const std::string& pointer, const JVal& member) {
    const std::string name(member.GetString(), member.GetStringLength());
    std::unordered_set<std::string> seen;
    for (rapidjson::SizeType i = 0; i < array.Size(); ++i) {
      const std::string field = ChildPointer(ChildPointer(pointer, std::to_string(i)), name);
      const JVal* id = MemberNamed(&array[i], member);
      if (id == nullptr || !id->IsString() || id->GetStringLength() == 0) {
        Report(field, Str_Format(kInstanceIdMissing, name.c_str()));
        continue;
      }
      const std::string text(id->GetString(), id->GetStringLength());
      if (!seen.insert(text).second) Report(field, Str_Format(kInstanceIdDuplicate, text.c_str()));
    }
  }

  void Report(const std::string& field, std::string error) {
    errors_.push_back(ValidatorError{field, std::move(error)});
  }

  const JVal& root_;
  const TagChecks& checks_;
  ValidatorErrors& errors_;
};

}  // namespace

void CheckTags(const JVal& schema, const JVal& value, const TagChecks& checks,
               ValidatorErrors& errors) {
  const bool any = checks.strictMembers || checks.userOnly || checks.noDeprecated ||
                   checks.vitalOnly || checks.instanceKeys || checks.cachedOnly;
  if (any) TagWalk(schema, checks, errors).Run(value);
}

}  // namespace OrinConfigStore
