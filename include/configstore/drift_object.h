#ifndef CONFIGSTORE_DRIFT_OBJECT_H_
#define CONFIGSTORE_DRIFT_OBJECT_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/export.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// How one configuration object differs from a reference state, as computed
// by the caller and handed over as drift text: one JSON object whose members
// are the drifted properties. A member holding the text "ADD" or "DELETE"
// says the whole property or sub-object was added or deleted; an array holds
// one entry per instance of a repeated sub-object ({"INSTANCEID": <text>,
// and either "DRIFTOBJ": <new data> or "DRIFTOP": <operation text>}); any
// other value is the property's new value, reported as the operation "SET".
//
// Ownership: drift objects are handed out as std::shared_ptr. Each owns its
// own JSON document; the objects returned by GetSubObject and
// GetSubObjectInstances own deep copies of what they show and stay valid
// after the object they came from is gone.
//
// Errors: drift text that does not parse fails at creation. Structural
// faults met while walking (a non-object where an object is needed, an
// instance entry with neither "DRIFTOBJ" nor a text "DRIFTOP", a non-text
// "INSTANCEID") raise ConfigStoreException 2000 "Invalid JSON". Absent
// properties and instances are not errors: they are logged at priority 0
// and answered with an empty pointer or an empty list.
//
// Thread-safety: a drift object never changes after creation, so it may be
// read from several threads at once.
class CONFIGSTORE_API DriftObject {
 public:
  virtual ~DriftObject();

  DriftObject(const DriftObject&) = delete;
  DriftObject& operator=(const DriftObject&) = delete;

  // A copy of the identifier. For a sub-object it holds the sub-object's key
  // and instance id, with group and component empty.
  virtual ConfigStoreObjectId GetConfigStoreObjectId() const;

  // A copy of the operation text: the one given at creation, or for a
  // sub-object "SET", "ADD", "DELETE" or the instance entry's "DRIFTOP".
  virtual std::string GetOperation() const;

  // The drifted properties in document order, each with its operation: the
  // member's text when it holds text (any text), "SET" for every other
  // value, arrays included. Data that is not a JSON object raises "Invalid
  // JSON".
  virtual std::vector<std::pair<std::string, std::string>> Get() const = 0;

  // The drift of the sub-object `sid.key` or, with an instance id, of that
  // instance of a repeated sub-object; an empty pointer, logged as
  // "property <key> is not in drift" or "subobject <sid> is not in drift",
  // when the drift does not mention it. A sub-object added or deleted as a
  // whole answers for any instance id with that operation and empty data.
  // Without an instance id a repeated sub-object raises ConfigStoreException
  // 1048 "Non-Singleton object should contain instanceId: <sid>"; with one, a
  // property that is neither repeated nor added or deleted raises 1049
  // "Singleton object cannot contain instanceId: <sid>".
  virtual std::shared_ptr<DriftObject> GetSubObject(const SubObjectId& sid) const = 0;

  // The drift of every instance of the repeated sub-object `sid.key`, in
  // array order, or one object carrying "ADD" or "DELETE" when the whole
  // sub-object was added or deleted; an empty list, logged as above, when
  // the drift does not mention it. With an instance id the list holds
  // exactly GetSubObject(sid), which may be an empty pointer. A property that
  // is not repeated raises ConfigStoreException 1046 "Not a Non-Singleton
  // object: <sid>".
  virtual std::vector<std::shared_ptr<DriftObject>> GetSubObjectInstances(
      const SubObjectId& sid) const = 0;

  // The drift data as compact JSON text ("{}" for an added or deleted
  // sub-object or instance).
  virtual std::string GetData() const = 0;

 protected:
  DriftObject(const ConfigStoreObjectId& id, std::string operation);

 private:
  ConfigStoreObjectId id_;
  std::string operation_;
};

// A drift object for the configuration object `id`, parsed from `driftText`,
// with the top-level `operation` stored as given (it is not checked). Note
// the order: the JSON text comes before the operation. Text that does not
// parse, or nests deeper than the library accepts, raises
// InvalidArgumentException 1080 "Failed to parse JSON String". Text that
// parses to something other than a JSON object is kept as it is: GetData
// returns it, and the walks report "Invalid JSON".
CONFIGSTORE_API std::shared_ptr<DriftObject> CreateDriftObject(const ConfigStoreObjectId& id,
                                                               const std::string& driftText,
                                                               std::string operation);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_DRIFT_OBJECT_H_
