#ifndef SRC_OBJECTS_MEMBER_SOURCES_H_
#define SRC_OBJECTS_MEMBER_SOURCES_H_

// Where each member of a merged object comes from: the walk behind
// ExplainConfig, on plain JSON values.

#include <utility>
#include <vector>

#include "configstore/explain.h"
#include "configstore/json.h"

namespace OrinConfigStore {

// One source's data (null when the source holds nothing), lowest
// precedence first.
using SourceValues = std::vector<std::pair<ConfigSource, const JVal*>>;

// The leaf members of `merged`, which must be the read's merge of
// `sources` (later sources winning, arrays taken whole), each with the
// source it came from and the lower ones it hides, as ConfigExplanation
// describes them. `defaults` are the type's defaults, nested like the data
// (null when there are none); `instanceKeys` its id map.
std::vector<MemberSource> ExplainMembers(const JVal& merged, const SourceValues& sources,
                                         const JVal* defaults, const JVal& instanceKeys);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_MEMBER_SOURCES_H_
