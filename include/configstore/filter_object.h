#ifndef CONFIGSTORE_FILTER_OBJECT_H_
#define CONFIGSTORE_FILTER_OBJECT_H_

#include <memory>
#include <vector>

#include "configstore/config_store_object.h"
#include "configstore/export.h"
#include "configstore/object_id.h"
#include "configstore/store_object.h"

namespace OrinConfigStore {

class FilterSpecObjectImpl;

// A filter specification: an identifier saying which object or instances
// are wanted, and JSON data holding the member values a result must carry.
// An object matches when its data contains the filter's data: every filter
// member is present with an equal value, nested objects compared the same
// way, member by member. Members that are repeated sub-objects (arrays of
// instances) never match. Sub-object filters are members holding objects.
// Used by one thread at a time.
class CONFIGSTORE_API FilterSpecObject : public StoreObject {
 public:
  // A new, empty filter: it matches every object.
  explicit FilterSpecObject(const ConfigStoreObjectId& id);
  ~FilterSpecObject() override;

  // Adds an empty sub-object filter and returns its view; an existing one
  // raises ConfigStoreException 2000 "SubObject filter already exists.".
  std::shared_ptr<FilterSpecObject> CreateSubObjectFilter(const SubObjectId& sid);
  // The view of a sub-object filter, or null.
  std::shared_ptr<FilterSpecObject> GetSubObjectFilter(const SubObjectId& sid) const;
  // Removes a sub-object filter; an absent one is ignored.
  void DeleteSubObjectFilter(const SubObjectId& sid);

 private:
  friend class FilterSpecObjectInternal;
  CONFIGSTORE_LOCAL explicit FilterSpecObject(std::shared_ptr<FilterSpecObjectImpl> impl);
};

// Narrows `objects` in place to those whose data contains the filter's data,
// keeping their order, and returns a copy of the result. An empty filter
// (or a null one) keeps every object.
CONFIGSTORE_API std::vector<std::shared_ptr<ConfigStoreObject>> FilterConfigStoreObjects(
    std::vector<std::shared_ptr<ConfigStoreObject>>& objects,
    std::shared_ptr<FilterSpecObject> filter);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_FILTER_OBJECT_H_
