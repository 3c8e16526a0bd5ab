#include "sql_format.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "configstore/exceptions.h"

namespace OrinConfigStore {

namespace {

constexpr const char* kMissingPart = "Statement template needs more parts";

// Appends `part`, each single quote doubled unless the kind is verbatim;
// the runs between quotes are copied whole.
void AppendPart(std::string& out, std::string_view part, SqlParts kind) {
  if (kind == SqlParts::kQuoted) {
    for (std::size_t quote; (quote = part.find('\'')) != std::string_view::npos;) {
      out.append(part.data(), quote + 1);
      out += '\'';
      part.remove_prefix(quote + 1);
    }
  }
  out.append(part.data(), part.size());
}

// `partAt(index)` is the part of that index, or throws when there is none.
template <typename PartAt>
std::string Format(const char* statementTemplate, const PartAt& partAt, SqlParts kind) {
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
      AppendPart(out, partAt(next++), kind);
      ++c;
    } else {
      char* end = nullptr;
      const long position = std::strtol(c, &end, 10);
      if (position < 1 || end[0] != '$' || end[1] != 's') {
        out += '%';  // not a conversion this formatter knows: kept as written
        continue;
      }
      AppendPart(out, partAt(static_cast<std::size_t>(position - 1)), kind);
      c = end + 2;
    }
  }
  out.append(c);
  return out;
}

template <typename Parts>
std::string_view PartOf(const Parts& parts, std::size_t index) {
  if (index >= parts.size()) throw ConfigStoreException(kMissingPart);
  return *std::next(parts.begin(), static_cast<std::ptrdiff_t>(index));
}

}  // namespace

std::string FormatSql(const char* statementTemplate, const std::vector<std::string>& parts,
                      SqlParts kind) {
  return Format(
      statementTemplate, [&parts](std::size_t index) { return PartOf(parts, index); }, kind);
}

std::string FormatSql(const char* statementTemplate, std::initializer_list<std::string_view> parts,
                      SqlParts kind) {
  return Format(
      statementTemplate, [&parts](std::size_t index) { return PartOf(parts, index); }, kind);
}

}  // namespace OrinConfigStore
