#include "explanation.h"

#include "identifier.h"
#include "json_output.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kDataMember = "data";
constexpr const char* kMembersMember = "members";
constexpr const char* kPointerMember = "pointer";
constexpr const char* kValueMember = "value";
constexpr const char* kSourceMember = "source";
constexpr const char* kOverridesMember = "overrides";

using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

JVal SourceText(OrinConfigStore::ConfigSource source) {
  return JVal(rapidjson::StringRef(OrinConfigStore::ConfigSourceName(source)));
}

JVal MemberEntry(const OrinConfigStore::MemberSource& member, JAllocator& allocator) {
  JVal overrides(rapidjson::kArrayType);
  for (const auto source : member.overrides) overrides.PushBack(SourceText(source), allocator);
  JVal entry(rapidjson::kObjectType);
  entry.AddMember(rapidjson::StringRef(kPointerMember), TextValue(member.pointer, allocator),
                  allocator);
  entry.AddMember(rapidjson::StringRef(kValueMember), ParseValue(member.value, allocator),
                  allocator);
  entry.AddMember(rapidjson::StringRef(kSourceMember), SourceText(member.source), allocator);
  entry.AddMember(rapidjson::StringRef(kOverridesMember), overrides, allocator);
  return entry;
}

}  // namespace

int RunExplain(const Tool& tool, const OrinConfigStore::ConfigStoreObjectId& id) {
  const auto explanation = OrinConfigStore::ExplainConfig(id);
  if (!explanation.object) throw NotFoundError(FormatIdentifier(id));
  JDoc output;
  output.SetObject();
  JAllocator& allocator = output.GetAllocator();
  JVal members(rapidjson::kArrayType);
  for (const auto& member : explanation.members) {
    members.PushBack(MemberEntry(member, allocator), allocator);
  }
  output.AddMember(rapidjson::StringRef(kDataMember),
                   ParseValue(explanation.object->GetData(), allocator), allocator);
  output.AddMember(rapidjson::StringRef(kMembersMember), members, allocator);
  tool.Printer().Print(output);
  return kSuccess;
}

}  // namespace cfgstore
