#include "value_columns.h"

namespace OrinConfigStore {

const std::vector<ValueColumn> kConfigValueColumns{
    {"AutoConfValue", "automatic", &kUserTags, ValueSource::kUser},
    {"UserValue", "user", &kUserTags, ValueSource::kUser},
    {"VitalValue", "vital", &kVitalTags, ValueSource::kVital},
    {"CachedValue", "cached", &kCachedTags, ValueSource::kCached},
    {"DesiredValue", "desired", &kUserTags, ValueSource::kUser},
};

const std::vector<ValueColumn> kDesiredValueColumns{
    {"Value", "desired user", &kUserTags, ValueSource::kUser},
    {"VitalValue", "desired vital", &kVitalTags, ValueSource::kVital},
    {"CachedValue", "desired cached", &kCachedTags, ValueSource::kCached},
};

}  // namespace OrinConfigStore
