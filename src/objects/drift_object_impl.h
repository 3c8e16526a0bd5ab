#ifndef SRC_OBJECTS_DRIFT_OBJECT_IMPL_H_
#define SRC_OBJECTS_DRIFT_OBJECT_IMPL_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/drift_object.h"
#include "configstore/json.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// The drift object behind the public interface: the identifier and
// operation (held by the base) and a JSON document of its own. The
// contracts of the operations are those documented on DriftObject.
class DriftObjectImpl : public DriftObject {
 public:
  // The operation of a property or instance whose new value travels with it.
  static constexpr const char* kSetOperation = "SET";

  // Parses `driftText` with the default flags; a parse failure raises
  // InvalidArgumentException 1080.
  DriftObjectImpl(const ConfigStoreObjectId& id, const std::string& driftText,
                  std::string operation);
  // No data travels with the operation: an empty JSON object.
  DriftObjectImpl(const ConfigStoreObjectId& id, std::string operation);
  // The operation "SET" with a deep copy of `value`. Strings that `value`
  // only refers to (rapidjson's constant strings) stay shared, so pass
  // values whose document owns its strings, as parsed documents do.
  DriftObjectImpl(const ConfigStoreObjectId& id, const JVal& value);
  ~DriftObjectImpl() override;

  std::vector<std::pair<std::string, std::string>> Get() const override;
  std::shared_ptr<DriftObject> GetSubObject(const SubObjectId& sid) const override;
  std::vector<std::shared_ptr<DriftObject>> GetSubObjectInstances(
      const SubObjectId& sid) const override;
  std::string GetData() const override;

 private:
  JDoc data_;
};

// Whether `value` is the text "ADD" or "DELETE"; a value that is not text
// raises ConfigStoreException 2000 "Invalid JSON".
bool IsAddOrDeleteOperation(const JVal& value);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_DRIFT_OBJECT_IMPL_H_
