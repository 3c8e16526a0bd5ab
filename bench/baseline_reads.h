#ifndef BENCH_BASELINE_READS_H_
#define BENCH_BASELINE_READS_H_

// What the read baselines do by hand: one prepared select, a parse of each
// value column and a merge of the layers, on rapidjson directly.

#include <sqlite3.h>

#include <configstore/configstore.h>

namespace bench {

using OrinConfigStore::JAllocator;
using OrinConfigStore::JDoc;
using OrinConfigStore::JVal;

// The baselines' documents draw from small chunks, as the library's do:
// rapidjson's default first chunk of 64 KiB would make the baseline pay
// for heap traffic that the library avoids.
constexpr std::size_t kChunk = 1024;

struct Document {
  JAllocator allocator{kChunk};
  JDoc doc{&allocator};
};

// The baselines' merge: members of later layers replace earlier ones.
inline void HandMerge(JDoc& into, const JVal& layer) {
  for (const auto& member : layer.GetObject()) {
    const auto found = into.FindMember(member.name);
    if (found != into.MemberEnd()) {
      found->value.CopyFrom(member.value, into.GetAllocator());
    } else {
      into.AddMember(JVal(member.name, into.GetAllocator()),
                     JVal(member.value, into.GetAllocator()), into.GetAllocator());
    }
  }
}

// Parses the non-null value columns from `first` on and merges them.
inline void ParseAndMerge(sqlite3_stmt* row, int first, int last, JDoc& merged) {
  merged.SetNull();
  for (int column = first; column <= last; ++column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    if (text == nullptr) continue;
    if (merged.IsNull()) {
      merged.Parse(text);
    } else {
      Document layer;
      layer.doc.Parse(text);
      HandMerge(merged, layer.doc);
    }
  }
}

inline const char* const kSelectOne =
    "SELECT Version, VitalValue, CachedValue, AutoConfValue, UserValue, Success, CreationTime, "
    "ModifiedTime, Revision FROM Config WHERE Name=? AND ConfigGroup=? AND Component=? AND "
    "Identifier=?;";

// One baseline read of the DNS resolver with kSelectOne: bind, step, parse
// and merge its value columns, reset; whether it found an object.
inline bool ReadResolver(sqlite3_stmt* select) {
  sqlite3_bind_text(select, 1, "resolver", -1, SQLITE_STATIC);
  sqlite3_bind_text(select, 2, "dns", -1, SQLITE_STATIC);
  sqlite3_bind_text(select, 3, "net", -1, SQLITE_STATIC);
  sqlite3_bind_text(select, 4, "", -1, SQLITE_STATIC);
  Document merged;
  if (sqlite3_step(select) == SQLITE_ROW) ParseAndMerge(select, 1, 4, merged.doc);
  sqlite3_reset(select);
  return merged.doc.IsObject();
}

}  // namespace bench

#endif  // BENCH_BASELINE_READS_H_
