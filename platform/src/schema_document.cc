#include "platform/schema_document.h"

#include <string>

#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>

#include "platform/schema_walk.h"
#include "schema_reading.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::ForEachSubschema;
using OrinConfigStore::JAllocator;
using OrinConfigStore::SchemaMember;

constexpr const char* kRefKeyword = "$ref";
constexpr const char* kObjectTypeName = "object";
constexpr const char* kArrayTypeName = "array";
// A type owned by one source as a whole says so at its top level; its
// instances' array must carry the mark too, because the validator reads
// marks on the members it walks through, not on an array's items.
constexpr const char* kTypeMarks[] = {"vital", "cached"};

using Pointer = rapidjson::GenericPointer<JVal>;

// The pointer to the schema of member `name` below the object schema at `at`.
Pointer PropertyPointer(const Pointer& at, const std::string& name) {
  return at.Append(std::string(kPropertiesKeyword)).Append(name);
}

std::string Name(const JVal& name) { return std::string(name.GetString(), name.GetStringLength()); }

// The URI fragment ("#/properties/...") of a place in the generated schema,
// escaped the way "$ref" texts are read.
std::string Fragment(const Pointer& pointer) {
  rapidjson::StringBuffer text;
  pointer.StringifyUriFragment(text);
  return std::string(text.GetString(), text.GetSize());
}

// A type's schema refers to its own parts with local "$ref"s ("#/..."); once
// it is placed at `base` inside the generated schema, each must be prefixed
// with that place to name the same part. A "$ref"'s siblings are walked
// too: the definitions it points to often sit beside it.
void RebaseRefs(JVal& node, const std::string& base, JAllocator& allocator) {
  if (JVal* ref = SchemaMember(node, kRefKeyword)) {
    if (ref->IsString() && ref->GetStringLength() > 0 && ref->GetString()[0] == '#') {
      const std::string rebased =
          base + std::string(ref->GetString() + 1, ref->GetStringLength() - 1);
      ref->SetString(rebased.data(), static_cast<rapidjson::SizeType>(rebased.size()), allocator);
    }
  }
  ForEachSubschema(
      node, [&](const char*, JVal& subschema) { RebaseRefs(subschema, base, allocator); }, true);
}

JVal ObjectSchema(JAllocator& allocator) {
  JVal schema(rapidjson::kObjectType);
  schema.AddMember(rapidjson::StringRef(kTypeKeyword), rapidjson::StringRef(kObjectTypeName),
                   allocator);
  schema.AddMember(rapidjson::StringRef(kPropertiesKeyword), JVal(rapidjson::kObjectType),
                   allocator);
  return schema;
}

// The object schema of member `name` in `properties`, added when missing. A
// name that the document repeats shares the first one's schema.
JVal& ObjectSchemaFor(JVal& properties, const JVal& name, JAllocator& allocator) {
  const auto found = properties.FindMember(name);
  if (found != properties.MemberEnd()) return found->value;
  properties.AddMember(JVal(name, allocator), ObjectSchema(allocator), allocator);
  return (properties.MemberEnd() - 1)->value;
}

// The schema of a non-singleton type's value: an array of its instances.
JVal InstanceArraySchema(const SchemaObject& type, JVal items, JAllocator& allocator) {
  JVal schema(rapidjson::kObjectType);
  schema.AddMember(rapidjson::StringRef(kTypeKeyword), rapidjson::StringRef(kArrayTypeName),
                   allocator);
  const std::string& idMember = type.GetInstanceIdKey();
  if (!idMember.empty()) {
    schema.AddMember(rapidjson::StringRef(kInstanceIdMark), JVal(idMember.c_str(), allocator),
                     allocator);
  }
  for (const char* mark : kTypeMarks) {
    const auto found = items.FindMember(mark);
    if (found != items.MemberEnd()) {
      schema.AddMember(rapidjson::StringRef(mark), JVal(found->value, allocator), allocator);
    }
  }
  schema.AddMember(rapidjson::StringRef(kItemsKeyword), items, allocator);
  return schema;
}

class SchemaBuilder {
 public:
  SchemaBuilder(SchemaObjectCache& cache, JAllocator& allocator)
      : cache_(cache), allocator_(allocator) {}

  void AddComponent(JVal& properties, const JVal& name, const JVal& groups) {
    JVal& component = ObjectSchemaFor(properties, name, allocator_);
    if (!groups.IsObject()) return;  // the "object" type reports it
    const Pointer at = PropertyPointer(Pointer(), Name(name));
    for (const auto& group : groups.GetObject()) {
      AddGroup(component[kPropertiesKeyword], at, Name(name), group.name, group.value);
    }
  }

 private:
  void AddGroup(JVal& properties, const Pointer& at, const std::string& component, const JVal& name,
                const JVal& keys) {
    JVal& group = ObjectSchemaFor(properties, name, allocator_);
    if (!keys.IsObject()) return;
    const Pointer groupAt = PropertyPointer(at, Name(name));
    for (const auto& key : keys.GetObject()) {
      AddType(group[kPropertiesKeyword], groupAt, component, Name(name), key.name);
    }
  }

  // A key without a schema is left out, so that strict members (tag 1)
  // report it at its own field.
  void AddType(JVal& properties, const Pointer& at, const std::string& component,
               const std::string& group, const JVal& key) {
    if (properties.HasMember(key)) return;
    const auto type = cache_.Get(component, group, Name(key));
    if (!type) return;
    Pointer typeAt = PropertyPointer(at, Name(key));
    if (type->IsNonSingleton()) typeAt = typeAt.Append(std::string(kItemsKeyword));
    JVal schema(type->GetSchemaJson(), allocator_);
    RebaseRefs(schema, Fragment(typeAt), allocator_);
    if (type->IsNonSingleton()) schema = InstanceArraySchema(*type, std::move(schema), allocator_);
    properties.AddMember(JVal(key, allocator_), schema, allocator_);
  }

  SchemaObjectCache& cache_;
  JAllocator& allocator_;
};

}  // namespace

// `scratch` is not needed: every part is built in place in `schemaOut`. A
// null cache is served by a fresh one for this document. When `document`
// is not an object, `schemaOut` still describes an object, so that
// validating against it reports the document's type.
bool GenerateSchemaDocument(const OrinConfigStore::JVal& document,
                            const std::shared_ptr<SchemaObjectCache>& cache,
                            OrinConfigStore::JDoc& schemaOut, OrinConfigStore::JDoc& /*scratch*/) {
  JAllocator& allocator = schemaOut.GetAllocator();
  static_cast<JVal&>(schemaOut) = ObjectSchema(allocator);
  if (!document.IsObject()) return false;
  const std::shared_ptr<SchemaObjectCache> lookup = cache ? cache : SchemaStore::GetCache();
  SchemaBuilder builder(*lookup, allocator);
  for (const auto& component : document.GetObject()) {
    builder.AddComponent(schemaOut[kPropertiesKeyword], component.name, component.value);
  }
  return true;
}

}  // namespace OrinSchemaStore
