#ifndef PLATFORM_SCHEMA_OBJECT_H_
#define PLATFORM_SCHEMA_OBJECT_H_

#include <memory>
#include <mutex>
#include <string>

#include "configstore/json.h"

namespace OrinSchemaStore {

using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

// One object type as the schema store knows it: the JSON schema of one
// object's data (of one instance, for a non-singleton type) and what the
// library derives from it. Immutable once built, so one object may be shared
// between threads.
class SchemaObject {
 public:
  // Derives the instance-key map, the defaults and the instance-id member
  // from `schema`. Tolerates any JSON: shapes it does not understand simply
  // contribute nothing (the loader refuses malformed definitions before
  // they get here).
  SchemaObject(std::string component, std::string group, std::string key, std::string version,
               std::unique_ptr<JDoc> schema, bool nonSingleton, bool bootExempt);
  virtual ~SchemaObject();
  SchemaObject(const SchemaObject&) = delete;
  SchemaObject& operator=(const SchemaObject&) = delete;

  // The object schema.
  virtual const JVal& GetSchemaJson() const;
  // GetSchemaJson() as compact JSON text, written once on first use: the
  // validator finds a schema's compiled form by its text, and a type is
  // validated against far more often than it is loaded. Thread-safe.
  const std::string& GetSchemaText() const;
  virtual bool IsBootExempt() const;
  virtual bool IsNonSingleton() const;
  // A JSON object mapping the type's own key (for a non-singleton type) and
  // the key of every repeated sub-object at any depth to the name of the
  // member that holds an instance's id.
  virtual const JVal& GetInstanceKeyMap() const;
  // A JSON object of the defaults that the properties' "default"
  // annotations give, nested like the data (a repeated sub-object's item
  // defaults sit under its key as one object); JSON null when there are none.
  virtual const JVal& GetDefaultValue() const;
  // The top-level member that holds the instance id of a non-singleton
  // type; empty for a singleton type.
  virtual const std::string& GetInstanceIdKey() const;
  virtual const std::string& GetVersion() const;

  // The instance-key map and the defaults as shared documents, for objects
  // built from this type: they never change after construction, so every
  // object of the type can read the same ones instead of a copy each. The
  // defaults document is null when there are no defaults.
  const std::shared_ptr<JDoc>& SharedInstanceKeyMap() const { return instanceKeyMap_; }
  const std::shared_ptr<JDoc>& SharedDefaultValue() const { return sharedDefaults_; }
  const std::string& GetComponent() const { return component_; }
  const std::string& GetGroup() const { return group_; }
  const std::string& GetKey() const { return key_; }

 private:
  std::string component_;
  std::string group_;
  std::string key_;
  std::string version_;
  std::unique_ptr<JDoc> schema_;
  bool nonSingleton_;
  bool bootExempt_;
  std::shared_ptr<JDoc> instanceKeyMap_;
  std::shared_ptr<JDoc> defaults_;
  std::shared_ptr<JDoc> sharedDefaults_;
  std::string instanceIdKey_;
  mutable std::once_flag schemaTextWritten_;
  mutable std::string schemaText_;
};

}  // namespace OrinSchemaStore

#endif  // PLATFORM_SCHEMA_OBJECT_H_
