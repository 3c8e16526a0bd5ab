#include "configstore/provisioning.h"
#include "platform/schema_database.h"
#include "platform/schema_store.h"

namespace OrinSchemaStore {

namespace {

using OrinConfigStore::JAllocator;
using OrinConfigStore::JVal;

JVal Text(const std::string& text, JAllocator& allocator) {
  return JVal(text.c_str(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

}  // namespace

void InitializeSchemaStore() { CreateSchemaStore(); }

std::shared_ptr<OrinConfigStore::JsonDoc> DescribeSchemas() {
  auto description = OrinConfigStore::CreateDocument();
  auto& types = description->GetDocument();
  JAllocator& allocator = types.GetAllocator();
  types.SetArray();
  for (const auto& schema : SchemaStore::GetStore()->GetSchemaObjects()) {
    JVal type(rapidjson::kObjectType);
    type.AddMember("component", Text(schema->GetComponent(), allocator), allocator);
    type.AddMember("group", Text(schema->GetGroup(), allocator), allocator);
    type.AddMember("key", Text(schema->GetKey(), allocator), allocator);
    type.AddMember("version", Text(schema->GetVersion(), allocator), allocator);
    type.AddMember("nonSingleton", schema->IsNonSingleton(), allocator);
    type.AddMember("bootExempt", schema->IsBootExempt(), allocator);
    type.AddMember("schema", JVal(schema->GetSchemaJson(), allocator), allocator);
    types.PushBack(type, allocator);
  }
  return description;
}

}  // namespace OrinSchemaStore
