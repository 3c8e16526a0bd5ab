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

constexpr std::size_t kSources = 3;
constexpr std::size_t kUser = static_cast<std::size_t>(ValueSource::kUser);
constexpr std::size_t kVital = static_cast<std::size_t>(ValueSource::kVital);
constexpr std::size_t kCached = static_cast<std::size_t>(ValueSource::kCached);

// One value's part for each source, indexed by ValueSource.
struct Parts {
  JVal value[kSources];
  Kept kept[kSources] = {Kept::kNothing, Kept::kNothing, Kept::kNothing};
};

// Splits data into every source's part in one walk: the walk, its schema
// lookups and its errors are the same for each source, only what is kept
// differs.
class Splitter {
 public:
  Splitter(const JVal& root, JAllocator* const (&allocators)[kSources]) : root_(root) {
    for (std::size_t s = 0; s < kSources; ++s) allocators_[s] = allocators[s];
  }

  // Splits `value`, described by `property`, into `out`.
  void Value(const JVal& value, const JVal& property, Parts& out) {
    RAPIDJSON_ASSERT(property.IsObject());
    const bool vital = HasTrue(property, kVitalMark);
    const bool cached = HasTrue(property, kCachedMark);
    if (vital || cached) {
      if (vital) Copy(value, out, kVital);
      if (cached) Copy(value, out, kCached);
      return;
    }
    // An instance id goes with every part so that each keeps its identity.
    // In the user part it is content: an instance that holds nothing but its
    // id still exists. The other parts drop what holds nothing else.
    if (OrinSchemaStore::IsInstanceIdMember(root_, property)) {
      for (std::size_t s = 0; s < kSources; ++s) {
        Copy(value, out, s);
        if (s != kUser) out.kept[s] = Kept::kIdOnly;
      }
      return;
    }
    if (value.IsObject()) return Object(value, property, out);
    if (value.IsArray()) return Array(value, property, out);
    Copy(value, out, kUser);
  }

  void Object(const JVal& data, const JVal& schema, Parts& out) {
    // Like an empty array, an empty object carries no marks of its own: it
    // is a user value, not the absence of one.
    if (data.ObjectEmpty()) return Copy(data, out, kUser);
    for (JVal& part : out.value) part.SetObject();
    const JVal* properties = OrinSchemaStore::PropertiesOf(root_, schema);
    for (const auto& member : data.GetObject()) {
      const JVal* property = properties ? FindValue(*properties, member.name.GetString()) : nullptr;
      if (property == nullptr) throw ConfigStoreException(kInvalidField + Name(member.name));
      Parts parts;
      Value(member.value, *property, parts);
      for (std::size_t s = 0; s < kSources; ++s) {
        if (parts.kept[s] == Kept::kNothing) continue;
        out.value[s].AddMember(JVal(member.name, *allocators_[s]), parts.value[s], *allocators_[s]);
        if (parts.kept[s] == Kept::kContent) out.kept[s] = Kept::kContent;
      }
    }
  }

 private:
  void Array(const JVal& data, const JVal& property, Parts& out) {
    const JVal* type = OrinSchemaStore::SchemaAnnotation(root_, property, kTypeKeyword);
    if (type == nullptr || !type->IsString() || std::string(type->GetString()) != kArrayType) {
      throw ConfigStoreException(kExpectedArray);
    }
    if (data.Empty()) return Copy(data, out, kUser);
    const JVal* items = OrinSchemaStore::SchemaAnnotation(root_, property, kItemsKeyword);
    RAPIDJSON_ASSERT(items != nullptr);
    for (JVal& part : out.value) part.SetArray();
    for (const JVal& element : data.GetArray()) {
      Parts parts;
      Value(element, *items, parts);
      for (std::size_t s = 0; s < kSources; ++s) {
        if (parts.kept[s] == Kept::kContent) out.value[s].PushBack(parts.value[s], *allocators_[s]);
      }
    }
    for (std::size_t s = 0; s < kSources; ++s) {
      if (!out.value[s].Empty()) out.kept[s] = Kept::kContent;
    }
  }

  void Copy(const JVal& value, Parts& out, std::size_t source) {
    out.value[source].CopyFrom(value, *allocators_[source]);
    out.kept[source] = Kept::kContent;
  }

  static std::string Name(const JVal& name) {
    return std::string(name.GetString(), name.GetStringLength());
  }

  bool HasTrue(const JVal& node, const char* mark) const {
    const JVal* value = OrinSchemaStore::SchemaAnnotation(root_, node, mark);
    return value != nullptr && value->IsTrue();
  }

  const JVal& root_;
  JAllocator* allocators_[kSources];
};

// Every source's part of `data`, null where nothing remains.
std::vector<std::unique_ptr<JDoc>> SplitAll(const JVal& data, const JVal& schema) {
  RAPIDJSON_ASSERT(data.IsObject());
  std::vector<std::unique_ptr<JDoc>> documents;
  JAllocator* allocators[kSources];
  for (std::size_t s = 0; s < kSources; ++s) {
    documents.push_back(std::make_unique<JDoc>());
    allocators[s] = &documents.back()->GetAllocator();
  }
  Parts parts;
  // The schema's root is judged like a property, so a mark at the top level
  // covers every member.
  Splitter(schema, allocators).Value(data, schema, parts);
  for (std::size_t s = 0; s < kSources; ++s) {
    if (parts.kept[s] == Kept::kContent) {
      static_cast<JVal&>(*documents[s]).Swap(parts.value[s]);
    } else {
      documents[s].reset();
    }
  }
  return documents;
}

}  // namespace

std::unique_ptr<JDoc> SplitBySource(const JVal& data, const JVal& schema, ValueSource source) {
  return std::move(SplitAll(data, schema)[static_cast<std::size_t>(source)]);
}

std::vector<std::string> SplitTexts(const JVal& data, const JVal& schema) {
  std::vector<std::string> texts(kSources);
  const auto parts = SplitAll(data, schema);
  for (std::size_t s = 0; s < kSources; ++s) {
    if (parts[s]) ConfigStoreDocument::SerializeValue(*parts[s], texts[s]);
  }
  return texts;
}

std::vector<std::string> SplitTexts(const ConfigStoreObject& object,
                                    const std::shared_ptr<OrinSchemaStore::SchemaObject>& schema) {
  return SplitTexts(ConfigStoreObjectInternal::Impl(object).DataValue(), schema->GetSchemaJson());
}

}  // namespace OrinConfigStore
