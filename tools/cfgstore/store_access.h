#ifndef CFGSTORE_STORE_ACCESS_H_
#define CFGSTORE_STORE_ACCESS_H_

// What the commands share on the way into the library: the store, the
// write context, objects and filters built from JSON arguments, and the
// schema store's list of types.

#include <configstore/configstore.h>

#include <memory>
#include <string>

namespace cfgstore {

constexpr const char* kUserContext = "user";
constexpr const char* kInternalContext = "internal";

std::shared_ptr<OrinConfigStore::ConfigStore> OpenStore();

// "internal" is INTERNAL; anything else (the parser admits only "user")
// EXTERNAL.
OrinConfigStore::USERDATA_CONTEXT ToContext(const std::string& name);

// An object for `id` whose data is `json` (a JSON object's text). For an
// instance of a non-singleton type the library fills the instance-id
// member in from the identifier, so the data need not repeat it; a
// different value there is a usage error.
std::shared_ptr<OrinConfigStore::ConfigStoreObject> BuildObject(
    const OrinConfigStore::ConfigStoreObjectId& id, const std::string& json);

// A filter on `id` whose data is `json`; empty text for a filter that
// matches everything.
std::shared_ptr<OrinConfigStore::FilterSpecObject> BuildFilter(
    const OrinConfigStore::ConfigStoreObjectId& id, const std::string& json);

// The types of the schema store, as DescribeSchemas() reports them, read
// once.
class SchemaCatalog {
 public:
  SchemaCatalog();

  // The JSON array of every type.
  const OrinConfigStore::JVal& Types() const;
  // The description of the identifier's type; a type the store does not
  // hold raises UnknownTypeError.
  const OrinConfigStore::JVal& Require(const OrinConfigStore::ConfigStoreObjectId& id) const;
  // Whether the identifier names every instance of a non-singleton type,
  // rather than a singleton or one instance.
  bool NamesAllInstances(const OrinConfigStore::ConfigStoreObjectId& id) const;

 private:
  std::shared_ptr<OrinConfigStore::JsonDoc> description_;
};

}  // namespace cfgstore

#endif  // CFGSTORE_STORE_ACCESS_H_
