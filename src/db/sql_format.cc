#include "sql_format.h"

#include <cstdlib>
#include <cstring>

#include "configstore/exceptions.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kMissingPart = "Statement template needs more parts";

void AppendPart(std::string& out, const std::string& part, SqlParts kind) {
  if (kind == SqlParts::kVerbatim) {
    out += part;
    return;
  }
  for (const char c : part) {
    out += c;
    if (c == '\'') out += '\'';
  }
}

const std::string& Part(const std::vector<std::string>& parts, std::size_t index) {
  if (index >= parts.size()) throw ConfigStoreException(kMissingPart);
  return parts[index];
}

}  // namespace

std::string FormatSql(const char* statementTemplate, const std::vector<std::string>& parts,
                      SqlParts kind) {
  std::string out;
  out.reserve(std::strlen(statementTemplate) + 64);
  std::size_t next = 0;
  const char* c = statementTemplate;
  while (const char* percent = std::strchr(c, '%')) {
    out.append(c, percent);
    c = percent + 1;
    if (*c == '%') {
      out += '%';
      ++c;
    } else if (*c == 's') {
      AppendPart(out, Part(parts, next++), kind);
      ++c;
    } else {
      char* end = nullptr;
      const long position = std::strtol(c, &end, 10);
      if (position < 1 || end[0] != '$' || end[1] != 's') {
        out += '%';  // not a conversion this formatter knows: kept as written
        continue;
      }
      AppendPart(out, Part(parts, static_cast<std::size_t>(position - 1)), kind);
      c = end + 2;
    }
  }
  out.append(c);
  return out;
}

}  // namespace OrinConfigStore
