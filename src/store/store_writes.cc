// The store's write operations.

#include "config_store_impl.h"

namespace OrinConfigStore {

namespace {
constexpr const char* kNotYet = "Write operations are not available in this build";
}  // namespace

void ConfigStoreImpl::Set(std::shared_ptr<ConfigStoreObject>, const USERDATA_CONTEXT&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetUserData(std::shared_ptr<ConfigStoreObject>, const USERDATA_CONTEXT&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetVitalData(std::shared_ptr<ConfigStoreObject>) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetCachedData(std::shared_ptr<ConfigStoreObject>) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::Update(std::shared_ptr<ConfigStoreObject>, const USERDATA_CONTEXT&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::Delete(const ConfigStoreObjectId&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::DeleteInstances(const std::shared_ptr<FilterSpecObject>&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetInstances(std::vector<std::shared_ptr<ConfigStoreObject>>,
                                   const USERDATA_CONTEXT&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetUserDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>>,
                                           const USERDATA_CONTEXT&) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetCachedDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>>) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}
void ConfigStoreImpl::SetVitalDataInstances(std::vector<std::shared_ptr<ConfigStoreObject>>) {
  throw ConfigStoreException(CS_ERR_INTERNAL, kNotYet);
}

}  // namespace OrinConfigStore
