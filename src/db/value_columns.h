#ifndef SRC_DB_VALUE_COLUMNS_H_
#define SRC_DB_VALUE_COLUMNS_H_

// The value columns of the tables of objects, with what each holds: the
// source's name, the tags a write of that source is validated with (a
// staged desired value stands for a user value, an automatic one comes from
// an internal write of the user part), and the source whose members it
// takes when an object is split.

#include <vector>

#include "source_split.h"
#include "validation/schema_validation.h"

namespace OrinConfigStore {

struct ValueColumn {
  const char* column;
  const char* source;
  const TagSet* tags;
  ValueSource owner;
};

// Config's, in the order AutoConfValue, UserValue, VitalValue, CachedValue,
// DesiredValue.
extern const std::vector<ValueColumn> kConfigValueColumns;
// DesiredUserConfig's: Value, VitalValue, CachedValue.
extern const std::vector<ValueColumn> kDesiredValueColumns;

}  // namespace OrinConfigStore

#endif  // SRC_DB_VALUE_COLUMNS_H_
