// backup, restore: the host's store in one file, and back.

#include <configstore/configstore.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "check_report.h"
#include "json_output.h"
#include "tool.h"
#include "tool_error.h"

namespace cfgstore {

namespace {

using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

constexpr const char* kBackupHelp =
    "Write a consistent backup of the store (configuration and types) to FILE while others "
    "go on writing";
constexpr const char* kRestoreHelp =
    "Replace the store by the backup in FILE when the backup passes the check (exit status 3, "
    "nothing changed, when it does not); the replaced store is kept as the previous backup";
constexpr const char* kFileHelp = "The backup file";

void AddHeader(JVal& output, const OrinConfigStore::BackupHeader& header, JAllocator& allocator) {
  output.AddMember("time", TextValue(header.time, allocator), allocator);
  output.AddMember("lastChange", static_cast<int64_t>(header.lastChange), allocator);
  JVal types(rapidjson::kObjectType);
  for (const auto& type : header.types) {
    types.AddMember(TextValue(type.first, allocator), TextValue(type.second, allocator), allocator);
  }
  output.AddMember("types", types, allocator);
}

int RunBackup(const Tool& tool, const std::string& file) {
  const OrinConfigStore::BackupHeader header = OrinConfigStore::BackupStore(file);
  JDoc output;
  output.SetObject();
  output.AddMember("file", TextValue(file, output.GetAllocator()), output.GetAllocator());
  AddHeader(output, header, output.GetAllocator());
  tool.Printer().Print(output);
  return kSuccess;
}

int RunRestore(const Tool& tool, const std::string& file) {
  const OrinConfigStore::RestoreResult result = OrinConfigStore::RestoreStore(file);
  JDoc output;
  output.SetObject();
  JAllocator& allocator = output.GetAllocator();
  output.AddMember("restored", result.restored, allocator);
  if (result.restored)
    output.AddMember("previous", TextValue(result.previous, allocator), allocator);
  AddHeader(output, result.header, allocator);
  AddCheckReport(output, result.check, allocator);
  tool.Printer().Print(output);
  return result.restored ? kSuccess : kInvalid;
}

}  // namespace

void AddBackupCommands(CLI::App& app, Tool& tool) {
  auto file = std::make_shared<std::string>();
  CLI::App* backup = app.add_subcommand("backup", kBackupHelp);
  backup->add_option("FILE", *file, kFileHelp)->required();
  OnSelected(backup, tool, [&tool, file] { return RunBackup(tool, *file); });
  CLI::App* restore = app.add_subcommand("restore", kRestoreHelp);
  restore->add_option("FILE", *file, kFileHelp)->required();
  OnSelected(restore, tool, [&tool, file] { return RunRestore(tool, *file); });
}

}  // namespace cfgstore
