#include "platform/schema_migration.h"

#include <rapidjson/pointer.h>

#include <cstring>
#include <set>

namespace OrinSchemaStore {

namespace {

using Op = MigrationStep::Op;
using Pointer = rapidjson::GenericPointer<JVal>;
using OrinConfigStore::JAllocator;

struct OpName {
  const char* name;
  Op op;
};
constexpr OpName kOps[] = {{"rename", Op::kRename},
                           {"move", Op::kMove},
                           {"add", Op::kAdd},
                           {"remove", Op::kRemove},
                           {"map", Op::kMap}};
// The members each step may carry besides "op" and "path".
constexpr const char* kStepMembers[] = {"op", "path", "each", "from", "to", "value", "values"};

constexpr const char* kTaken = "the member it would write is already there";
constexpr const char* kNotObject = "the path passes through a value that is not an object";
constexpr const char* kNotArray = "\"each\" does not lead to an array";

const JVal* Member(const JVal& object, const char* name) {
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

std::shared_ptr<JDoc> CopyOf(const JVal& value) {
  auto copy = std::make_shared<JDoc>();
  copy->CopyFrom(value, copy->GetAllocator());
  return copy;
}

// A JSON pointer below the object itself: "/a/b".
bool ReadPointer(const JVal& step, const char* name, bool required, std::string& out,
                 std::string& problem) {
  const JVal* value = Member(step, name);
  if (value == nullptr) {
    if (required) problem = std::string("\"") + name + "\" is missing";
    return !required;
  }
  if (!value->IsString() || value->GetString()[0] != '/' ||
      !Pointer(value->GetString(), value->GetStringLength()).IsValid()) {
    problem = std::string("\"") + name + "\" is not a JSON pointer to a member";
    return false;
  }
  out = value->GetString();
  return true;
}

bool ReadOp(const JVal& step, MigrationStep& read, std::string& problem) {
  const JVal* op = Member(step, "op");
  for (const OpName& known : kOps) {
    if (op != nullptr && op->IsString() && std::strcmp(op->GetString(), known.name) == 0) {
      read.op = known.op;
      return true;
    }
  }
  problem = "\"op\" is not one of rename, move, add, remove, map";
  return false;
}

bool ReadMapping(const JVal& step, MigrationStep& read, std::string& problem) {
  const JVal* values = Member(step, "values");
  if (values == nullptr || !values->IsArray()) {
    problem = "\"values\" is not an array of [from, to] pairs";
    return false;
  }
  for (const JVal& pair : values->GetArray()) {
    if (!pair.IsArray() || pair.Size() != 2) {
      problem = "\"values\" is not an array of [from, to] pairs";
      return false;
    }
    read.values.emplace_back(CopyOf(pair[0]), CopyOf(pair[1]));
  }
  return true;
}

// The members that only some operations take.
bool ReadOperands(const JVal& step, MigrationStep& read, std::string& problem) {
  switch (read.op) {
    case Op::kRename: {
      const JVal* to = Member(step, "to");
      if (to == nullptr || !to->IsString() || to->GetStringLength() == 0) {
        problem = "\"to\" is missing or not a member name";
        return false;
      }
      read.to = to->GetString();
      return true;
    }
    case Op::kMove:
      return ReadPointer(step, "from", true, read.from, problem);
    case Op::kAdd: {
      const JVal* value = Member(step, "value");
      if (value == nullptr) problem = "\"value\" is missing";
      if (value != nullptr) read.value = CopyOf(*value);
      return value != nullptr;
    }
    case Op::kMap:
      return ReadMapping(step, read, problem);
    case Op::kRemove:
      return true;
  }
  return true;
}

bool ReadStep(const JVal& step, MigrationStep& read, std::string& problem) {
  if (!step.IsObject()) {
    problem = "not an object";
    return false;
  }
  for (const auto& member : step.GetObject()) {
    bool known = false;
    for (const char* name : kStepMembers)
      known = known || std::strcmp(name, member.name.GetString()) == 0;
    if (!known) {
      problem = std::string("unknown member \"") + member.name.GetString() + "\"";
      return false;
    }
  }
  return ReadOp(step, read, problem) && ReadPointer(step, "path", true, read.path, problem) &&
         ReadPointer(step, "each", false, read.each, problem) && ReadOperands(step, read, problem);
}

bool ReadMigration(const JVal& entry, Migration& migration, std::string& problem) {
  const JVal* from = entry.IsObject() ? Member(entry, "from") : nullptr;
  const JVal* steps = entry.IsObject() ? Member(entry, "steps") : nullptr;
  if (from == nullptr || !from->IsString() || steps == nullptr || !steps->IsArray()) {
    problem = "a migration needs \"from\" (a version) and \"steps\" (an array)";
    return false;
  }
  migration.from = from->GetString();
  for (rapidjson::SizeType i = 0; i < steps->Size(); ++i) {
    MigrationStep step;
    if (!ReadStep((*steps)[i], step, problem)) {
      problem = "migration from \"" + migration.from + "\", step " + std::to_string(i + 1) + ": " +
                problem;
      return false;
    }
    migration.steps.push_back(std::move(step));
  }
  return true;
}

// The parent object of the member `pointer` names, and that member's name;
// null when the parent is absent or not an object.
JVal* ParentOf(JVal& root, const Pointer& pointer, std::string& name) {
  const std::size_t count = pointer.GetTokenCount();
  const auto& last = pointer.GetTokens()[count - 1];
  name.assign(last.name, last.length);
  JVal* parent = count == 1 ? &root : Pointer(pointer.GetTokens(), count - 1).Get(root);
  return parent != nullptr && parent->IsObject() ? parent : nullptr;
}

// As ParentOf, creating missing objects on the way; null when a value on
// the way is not an object.
JVal* MakeParentOf(JVal& root, const Pointer& pointer, std::string& name, JAllocator& allocator) {
  JVal* node = &root;
  const std::size_t count = pointer.GetTokenCount();
  for (std::size_t i = 0; i + 1 < count; ++i) {
    if (!node->IsObject()) return nullptr;
    const auto& token = pointer.GetTokens()[i];
    auto found = node->FindMember(JVal(rapidjson::StringRef(token.name, token.length)));
    if (found == node->MemberEnd()) {
      node->AddMember(JVal(token.name, token.length, allocator), JVal(rapidjson::kObjectType),
                      allocator);
      found = node->MemberEnd() - 1;
    }
    node = &found->value;
  }
  name.assign(pointer.GetTokens()[count - 1].name, pointer.GetTokens()[count - 1].length);
  return node->IsObject() ? node : nullptr;
}

// Takes the member at `pointer` out of `root`; false when it is absent.
bool Take(JVal& root, const Pointer& pointer, JVal& taken) {
  std::string name;
  JVal* parent = ParentOf(root, pointer, name);
  if (parent == nullptr) return false;
  const auto found = parent->FindMember(JVal(rapidjson::StringRef(name.data(), name.size())));
  if (found == parent->MemberEnd()) return false;
  taken = std::move(found->value);
  parent->EraseMember(found);
  return true;
}

// Puts `value` at `pointer`, which must be free. The problem, or "".
std::string Put(JVal& root, const Pointer& pointer, JVal& value, JAllocator& allocator) {
  if (pointer.Get(root) != nullptr) return kTaken;
  std::string name;
  JVal* parent = MakeParentOf(root, pointer, name, allocator);
  if (parent == nullptr) return kNotObject;
  parent->AddMember(JVal(name.c_str(), allocator), value, allocator);
  return "";
}

// Runs one step on one object; the problem, or "".
std::string Run(const MigrationStep& step, JVal& object, JAllocator& allocator) {
  const Pointer path(step.path.c_str());
  JVal value;
  switch (step.op) {
    case Op::kRename: {
      std::string name;
      JVal* parent = ParentOf(object, path, name);
      if (parent == nullptr || !parent->HasMember(name.c_str())) return "";
      if (parent->HasMember(step.to.c_str())) return kTaken;
      Take(object, path, value);
      parent->AddMember(JVal(step.to.c_str(), allocator), value, allocator);
      return "";
    }
    case Op::kMove:
      if (!Take(object, Pointer(step.from.c_str()), value)) return "";
      return Put(object, path, value, allocator);
    case Op::kAdd:
      if (path.Get(object) != nullptr) return "";
      value.CopyFrom(*step.value, allocator);
      return Put(object, path, value, allocator);
    case Op::kRemove:
      Take(object, path, value);
      return "";
    case Op::kMap: {
      JVal* found = path.Get(object);
      for (const auto& pair : step.values) {
        if (found == nullptr || *found != *pair.first) continue;
        found->CopyFrom(*pair.second, allocator);
        break;
      }
      return "";
    }
  }
  return "";
}

std::string RunEach(const MigrationStep& step, JVal& data, JAllocator& allocator) {
  if (step.each.empty()) return Run(step, data, allocator);
  JVal* list = Pointer(step.each.c_str()).Get(data);
  if (list == nullptr) return "";
  if (!list->IsArray()) return kNotArray;
  for (JVal& element : list->GetArray()) {
    if (!element.IsObject()) continue;
    const std::string problem = Run(step, element, allocator);
    if (!problem.empty()) return problem;
  }
  return "";
}

}  // namespace

std::string MigrationStep::Describe() const {
  for (const OpName& known : kOps) {
    if (known.op != op) continue;
    const std::string where = op == Op::kMove ? from + " to " + path : path;
    return std::string(known.name) + " " + (each.empty() ? "" : each + "/*") + where;
  }
  return path;
}

std::vector<Migration> ReadMigrations(const JVal& list, std::string& problem) {
  std::vector<Migration> migrations;
  if (!list.IsArray()) {
    problem = "\"migrations\" is not an array";
    return migrations;
  }
  std::set<std::string> froms;
  for (const JVal& entry : list.GetArray()) {
    Migration migration;
    if (!ReadMigration(entry, migration, problem)) return migrations;
    if (!froms.insert(migration.from).second) {
      problem = "two migrations from \"" + migration.from + "\"";
      return migrations;
    }
    migrations.push_back(std::move(migration));
  }
  return migrations;
}

bool Migrate(const Migration& migration, JDoc& data,
             const std::function<bool(const MigrationStep&)>& adds, std::string& problem) {
  for (const MigrationStep& step : migration.steps) {
    if (step.op == Op::kAdd && !adds(step)) continue;
    const std::string failure = RunEach(step, data, data.GetAllocator());
    if (!failure.empty()) {
      problem = step.Describe() + ": " + failure;
      return false;
    }
  }
  return true;
}

}  // namespace OrinSchemaStore
