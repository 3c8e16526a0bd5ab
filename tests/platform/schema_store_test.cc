// The schema store: loading definitions, refusing bad ones whole, what a
// type derives from its schema, and lookups that stay current.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>

#include <filesystem>
#include <fstream>

#include "configstore/provisioning.h"
#include "json/document.h"
#include "platform/schema_database.h"
#include "platform/schema_store.h"
#include "test_support.h"

namespace OrinSchemaStore {
namespace {

using OrinConfigStore::ConfigStoreDocument;
using OrinConfigStore::InvalidArgumentException;

std::string Json(const JVal& value) {
  std::string text;
  ConfigStoreDocument::SerializeValue(value, text);
  return text;
}

std::shared_ptr<SchemaObject> Lookup(const char* component, const char* group, const char* key) {
  return SchemaStore::GetStore()->GetSchemaObject(component, group, key);
}

// A definition of net/test/<key> around `schema`, with extra members.
std::string Definition(const std::string& key, const std::string& schema,
                       const std::string& extra = "") {
  return R"({"component": "net", "group": "test", "key": ")" + key + R"(", "schema": )" + schema +
         (extra.empty() ? "" : ", " + extra) + "}";
}

TEST(SchemaStore, SampleTypesAndWhatTheyDerive) {
  cstest::SampleSchemaRoot root;
  const auto nics = Lookup("net", "interfaces", "nics");
  ASSERT_NE(nics, nullptr);
  EXPECT_TRUE(nics->IsNonSingleton());
  EXPECT_FALSE(nics->IsBootExempt());
  EXPECT_EQ(nics->GetVersion(), "2.0");
  EXPECT_EQ(nics->GetInstanceIdKey(), "name");
  EXPECT_EQ(Json(nics->GetInstanceKeyMap()), R"({"nics":"name","addresses":"address"})");
  // A repeated sub-object's item defaults sit under its key.
  EXPECT_EQ(Json(nics->GetDefaultValue()),
            R"({"mtu":1500,"enabled":true,"addresses":{"prefixLength":24}})");

  const auto resolver = Lookup("net", "dns", "resolver");
  ASSERT_NE(resolver, nullptr);
  EXPECT_FALSE(resolver->IsNonSingleton());
  EXPECT_EQ(resolver->GetInstanceIdKey(), "");
  EXPECT_EQ(Json(resolver->GetInstanceKeyMap()), "{}");
  EXPECT_EQ(Json(resolver->GetDefaultValue()),
            R"({"domain":"localdomain","options":{"timeout":5,"attempts":2,"rotate":false}})");

  EXPECT_TRUE(Lookup("orin", "logging", "syslog")->IsBootExempt());
  EXPECT_TRUE(Lookup("orin", "hardware", "platform")->GetDefaultValue().IsNull());
  EXPECT_EQ(Lookup("net", "dns", "nothing"), nullptr);
  EXPECT_EQ(SchemaStore::GetStore()->GetSchemaObjects().size(), 6u);
}

TEST(SchemaStore, MissingDatabaseKnowsNoTypesAndIsNotCreated) {
  cstest::TempRoot root;
  EXPECT_EQ(Lookup("net", "dns", "resolver"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(SchemaStorePath()));
  InitializeSchemaStore();
  InitializeSchemaStore();  // idempotent
  EXPECT_TRUE(std::filesystem::exists(SchemaStorePath()));
  EXPECT_TRUE(SchemaStore::GetStore()->GetSchemaObjects().empty());
}

TEST(SchemaStore, LookupsSeeLaterLoadsAndOtherWriters) {
  cstest::TempRoot root;
  LoadSchemaDefinition(Definition("a", R"({"type": "object"})", R"("version": "1")"));
  const auto first = Lookup("net", "test", "a");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Lookup("net", "test", "a"), first);    // warm: the same parsed type
  const auto operation = SchemaStore::GetCache();  // one operation's view stays put
  EXPECT_EQ(operation->Get("net", "test", "a"), first);

  LoadSchemaDefinition(Definition("a", R"({"type": "object"})", R"("version": "2")"));
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "2");
  EXPECT_EQ(first->GetVersion(), "1");  // a type already handed out does not change
  EXPECT_EQ(operation->Get("net", "test", "a"), first);

  // Another writer (here: another connection) is seen too, as is a type
  // that was looked up before it existed.
  EXPECT_EQ(Lookup("net", "test", "b"), nullptr);
  auto other = OrinConfigStore::SqliteDb::Open(
      SchemaStorePath(), OrinConfigStore::SqliteDb::Mode::kReadWrite, nullptr);
  ASSERT_TRUE(
      other->Exec("INSERT INTO Schema VALUES('net', 'test', 'b', '9', '{}', 0, 1);", nullptr));
  const auto b = Lookup("net", "test", "b");
  ASSERT_NE(b, nullptr);
  EXPECT_TRUE(b->IsBootExempt());
}

// Once the file has been left alone for a while, lookups trust its
// modification time instead of asking SQLite; a commit still moves the time
// on and is seen at once.
TEST(SchemaStore, ASettledFileStillShowsTheNextCommit) {
  cstest::TempRoot root;
  LoadSchemaDefinition(Definition("a", R"({"type": "object"})", R"("version": "1")"));
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "1");  // opens the journal
  const timespec longAgo[2] = {{0, UTIME_OMIT}, {std::time(nullptr) - 60, 0}};
  for (const std::string& file : {SchemaStorePath(), SchemaStorePath() + "-wal"}) {
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), longAgo, 0), 0) << file;
  }
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "1");
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "1");

  auto other = OrinConfigStore::SqliteDb::Open(
      SchemaStorePath(), OrinConfigStore::SqliteDb::Mode::kReadWrite, nullptr);
  ASSERT_TRUE(other->Exec("UPDATE Schema SET Version = '2';", nullptr));
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "2");
}

TEST(SchemaStore, RefusedDefinitionsStoreNothing) {
  cstest::TempRoot root;
  LoadSchemaDefinition(Definition("kept", R"({"type": "object"})"));
  const std::string prefix = "Invalid schema definition in JSON text: ";
  const std::string second = "definition 2 (net/test/x): ";
  const std::string good = Definition("new", R"({"type": "object"})");
  const std::pair<std::string, std::string> refused[] = {
      {"{", "not valid JSON"},
      {"5", "expected a definition object or an array of them"},
      {R"([{"component": "net", "group": "test", "schema": {}}])",
       "definition 1: \"key\" is missing or not text"},
      {"[" + good + R"(, {"component": "", "group": "g", "key": "k", "schema": {}}])",
       "definition 2: \"component\" is empty"},
      {"[" + good + ", " + Definition("x'y", "{}") + "]", "definition 2: \"key\" contains a quote"},
      {"[" + good + ", " + Definition("x", "{}", R"("nonSingleton": "yes")") + "]",
       second + "\"nonSingleton\" is not a boolean"},
      {"[" + good + ", " + Definition("x", R"({"type": "array"})") + "]",
       second + "\"schema\" must describe a JSON object"},
      {"[" + good + ", " +
           Definition("x", R"({"properties": {"id": {"type": "string"}}})",
                      R"("nonSingleton": true)") +
           "]",
       second + "a non-singleton type needs exactly one top-level property marked "
                "\"instanceId\": true, found 0"},
      {"[" + good + ", " +
           Definition("x", R"({"properties": {"l": {"type": "array", "instanceId": "id",
                                 "items": {"properties": {"name": {}}}}}})") +
           "]",
       second + "property /properties/l names the instance member \"id\" that its items do "
                "not declare"},
      {"[" + good + ", " + Definition("x", R"({"properties": {"n": {"instanceId": 3}}})") + "]",
       second + "property /properties/n has an \"instanceId\" mark that is neither true nor a "
                "member name"},
      {"[" + good + ", " + Definition("x", R"({"vital": "true"})") + "]",
       second + "\"vital\" is not a boolean"},
      {"[" + good + ", " + good + "]", "definition 2 (net/test/new): the type is defined twice"},
  };
  for (const auto& [text, problem] : refused) {
    EXPECT_CS_ERROR(InvalidArgumentException, 2000, prefix + problem, LoadSchemaDefinition(text));
  }
  const auto types = SchemaStore::GetStore()->GetSchemaObjects();
  ASSERT_EQ(types.size(), 1u);
  EXPECT_EQ(types[0]->GetKey(), "kept");
}

TEST(SchemaStore, DefaultsMustFitTheSchema) {
  cstest::TempRoot root;
  const std::string schema =
      R"({"properties": {"id": {"type": "string", "instanceId": true},
                         "mtu": {"type": "integer", "maximum": 9000}}})";
  const std::string prefix = "Invalid schema definition in JSON text: definition 1 (net/test/x): ";
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  prefix + "\"defaultConfig\" of a singleton type must be an object",
                  LoadSchemaDefinition(Definition("x", schema, R"("defaultConfig": [])")));
  EXPECT_CS_ERROR(
      InvalidArgumentException, 2000,
      prefix + "\"defaultConfig\" instance 2 repeats the instance id \"a\"",
      LoadSchemaDefinition(Definition(
          "x", schema, R"("nonSingleton": true, "defaultConfig": [{"id": "a"}, {"id": "a"}])")));
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  prefix + "\"defaultConfig\" instance 1 lacks its instance id \"id\"",
                  LoadSchemaDefinition(Definition(
                      "x", schema, R"("nonSingleton": true, "defaultConfig": [{"mtu": 1}])")));
  try {
    LoadSchemaDefinition(Definition("x", schema, R"("defaultConfig": {"mtu": 9001})"));
    FAIL() << "no exception";
  } catch (const InvalidArgumentException& e) {
    EXPECT_EQ(
        std::string(e.what()).rfind(prefix + "\"defaultConfig\" does not fit the schema: /mtu ", 0),
        0u)
        << e.what();
  }
  EXPECT_TRUE(SchemaStore::GetStore()->GetSchemaObjects().empty());
}

TEST(SchemaStore, MarksBehindReferencesCount) {
  cstest::TempRoot root;
  const std::string nics = R"({"type": "array", "instanceId": "id", "items": {"properties": {
      "id": {"type": "string", "instanceId": true}, "mtu": {"type": "integer", "default": 1500}}}})";
  LoadSchemaDefinition(
      Definition("r", R"({"definitions": {"nic": )" + nics +
                          R"(}, "properties": {"nics": {"$ref": "#/definitions/nic"}}})"));
  const auto type = Lookup("net", "test", "r");
  EXPECT_EQ(Json(type->GetInstanceKeyMap()), R"({"nics":"id"})");
  EXPECT_EQ(Json(type->GetDefaultValue()), R"({"nics":{"mtu":1500}})");
  EXPECT_CS_ERROR(
      InvalidArgumentException, 2000,
      "Invalid schema definition in JSON text: definition 1 (net/test/bad): property "
      "/properties/nics names the instance member \"name\" that its items do not declare",
      LoadSchemaDefinition(Definition(
          "bad", R"({"definitions": {"nic": {"type": "array", "instanceId": "name", "items": {}}},
                     "properties": {"nics": {"$ref": "#/definitions/nic"}}})")));
}

TEST(SchemaStore, AFileWithoutTablesKnowsNoTypesUntilLoaded) {
  cstest::TempRoot root;
  std::filesystem::create_directories(std::filesystem::path(SchemaStorePath()).parent_path());
  std::ofstream(SchemaStorePath()).flush();  // as another process's store looks before its tables
  EXPECT_EQ(Lookup("net", "test", "a"), nullptr);
  LoadSchemaDefinition(Definition("a", "{}"));
  EXPECT_NE(Lookup("net", "test", "a"), nullptr);
}

TEST(SchemaStore, FilesAreNamedInErrors) {
  cstest::TempRoot root;
  const std::string missing = root.Path() + "/none.json";
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  "Invalid schema definition in " + missing + ": the file cannot be read",
                  LoadSchemaFile(missing));
  const std::string bad = root.WriteFile("bad.json", "[1]");
  EXPECT_CS_ERROR(InvalidArgumentException, 2000,
                  "Invalid schema definition in " + bad + ": definition 1: not a JSON object",
                  LoadSchemaFile(bad));
  EXPECT_EQ(LoadSchemaFile(cstest::ExamplePath("schemas/orin.json")), 4u);
}

}  // namespace
}  // namespace OrinSchemaStore
