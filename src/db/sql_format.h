#ifndef SRC_DB_SQL_FORMAT_H_
#define SRC_DB_SQL_FORMAT_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace OrinConfigStore {

// Fills a statement template with text parts: "%s" takes the next part,
// "%N$s" the N-th (from 1), "%%" is a percent sign. Every part has each
// single quote doubled, so that a part formatted between quotes stays one
// SQL string whatever it holds: an instance id such as x' OR '1'='1 is
// stored and found as the literal text it is. Parts without quotes come out
// unchanged. A template asking for a part that is not given raises
// ConfigStoreException 2000 "Statement template needs more parts".
//
// kVerbatim puts the parts in as they stand: for parts that are SQL
// themselves (a column expression), written by the library, never values.
enum class SqlParts { kQuoted, kVerbatim };
std::string FormatSql(const char* statementTemplate, const std::vector<std::string>& parts,
                      SqlParts kind = SqlParts::kQuoted);
// The same for parts that are views: a read formats its statement on every
// call, and copying the parts first would cost as much as the formatting.
std::string FormatSql(const char* statementTemplate, std::initializer_list<std::string_view> parts,
                      SqlParts kind = SqlParts::kQuoted);

}  // namespace OrinConfigStore

#endif  // SRC_DB_SQL_FORMAT_H_
