#include "json_output.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <iostream>

namespace cfgstore {

namespace {

constexpr unsigned kPrettyIndent = 2;

template <typename Writer>
std::string Serialize(const OrinConfigStore::JVal& value, Writer& writer,
                      rapidjson::StringBuffer& buffer) {
  value.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace

void JsonPrinter::Print(const OrinConfigStore::JVal& value) const {
  rapidjson::StringBuffer buffer;
  std::string text;
  if (pretty_) {
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', kPrettyIndent);
    text = Serialize(value, writer, buffer);
  } else {
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    text = Serialize(value, writer, buffer);
  }
  std::cout << text << std::endl;
}

void JsonPrinter::PrintText(const std::string& json) const {
  OrinConfigStore::JDoc document;
  // Read as the library reads, so that a printed number is the stored one.
  OrinConfigStore::ParseJsonText(document, json.c_str(), json.size());
  Print(document);
}

OrinConfigStore::JVal ParseValue(const std::string& json, OrinConfigStore::JAllocator& allocator) {
  // Parsed straight into `allocator`, so the value outlives the document.
  OrinConfigStore::JDoc parsed(&allocator);
  OrinConfigStore::ParseJsonText(parsed, json.c_str(), json.size());
  OrinConfigStore::JVal value;
  value.Swap(parsed);
  return value;
}

OrinConfigStore::JVal TextValue(const std::string& text, OrinConfigStore::JAllocator& allocator) {
  return OrinConfigStore::JVal(text.c_str(), static_cast<rapidjson::SizeType>(text.size()),
                               allocator);
}

OrinConfigStore::JDoc DataArray(
    const std::vector<std::shared_ptr<OrinConfigStore::ConfigStoreObject>>& objects) {
  OrinConfigStore::JDoc array;
  array.SetArray();
  for (const auto& object : objects) {
    array.PushBack(ParseValue(object->GetData(), array.GetAllocator()), array.GetAllocator());
  }
  return array;
}

}  // namespace cfgstore
