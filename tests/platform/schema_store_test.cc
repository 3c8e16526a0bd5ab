// The schema store: reading and refusing definitions, what a type derives
// from its schema, the description of the stored types, and lookups that
// stay current.

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

using OrinConfigStore::InvalidArgumentException;
using OrinConfigStore::SerializeJson;

std::shared_ptr<SchemaObject> Lookup(const char* component, const char* group, const char* key) {
  return SchemaStore::GetStore()->GetSchemaObject(component, group, key);
}

// A definition of net/test/<key> around `schema`, with extra members.
std::string Definition(const std::string& key, const std::string& schema,
                       const std::string& extra = "") {
  return R"({"component": "net", "group": "test", "key": ")" + key + R"(", "schema": )" + schema +
         (extra.empty() ? "" : ", " + extra) + "}";
}

std::string Version(const std::string& version) {
  return Definition("a", R"({"type": "object"})", R"("version": ")" + version + "\"");
}

// Version and flags: DescribeSchemas.EveryStoredTypeInOrder.
TEST(SchemaStore, WhatATypeDerivesFromItsSchema) {
  cstest::TempRoot root;
  cstest::LoadTypes(R"([
    {"component": "net", "group": "test", "key": "nics", "nonSingleton": true, "schema": {
     "definitions": {"list": {"type": "array", "instanceId": "address", "items": {"properties": {
       "address": {"type": "string"}, "prefix": {"type": "integer", "default": 24}}}}},
     "properties": {"name": {"type": "string", "instanceId": true},
                    "mtu": {"type": "integer", "default": 1500},
                    "offload": {"properties": {"tso": {"default": true}, "gro": {}}},
                    "addresses": {"$ref": "#/definitions/list"}}}},
    {"component": "net", "group": "test", "key": "plain", "schema": {"properties": {"a": {}}}}])");
  const auto nics = Lookup("net", "test", "nics");
  ASSERT_NE(nics, nullptr);
  EXPECT_EQ(nics->GetInstanceIdKey(), "name");
  EXPECT_EQ(SerializeJson(nics->GetInstanceKeyMap()), R"({"nics":"name","addresses":"address"})");
  // A repeated sub-object's item defaults sit under its key.
  EXPECT_EQ(SerializeJson(nics->GetDefaultValue()),
            R"({"mtu":1500,"offload":{"tso":true},"addresses":{"prefix":24}})");
  const auto plain = Lookup("net", "test", "plain");
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(plain->GetInstanceIdKey(), "");
  EXPECT_EQ(SerializeJson(plain->GetInstanceKeyMap()), "{}");
  EXPECT_TRUE(plain->GetDefaultValue().IsNull());
  EXPECT_EQ(Lookup("net", "test", "nothing"), nullptr);
}

TEST(SchemaDefinitions, RefusedWithTheFirstProblem) {
  const std::string good = Definition("new", R"({"type": "object"})");
  const auto withGood = [&](const std::string& definition) {
    return "[" + good + ", " + definition + "]";
  };
  const std::string second = "definition 2 (net/test/x): ";
  const std::string fields =
      R"({"properties": {"id": {"type": "string", "instanceId": true},
                         "mtu": {"type": "integer", "maximum": 9000}}})";
  const std::string many = R"("nonSingleton": true, "defaultConfig": )";
  const std::pair<std::string, std::string> refused[] = {
      {"{", "not valid JSON"},
      {"5", "expected a definition object or an array of them"},
      {"[1]", "definition 1: not a JSON object"},
      {R"([{"component": "net", "group": "test", "schema": {}}])",
       "definition 1: \"key\" is missing or not text"},
      {withGood(R"({"component": "", "group": "g", "key": "k", "schema": {}})"),
       "definition 2: \"component\" is empty"},
      {withGood(Definition("x'y", "{}")), "definition 2: \"key\" contains a quote"},
      {withGood(Definition("x", "{}", R"("nonSingleton": "yes")")),
       second + "\"nonSingleton\" is not a boolean"},
      {withGood(Definition("x", R"({"type": "array"})")),
       second + "\"schema\" must describe a JSON object"},
      {withGood(Definition("x", R"({"properties": {"id": {"type": "string"}}})",
                           R"("nonSingleton": true)")),
       second + "a non-singleton type needs exactly one top-level property marked "
                "\"instanceId\": true, found 0"},
      {withGood(Definition("x", R"({"properties": {"l": {"type": "array", "instanceId": "id",
                                    "items": {"properties": {"name": {}}}}}})")),
       second + "property /properties/l names the instance member \"id\" that its items do "
                "not declare"},
      {withGood(Definition("x", R"({"definitions": {"l": {"type": "array", "instanceId": "id",
                                    "items": {}}}, "properties": {"l": {"$ref": "#/definitions/l"}}})")),
       second + "property /properties/l names the instance member \"id\" that its items do "
                "not declare"},
      {withGood(Definition("x", R"({"properties": {"n": {"instanceId": 3}}})")),
       second + "property /properties/n has an \"instanceId\" mark that is neither true nor a "
                "member name"},
      {withGood(Definition("x", R"({"vital": "true"})")), second + "\"vital\" is not a boolean"},
      {withGood(good), "definition 2 (net/test/new): the type is defined twice"},
      {withGood(Definition("x", fields, R"("defaultConfig": [])")),
       second + "\"defaultConfig\" of a singleton type must be an object"},
      {withGood(Definition("x", fields, many + R"([{"id": "a"}, {"id": "a"}])")),
       second + "\"defaultConfig\" instance 2 repeats the instance id \"a\""},
      {withGood(Definition("x", fields, many + R"([{"mtu": 1}])")),
       second + "\"defaultConfig\" instance 1 lacks its instance id \"id\""},
  };
  for (const auto& [text, problem] : refused) {
    EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Invalid schema definition in src: " + problem,
                    ReadSchemaDefinitions(text, "src"));
  }
  try {
    ReadSchemaDefinitions(withGood(Definition("x", fields, R"("defaultConfig": {"mtu": 9001})")),
                          "src");
    FAIL() << "no exception";
  } catch (const InvalidArgumentException& e) {
    const std::string start = "Invalid schema definition in src: " + second +
                              "\"defaultConfig\" does not fit the schema: /mtu ";
    EXPECT_EQ(std::string(e.what()).rfind(start, 0), 0u) << e.what();
  }
}

// In order of component, then group, then key.
TEST(DescribeSchemas, EveryStoredTypeInOrder) {
  cstest::TempRoot root;
  EXPECT_EQ(SerializeJson(DescribeSchemas()->GetDocument()), "[]");
  cstest::LoadTypes(R"([
    {"component": "orin", "group": "a", "key": "a", "schema": {}},
    {"component": "net", "group": "c", "key": "a", "version": "1", "bootExempt": true,
     "schema": {"type": "object"}},
    {"component": "net", "group": "b", "key": "z", "version": "2", "nonSingleton": true,
     "schema": {"properties": {"id": {"instanceId": true}}}}])");
  EXPECT_EQ(SerializeJson(DescribeSchemas()->GetDocument()),
            R"([{"component":"net","group":"b","key":"z","version":"2","nonSingleton":true,)"
            R"("bootExempt":false,"schema":{"properties":{"id":{"instanceId":true}}}},)"
            R"({"component":"net","group":"c","key":"a","version":"1","nonSingleton":false,)"
            R"("bootExempt":true,"schema":{"type":"object"}},)"
            R"({"component":"orin","group":"a","key":"a","version":"","nonSingleton":false,)"
            R"("bootExempt":false,"schema":{}}])");
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

TEST(SchemaStore, AFileWithoutTablesKnowsNoTypesUntilLoaded) {
  cstest::TempRoot root;
  std::filesystem::create_directories(std::filesystem::path(SchemaStorePath()).parent_path());
  std::ofstream(SchemaStorePath()).flush();  // as another process's store looks before its tables
  EXPECT_EQ(Lookup("net", "test", "a"), nullptr);
  cstest::LoadTypes(Version("1"));
  EXPECT_NE(Lookup("net", "test", "a"), nullptr);
}

TEST(SchemaStore, LookupsSeeLaterLoadsAndOtherWriters) {
  cstest::TempRoot root;
  cstest::LoadTypes(Version("1"));
  const auto first = Lookup("net", "test", "a");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Lookup("net", "test", "a"), first);    // warm: the same parsed type
  const auto operation = SchemaStore::GetCache();  // one operation's view stays put
  EXPECT_EQ(operation->Get("net", "test", "a"), first);

  cstest::LoadTypes(Version("2"));
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

  // Once the file has been left alone for a while, lookups trust its
  // modification time instead of asking SQLite; a commit still moves the
  // time on and is seen at once.
  const timespec longAgo[2] = {{0, UTIME_OMIT}, {std::time(nullptr) - 60, 0}};
  for (const std::string& file : {SchemaStorePath(), SchemaStorePath() + "-wal"}) {
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), longAgo, 0), 0) << file;
  }
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "2");
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "2");
  ASSERT_TRUE(other->Exec("UPDATE Schema SET Version = '3';", nullptr));
  EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "3");
}

}  // namespace
}  // namespace OrinSchemaStore
