#include "source_layers.h"

#include "configstore/host.h"

namespace OrinConfigStore {

namespace {

// The statements of GetInternal: the layers must come from the very
// columns its merge reads.
constexpr const char* kLayersRowUpgrade =
    "SELECT Version, AutoConfValue, CASE WHEN DesiredValue IS NULL THEN UserValue ELSE "
    "DesiredValue END as UserValue, VitalValue, CachedValue, Success, CreationTime, ModifiedTime, "
    "Revision from Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' and "
    "Identifier='%s';";
constexpr const char* kLayersRow =
    "SELECT Version, AutoConfValue, UserValue, VitalValue, CachedValue, Success, CreationTime, "
    "ModifiedTime, Revision from Config WHERE Name='%s' and ConfigGroup='%s' and Component='%s' "
    "and Identifier='%s';";

}  // namespace

SourceLayers GetSourceLayersInternal(const ConfigStoreObjectId& id, const Connection& connection,
                                     const SchemaPtr& schema) {
  SourceLayers sources;
  auto visit = [&](const RowView& row) {
    RowLayers layers(row, id, schema);
    sources.merged = layers.Merged({layers.Text(kVitalValue), layers.Text(kCachedValue),
                                    layers.Text(kAutoConfValue), layers.AppliedUserText()});
    sources.vital = layers.Layer(kVitalValue);
    sources.cached = layers.Layer(kCachedValue);
    sources.automatic = layers.Layer(kAutoConfValue);
    sources.user = layers.UserLayer();
  };
  const char* statement = GetUpgradeCtx() ? kLayersRowUpgrade : kLayersRow;
  if (VisitRows(connection, FormatSql(statement, IdentifierParts(id)), visit) == 1) {
    throw ConfigStoreException(GetFailedMessage(id));
  }
  return sources;
}

}  // namespace OrinConfigStore
