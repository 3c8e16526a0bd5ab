// Explaining a stored object: one read of its row gives the merged object
// and each source alone, and the walk over the merged data names the
// source of every leaf member.

#include "configstore/explain.h"

#include <string>

#include "config_store_impl.h"
#include "db/source_layers.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "objects/member_sources.h"
#include "platform/schema_object.h"
#include "validation/identity_checks.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kExplainOperation = "ExplainConfig";

// An object's data as GetData shows it, in `document`; null for no object.
const JVal* ShownData(const std::shared_ptr<ConfigStoreObject>& object, JDoc& document) {
  if (!object) return nullptr;
  const std::string text = object->GetData();
  RAPIDJSON_ASSERT(ConfigStoreDocument::ParseStored(document, text.c_str(), text.size()));
  return &document;
}

}  // namespace

ConfigExplanation ExplainConfig(const ConfigStoreObjectId& id) {
  LogOperation(kReadPriority, kExplainOperation, id, 0);
  const SchemaPtr schema = LookupSchema(id);
  ValidateCsoId(id, schema);
  const SourceLayers layers =
      GetSourceLayersInternal(id, GetDBStore(DBStore::CONFIG, true), schema);
  ConfigExplanation explanation;
  explanation.object = layers.merged;
  if (!layers.merged) return explanation;

  JDoc merged, vital, cached, automatic, user;
  ShownData(layers.merged, merged);
  const SourceValues sources = {
      {ConfigSource::kVital, ShownData(layers.vital, vital)},
      {ConfigSource::kCached, ShownData(layers.cached, cached)},
      {ConfigSource::kAutomatic, ShownData(layers.automatic, automatic)},
      {ConfigSource::kUser, ShownData(layers.user, user)},
  };
  const auto& defaults = schema->SharedDefaultValue();
  explanation.members =
      ExplainMembers(merged, sources, defaults.get(), schema->GetInstanceKeyMap());
  return explanation;
}

}  // namespace OrinConfigStore
