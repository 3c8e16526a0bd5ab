#include "json_input.h"

#include <configstore/configstore.h>
#include <rapidjson/error/en.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "tool_error.h"

namespace cfgstore {

namespace {

constexpr const char* kStandardInput = "-";
constexpr char kFilePrefix = '@';
constexpr const char* kUnreadable = "Cannot read JSON from ";
constexpr const char* kStandardInputName = "standard input";
constexpr const char* kUnparsable = "Invalid JSON argument: ";
constexpr const char* kAtOffset = " at offset ";
constexpr const char* kNotAnObject = "Invalid JSON argument: expected a JSON object";

std::string ReadStream(std::istream& in) {
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string ReadSource(const std::string& source) {
  if (source == kStandardInput) {
    std::string text = ReadStream(std::cin);
    if (std::cin.bad()) throw UsageError(kUnreadable + std::string(kStandardInputName));
    return text;
  }
  std::ifstream file(source, std::ios::binary);
  if (!file) throw UsageError(kUnreadable + source);
  return ReadStream(file);
}

// Parses with the flags the library's own parser uses, so that text the
// tool accepts is text the library accepts.
OrinConfigStore::JDoc ParseOrThrow(const std::string& text) {
  OrinConfigStore::JDoc document;
  const rapidjson::ParseResult result =
      OrinConfigStore::ParseJsonText(document, text.c_str(), text.size(), true);
  if (result.IsError()) {
    throw JsonArgumentError(kUnparsable + std::string(rapidjson::GetParseError_En(result.Code())) +
                            kAtOffset + std::to_string(result.Offset()));
  }
  return document;
}

std::string ArgumentText(const std::string& argument) {
  if (argument == kStandardInput) return ReadSource(argument);
  if (!argument.empty() && argument[0] == kFilePrefix) return ReadSource(argument.substr(1));
  return argument;
}

}  // namespace

std::string ReadJsonObjectArgument(const std::string& argument) {
  std::string text = ArgumentText(argument);
  if (!ParseOrThrow(text).IsObject()) throw JsonArgumentError(kNotAnObject);
  return text;
}

std::string ReadJsonSource(const std::string& source) {
  std::string text = ReadSource(source);
  ParseOrThrow(text);
  return text;
}

}  // namespace cfgstore
