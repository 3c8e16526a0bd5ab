#include "source_layers.h"

#include "config_reads.h"

namespace OrinConfigStore {

SourceLayers GetSourceLayersInternal(const ConfigStoreObjectId& id, const Connection& connection,
                                     const SchemaPtr& schema) {
  SourceLayers sources;
  ReadObject(ObjectRowStatement(), id, connection, [&](const RowView& row) {
    RowLayers layers(row, id, schema);
    sources.merged = MergedRow(row, id, schema);
    sources.vital = layers.Layer(kVitalValue);
    sources.cached = layers.Layer(kCachedValue);
    sources.automatic = layers.Layer(kAutoConfValue);
    sources.user = layers.UserLayer();
    return sources.merged;
  });
  return sources;
}

}  // namespace OrinConfigStore
