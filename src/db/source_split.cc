#include "source_split.h"

#include "configstore/exceptions.h"
#include "json/document.h"
#include "objects/config_store_object_impl.h"
#include "objects/config_store_object_internal.h"
#include "platform/schema_object.h"
#include "platform/schema_walk.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kInvalidField = "Invalid field in schema: ";
constexpr const char* kExpectedArray = "Schema error:Expected array type";
using OrinSchemaStore::kCachedMark;
using OrinSchemaStore::kVitalMark;
constexpr const char* kArrayType = "array";
using OrinSchemaStore::kItemsKeyword;
using OrinSchemaStore::kTypeKeyword;

// What a split kept of one value: nothing, only instance ids, or content.
enum class Kept { kNothing, kIdOnly, kContent };

class Splitter {
 public:
  Splitter(const JVal& root, ValueSource source, JAllocator& allocator)
      : root_(root), source_(source), allocator_(allocator) {}

  // Splits `value`, described by `property`, into `out`.
  Kept Value(const JVal& value, const JVal& property, JVal& out) {
    RAPIDJSON_ASSERT(property.IsObject());
    if (HasTrue(property, kVitalMark) || HasTrue(property, kCachedMark)) {
      const bool mine =
          HasTrue(property, source_ == ValueSource::kVital ? kVitalMark : kCachedMark);
      return mine && source_ != ValueSource::kUser ? Copy(value, out) : Kept::kNothing;
    }
    // An instance id goes with every part so that each keeps its identity.
    // In the user part it is content: an instance that holds nothing but its
    // id still exists. The other parts drop what holds nothing else.
    if (OrinSchemaStore::IsInstanceIdMember(root_, property)) {
      out.CopyFrom(value, allocator_);
      return source_ == ValueSource::kUser ? Kept::kContent : Kept::kIdOnly;
    }
    if (value.IsObject()) return Object(value, property, out);
    if (value.IsArray()) return Array(value, property, out);
    return source_ == ValueSource::kUser ? Copy(value, out) : Kept::kNothing;
  }

  Kept Object(const JVal& data, const JVal& schema, JVal& out) {
    // Like an empty array, an empty object carries no marks of its own: it
    // is a user value, not the absence of one.
    if (data.ObjectEmpty()) return source_ == ValueSource::kUser ? Copy(data, out) : Kept::kNothing;
    out.SetObject();
    const JVal* properties = OrinSchemaStore::PropertiesOf(root_, schema);
    Kept kept = Kept::kNothing;
    for (const auto& member : data.GetObject()) {
      const JVal* property = properties ? FindValue(*properties, member.name.GetString()) : nullptr;
      if (property == nullptr) throw ConfigStoreException(kInvalidField + Name(member.name));
      JVal part;
      const Kept memberKept = Value(member.value, *property, part);
      if (memberKept == Kept::kNothing) continue;
      out.AddMember(JVal(member.name, allocator_), part, allocator_);
      if (memberKept == Kept::kContent) kept = Kept::kContent;
    }
    return kept == Kept::kContent ? kept : Kept::kNothing;
  }

 private:
  Kept Array(const JVal& data, const JVal& property, JVal& out) {
    const JVal* type = OrinSchemaStore::SchemaAnnotation(root_, property, kTypeKeyword);
    if (type == nullptr || !type->IsString() || std::string(type->GetString()) != kArrayType) {
      throw ConfigStoreException(kExpectedArray);
    }
    if (data.Empty()) return source_ == ValueSource::kUser ? Copy(data, out) : Kept::kNothing;
    const JVal* items = OrinSchemaStore::SchemaAnnotation(root_, property, kItemsKeyword);
    RAPIDJSON_ASSERT(items != nullptr);
    out.SetArray();
    for (const JVal& element : data.GetArray()) {
      JVal part;
      if (Value(element, *items, part) == Kept::kContent) out.PushBack(part, allocator_);
    }
    return out.Empty() ? Kept::kNothing : Kept::kContent;
  }

  Kept Copy(const JVal& value, JVal& out) {
    out.CopyFrom(value, allocator_);
    return Kept::kContent;
  }

  static std::string Name(const JVal& name) {
    return std::string(name.GetString(), name.GetStringLength());
  }

  bool HasTrue(const JVal& node, const char* mark) const {
    const JVal* value = OrinSchemaStore::SchemaAnnotation(root_, node, mark);
    return value != nullptr && value->IsTrue();
  }

  const JVal& root_;
  ValueSource source_;
  JAllocator& allocator_;
};

}  // namespace

std::unique_ptr<JDoc> SplitBySource(const JVal& data, const JVal& schema, ValueSource source) {
  RAPIDJSON_ASSERT(data.IsObject());
  auto part = std::make_unique<JDoc>();
  Splitter splitter(schema, source, part->GetAllocator());
  // The schema's root is judged like a property, so a mark at the top level
  // covers every member.
  const bool kept = splitter.Value(data, schema, *part) == Kept::kContent;
  if (!kept) return nullptr;
  return part;
}

std::string SplitText(const JVal& data, const JVal& schema, ValueSource source) {
  const std::unique_ptr<JDoc> part = SplitBySource(data, schema, source);
  std::string text;
  if (part) ConfigStoreDocument::SerializeValue(*part, text);
  return text;
}

std::string SplitText(const ConfigStoreObject& object,
                      const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema,
                      ValueSource source) {
  const JVal& data = ConfigStoreObjectInternal::Impl(object).DataValue();
  return SplitText(data, schema->GetSchemaJson(), source);
}

}  // namespace OrinConfigStore
