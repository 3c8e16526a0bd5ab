// The writers: each fills its own source, keeps the other columns, the
// creation time and the revision count, and resets exactly what it names;
// and the split of an object's data into its sources by the schema's marks.

#include <gtest/gtest.h>

#include "configstore/host.h"
#include "configstore/provisioning.h"
#include "database_root.h"
#include "db/config_writes.h"
#include "db/source_split.h"
#include "json/document.h"
#include "objects/config_store_object_internal.h"
#include "platform/db_store.h"

namespace OrinConfigStore {
namespace {

const ConfigStoreObjectId kNics("nics", "interfaces", "net");
using Rows = std::vector<std::string>;

// Rows nic1 to nic4 with every source and a desired value, not applied,
// revision 5, created at the start of 2026.
class ConfigWritesTest : public ::testing::Test {
 protected:
  ConfigWritesTest() {
    for (const char* nic : {"nic1", "nic2", "nic3", "nic4"}) {
      db_.Insert({"net", "interfaces", "nics", nic, R"({"a":1})", R"({"u":1})", R"({"v":1})",
                  R"({"c":1})", R"({"d":1})", "0", "1.0", "5"});
    }
  }
  static std::shared_ptr<ConfigStoreObject> Nic(const char* instance, const char* json) {
    return CreateObject(ConfigStoreObjectId("nics", "interfaces", "net", instance), json);
  }
  // Each row as "id auto user vital cached desired success revision", "-"
  // for NULL.
  Rows Table() {
    Rows rows = db_.Rows(
        "SELECT Identifier||' '||ifnull(AutoConfValue,'-')||' '||ifnull(UserValue,'-')||' '||"
        "ifnull(VitalValue,'-')||' '||ifnull(CachedValue,'-')||' '||ifnull(DesiredValue,'-')||' '||"
        "Success||' '||Revision AS r FROM Config ORDER BY Identifier;");
    for (auto& row : rows) row.erase(0, 2);
    return rows;
  }
  Rows Kept() { return db_.Rows("SELECT DISTINCT CreationTime, Version FROM Config;"); }

  cstest::DatabaseRoot db_;
  Connection connection_ = DBStore::GetConnection(DBStore::CONFIG);
  SchemaPtr schema_ = LookupSchema(kNics);
};

// The user writer resets the desired value and the success flag; during an
// upgrade it keeps the flag (a new row gets 0).
TEST_F(ConfigWritesTest, PerSourceWritersFillTheirColumnAndKeepTheRest) {
  WriteVitalConfigInstances({Nic("nic1", R"({"v":2})")}, connection_, "2.0");
  WriteCachedConfigInstances({Nic("nic2", R"({"c":2})")}, connection_, "2.0");
  WriteAutoConfConfigInstances({Nic("nic3", R"({"a":2})")}, connection_, "2.0");
  WriteUserConfigInstances({Nic("nic4", R"({"u":2})")}, connection_, "2.0");
  WriteVitalConfigInstances({}, connection_);  // nothing to write
  EXPECT_EQ(Kept(), Rows{"CreationTime=2026-01-01 00:00:00, Version=2.0"});
  SetUpgradeCtx(true);
  WriteUserConfigInstances({Nic("nic3", R"({"u":3})"), Nic("nic9", "{}")}, connection_);
  SetUpgradeCtx(false);
  EXPECT_EQ(Table(),
            (Rows{R"(nic1 {"a":1} {"u":1} {"v":2,"name":"nic1"} {"c":1} {"d":1} 0 6)",
                  R"(nic2 {"a":1} {"u":1} {"v":1} {"c":2,"name":"nic2"} {"d":1} 0 6)",
                  R"(nic3 {"a":2,"name":"nic3"} {"u":3,"name":"nic3"} {"v":1} {"c":1} - 0 7)",
                  R"(nic4 {"a":1} {"u":2,"name":"nic4"} {"v":1} {"c":1} - 1 6)",
                  R"(nic9 - {"name":"nic9"} - - - 0 1)"}));
}

// A complete write splits the object by the schema's marks and replaces
// every source; the context writers choose their statement.
TEST_F(ConfigWritesTest, CompleteAndContextWrites) {
  const char* data = R"({"mtu":9,"macAddress":"m"})";
  SetInternal(Nic("nic1", data), schema_, EXTERNAL, connection_);
  UpdateByContextInternal(Nic("nic2", data), schema_, UPDATE_AUTOMATIC, connection_);
  UpdateByContextInternal(Nic("nic3", data), schema_, UPDATE_USER_DROP_DESIRED, connection_);
  SetByContextInternal(Nic("nic4", data), schema_, UPDATE_AUTOMATIC, connection_);
  SetByContextInternal(Nic("nic8", data), schema_, UPDATE_USER_KEEP_SUCCESS, connection_);
  SetInstancesInternal({Nic("nic9", data)}, schema_, INTERNAL, connection_);
  EXPECT_EQ(
      Table(),
      (Rows{
          R"(nic1 - {"mtu":9,"name":"nic1"} {"macAddress":"m","name":"nic1"} - - 1 6)",
          R"(nic2 {"mtu":9,"name":"nic2"} {"u":1} {"macAddress":"m","name":"nic2"} - {"d":1} 0 6)",
          R"(nic3 {"a":1} {"mtu":9,"name":"nic3"} {"macAddress":"m","name":"nic3"} - - 0 6)",
          R"(nic4 {"mtu":9,"name":"nic4"} {"u":1} {"macAddress":"m","name":"nic4"} - - 0 6)",
          R"(nic8 - {"mtu":9,"name":"nic8"} {"macAddress":"m","name":"nic8"} - - 1 1)",
          R"(nic9 {"mtu":9,"name":"nic9"} - {"macAddress":"m","name":"nic9"} - - 1 1)"}));
}

TEST_F(ConfigWritesTest, DeletesAndTheirFailures) {
  const ConfigStoreObjectId nic1("nics", "interfaces", "net", "nic1");
  DeleteVitalConfigInstances(kNics, connection_);
  DeleteInternal(nic1, connection_);
  EXPECT_EQ(db_.Rows("SELECT group_concat(Identifier) AS ids, count(VitalValue) AS v FROM Config;"),
            Rows{"ids=nic2,nic3,nic4, v=0"});
  DeleteInstancesInternal(kNics, connection_);
  EXPECT_TRUE(Table().empty());
  db_.Sql("DROP TABLE Config;");
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Delete failed: comp net grp interfaces key nics id nic1",
                  DeleteInternal(nic1, connection_));
  EXPECT_CS_ERROR(ConfigStoreException, 2000, "Write config instances failed",
                  WriteUserConfigInstances({Nic("nic1", "{}")}, connection_));
}

// Every update touches the modified time; the revision counts updates of
// the source columns, one step per statement. Initialising again restores a
// missing trigger and keeps the rows.
TEST_F(ConfigWritesTest, TriggersKeepRevisionAndModifiedTime) {
  db_.Sql("DROP TRIGGER updateModifiedTime; UPDATE Config SET ModifiedTime='2000-01-01';");
  InitializeDatabase();
  db_.Sql(
      "UPDATE Config SET UserValue=UserValue WHERE Identifier='nic1';"  // the same text counts
      "UPDATE Config SET DesiredValue='{}' WHERE Identifier='nic2';"
      "UPDATE Config SET AutoConfValue='{}', VitalValue='{}' WHERE Identifier='nic3';"
      "UPDATE Config SET CachedValue='{}' WHERE Identifier='nic4';");
  EXPECT_EQ(db_.Rows("SELECT group_concat(Identifier || ':' || Revision || ':' || "
                     "(ModifiedTime > '2000-01-01'), ' ') AS r FROM Config;"),
            Rows{"r=nic1:6:1 nic2:5:1 nic3:6:1 nic4:6:1"});
}

JDoc Parse(const char* text) {
  JDoc doc;
  doc.Parse(text);
  return doc;
}

std::string Part(const char* data, const JDoc& schema, ValueSource source) {
  const auto part = SplitBySource(Parse(data), schema, source);
  if (!part) return "none";
  std::string text;
  ConfigStoreDocument::SerializeValue(*part, text);
  return text;
}

const JDoc kSchema = Parse(R"({"properties": {
    "name": {"type": "string", "instanceId": true},
    "mtu": {"type": "integer"},
    "mac": {"type": "string", "vital": true},
    "nested": {"type": "object", "properties": {"a": {}, "v": {"vital": true}}},
    "list": {"type": "array", "instanceId": "id", "items": {"properties": {
        "id": {"instanceId": true}, "u": {}, "c": {"cached": true}}}}}})");

TEST(SourceSplit, EachMemberGoesToItsSource) {
  const char* data = R"({"name": "nic1", "mtu": 9000, "mac": "aa", "nested": {"a": 1, "v": 2},
                         "list": [{"id": "p", "u": 1, "c": 2}, {"id": "q", "u": 3}]})";
  EXPECT_EQ(
      Part(data, kSchema, ValueSource::kUser),
      R"({"name":"nic1","mtu":9000,"nested":{"a":1},"list":[{"id":"p","u":1},{"id":"q","u":3}]})");
  EXPECT_EQ(Part(data, kSchema, ValueSource::kVital),
            R"({"name":"nic1","mac":"aa","nested":{"v":2}})");
  EXPECT_EQ(Part(data, kSchema, ValueSource::kCached),
            R"({"name":"nic1","list":[{"id":"p","c":2}]})");
  // The texts of all three parts come from one walk, the same parts; a part
  // holding nothing but ids is empty.
  const std::vector<std::string> texts = SplitTexts(Parse(data), kSchema);
  for (const ValueSource source : {ValueSource::kUser, ValueSource::kVital, ValueSource::kCached}) {
    EXPECT_EQ(texts[static_cast<std::size_t>(source)], Part(data, kSchema, source));
  }
  EXPECT_EQ(SplitTexts(Parse(R"({"name": "nic1", "list": [{"id": "p"}]})"), kSchema),
            (std::vector<std::string>{R"({"name":"nic1","list":[{"id":"p"}]})", "", ""}));
}

// A mark at the top covers the whole type.
TEST(SourceSplit, AMarkAtTheTopCoversTheWholeType) {
  const JDoc cached = Parse(R"({"cached": true, "properties": {"a": {}, "b": {}}})");
  EXPECT_EQ(Part(R"({"a": 1, "b": 2})", cached, ValueSource::kCached), R"({"a":1,"b":2})");
  EXPECT_EQ(Part(R"({"a": 1, "b": 2})", cached, ValueSource::kUser), "none");
}

}  // namespace
}  // namespace OrinConfigStore
