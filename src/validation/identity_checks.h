#ifndef SRC_VALIDATION_IDENTITY_CHECKS_H_
#define SRC_VALIDATION_IDENTITY_CHECKS_H_

// Checks that an identifier fits its object type, and the boot-time rule for
// the EXTERNAL context. None of them touches the database except through
// IsBoot(). Failures are exceptions: ConfigStoreException 1037 for a
// missing schema, ValidationException 2000 with a fixed text and no errors
// for the identity and context rules, ConfigStoreException 2000 "Invalid
// JSON" when data does not fit the schema's shape in isUserType.
// A null object or filter raises InvalidArgumentException 1100 "Invalid
// Argument". A null schema raises 1037 wherever an identifier is at hand;
// CheckBootContext, which has none, treats it as not boot-exempt.

#include <memory>
#include <optional>

#include "configstore/config_store.h"
#include "configstore/config_store_object.h"
#include "configstore/filter_object.h"
#include "configstore/object_id.h"

namespace OrinSchemaStore {
class SchemaObject;
}

namespace OrinConfigStore {

using SchemaPtr = std::shared_ptr<OrinSchemaStore::SchemaObject>;

void CheckSchema(const ConfigStoreObjectId& id, SchemaPtr schema);
void validateSingletonNonSingleton(const ConfigStoreObjectId& id, SchemaPtr schema);
void validateSingletonNonSingleton(std::shared_ptr<ConfigStoreObject> object, SchemaPtr schema);
void ValidateCsoId(const ConfigStoreObjectId& id, const SchemaPtr& schema);
void ValidateCsoId(std::shared_ptr<ConfigStoreObject> object, const SchemaPtr& schema);
bool ValidateCsoIdInstances(const ConfigStoreObjectId& id, const SchemaPtr& schema);
bool ValidateCsoIdInstances(const std::shared_ptr<FilterSpecObject>& filter,
                            const SchemaPtr& schema);
void validateInstanceId(const ConfigStoreObjectId& id);
bool isUserType(std::shared_ptr<ConfigStoreObject> object, SchemaPtr schema);
void checkUserContext(bool isBoot, const USERDATA_CONTEXT& context);
void CheckBootContext(SchemaPtr schema, bool hasUserValues, const USERDATA_CONTEXT& context);
// CheckBootContext with the boot flag read by the caller (`booting`).
void ApplyBootRule(bool booting, const SchemaPtr& schema, bool hasUserValues,
                   const USERDATA_CONTEXT& context);
void CheckObjectUserContext(std::shared_ptr<ConfigStoreObject> object, SchemaPtr schema,
                            const USERDATA_CONTEXT& context);

// CheckObjectUserContext over the objects of one write: the boot flag is a
// read of the database, so it is read once, at the first object, and holds
// for the rest.
class BootContextCheck {
 public:
  explicit BootContextCheck(USERDATA_CONTEXT context) : context_(context) {}
  void Check(const std::shared_ptr<ConfigStoreObject>& object, const SchemaPtr& schema);

 private:
  USERDATA_CONTEXT context_;
  std::optional<bool> booting_;
};

// The identifier of `object`. A null object is a caller's fault and raises
// InvalidArgumentException 1100 "Invalid Argument" rather than crashing.
const ConfigStoreObjectId& ObjectIdOf(const std::shared_ptr<StoreObject>& object);

// The JSON value of the object's data (for a sub-object view, the place it
// shows). Null objects are refused as in ObjectIdOf.
const JVal& ObjectData(const std::shared_ptr<ConfigStoreObject>& object);

}  // namespace OrinConfigStore

#endif  // SRC_VALIDATION_IDENTITY_CHECKS_H_
