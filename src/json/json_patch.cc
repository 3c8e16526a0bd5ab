// RFC 6902 patches between two JSON values, for the change history.

#include <string>

#include "configstore/history.h"
#include "json/document.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kOp = "op";
constexpr const char* kPath = "path";
constexpr const char* kValueMember = "value";
constexpr const char* kAdd = "add";
constexpr const char* kRemove = "remove";
constexpr const char* kReplace = "replace";

void AddOperation(JDoc& patch, const char* op, const std::string& path, const JVal* value) {
  JAllocator& allocator = patch.GetAllocator();
  JVal operation(rapidjson::kObjectType);
  operation.AddMember(JVal(kOp, allocator), JVal(op, allocator), allocator);
  operation.AddMember(JVal(kPath, allocator),
                      JVal(path.c_str(), static_cast<rapidjson::SizeType>(path.size()), allocator),
                      allocator);
  if (value != nullptr) {
    operation.AddMember(JVal(kValueMember, allocator), JVal(*value, allocator), allocator);
  }
  patch.PushBack(operation, allocator);
}

std::string NameOf(const JVal& name) {
  return std::string(name.GetString(), name.GetStringLength());
}

void Diff(const JVal& from, const JVal& to, const std::string& path, JDoc& patch) {
  if (from == to) return;
  if (from.IsObject() && to.IsObject()) {
    for (const auto& member : from.GetObject()) {
      if (!to.HasMember(member.name)) {
        AddOperation(patch, kRemove, ChildPointer(path, NameOf(member.name)), nullptr);
      }
    }
    for (const auto& member : to.GetObject()) {
      const std::string child = ChildPointer(path, NameOf(member.name));
      const auto old = from.FindMember(member.name);
      if (old == from.MemberEnd()) {
        AddOperation(patch, kAdd, child, &member.value);
      } else {
        Diff(old->value, member.value, child, patch);
      }
    }
    return;
  }
  if (from.IsArray() && to.IsArray() && from.Size() == to.Size()) {
    for (rapidjson::SizeType i = 0; i < from.Size(); ++i) {
      Diff(from[i], to[i], ChildPointer(path, std::to_string(i)), patch);
    }
    return;
  }
  AddOperation(patch, kReplace, path, &to);
}

}  // namespace

std::shared_ptr<JsonDoc> JsonPatch(const JVal& from, const JVal& to) {
  auto patch = CreateDocument();
  JDoc& operations = patch->GetDocument();
  operations.SetArray();
  Diff(from, to, std::string(), operations);
  return patch;
}

}  // namespace OrinConfigStore
