// The schema store: reading and refusing definitions, what a type derives
// from its schema, and lookups that stay current. (The description of the
// stored types: CfgstoreTest.SchemaListLeavesTheSchemasToShow.)

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

using OrinConfigStore::ConfigStoreException;
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

TEST(SchemaStore, WhatATypeDerivesFromItsSchema) {
  cstest::TempRoot root;
  cstest::LoadTypes(Definition("nics", R"({"properties": {
      "name": {"type": "string", "instanceId": true}, "mtu": {"type": "integer", "default": 1500},
      "offload": {"properties": {"tso": {"default": true}, "gro": {}}},
      "addresses": {"$ref": "#/definitions/list"}}, "definitions": {"list": {"type": "array",
      "instanceId": "address", "items": {"properties": {"address": {"type": "string"},
      "prefix": {"type": "integer", "default": 24}}}}}})",
                               R"("nonSingleton": true)"));
  const auto nics = Lookup("net", "test", "nics");
  ASSERT_NE(nics, nullptr);
  EXPECT_EQ(nics->GetInstanceIdKey(), "name");
  EXPECT_EQ(SerializeJson(nics->GetInstanceKeyMap()), R"({"nics":"name","addresses":"address"})");
  // A repeated sub-object's item defaults sit under its key.
  EXPECT_EQ(SerializeJson(nics->GetDefaultValue()),
            R"({"mtu":1500,"offload":{"tso":true},"addresses":{"prefix":24}})");
}

// One row per check; the "defaultConfig" checks validate with the strict
// members (tag 1) among others.
TEST(SchemaDefinitions, RefusedWithTheFirstProblem) {
  const std::string good = Definition("new", R"({"type": "object"})");
  const auto second = [&](const std::string& key, const std::string& schema,
                          const std::string& extra = "") {
    return "[" + good + ", " + Definition(key, schema, extra) + "]";
  };
  const std::string x = "definition 2 (net/test/x): ";
  const std::string fields = R"({"properties": {"id": {"type": "string", "instanceId": true}}})";
  const std::pair<std::string, std::string> refused[] = {
      {"{", "not valid JSON"},
      {second("x", R"({"type": "object", "type": "array"})"),
       "duplicate member \"type\" at /1/schema/type"},
      {second("x'y", "{}"), "definition 2: \"key\" contains a quote"},
      {second("x", R"({"type": "array"})"), x + "\"schema\" must describe a JSON object"},
      {second("x", R"({"properties": {"id": {}}})", R"("nonSingleton": true)"),
       x + "a non-singleton type needs exactly one top-level property marked \"instanceId\": "
           "true, found 0"},
      {second("x", R"({"properties": {"l": {"instanceId": "id", "items": {}}}})"),
       x + "property /properties/l names the instance member \"id\" that its items do not "
           "declare"},
      {second("x", R"({"properties": {"n": {"instanceId": 3}}})"),
       x + "property /properties/n has an \"instanceId\" mark that is neither true nor a member "
           "name"},
      {second("new", "{}"), "definition 2 (net/test/new): the type is defined twice"},
      {second("x", fields, R"("defaultConfig": {"mtu": 1})"),
       x + "\"defaultConfig\" does not fit the schema: /mtu member is not allowed by the schema"},
      {second("x", fields, R"("nonSingleton": true, "defaultConfig": [{"id": "a"}, {"id": "a"}])"),
       x + "\"defaultConfig\" instance 2 repeats the instance id \"a\""},
      {second("x", fields, R"("nonSingleton": true, "defaultConfig": [{}])"),
       x + "\"defaultConfig\" instance 1 lacks its instance id \"id\""},
  };
  for (const auto& [text, problem] : refused) {
    EXPECT_CS_ERROR(InvalidArgumentException, 2000, "Invalid schema definition in src: " + problem,
                    ReadSchemaDefinitions(text, "src"));
  }
}

// A missing store is not created by a lookup; an empty file (another
// process's store before its tables) knows no types until loaded.
TEST(SchemaStore, MissingOrEmptyStoreKnowsNoTypes) {
  cstest::TempRoot root;
  EXPECT_EQ(Lookup("net", "test", "a"), nullptr);
  EXPECT_FALSE(std::filesystem::exists(SchemaStorePath()));
  const std::string unreadable = "Schema store unreadable: " + SchemaStorePath() + ": ";
  EXPECT_CS_ERROR(ConfigStoreException, 2000, unreadable + "the file does not exist",
                  SchemaStore::GetStore()->RequireSchemaStore());
  std::filesystem::create_directories(std::filesystem::path(SchemaStorePath()).parent_path());
  std::ofstream(SchemaStorePath()).flush();
  EXPECT_EQ(Lookup("net", "test", "a"), nullptr);
  InitializeSchemaStore();
  InitializeSchemaStore();  // idempotent
  EXPECT_TRUE(SchemaStore::GetStore()->GetSchemaObjects().empty());
  cstest::LoadTypes(Version("1"));
  EXPECT_NE(Lookup("net", "test", "a"), nullptr);
  // A store that is there but cannot be read is a failure, not an absence.
  cstest::TempRoot other;
  other.WriteFile(SchemaStorePath().substr(other.Path().size() + 1), std::string(4096, 'x'));
  EXPECT_CS_ERROR(ConfigStoreException, 2000,
                  "Schema store unreadable: " + SchemaStorePath() + ": file is not a database",
                  Lookup("net", "test", "a"));
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
  ASSERT_NE(Lookup("net", "test", "b"), nullptr);
  EXPECT_TRUE(Lookup("net", "test", "b")->IsBootExempt());

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

// A load by another process is seen by the very next lookup, however warm
// the cache and however recently the files changed.
TEST(SchemaStore, ALoadByAnotherProcessIsSeenByTheNextLookup) {
  cstest::TempRoot root;
  cstest::LoadTypes(Version("1"));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), "1");
  for (const char* version : {"2", "3"}) {
    const pid_t loader = fork();
    if (loader == 0) {
      cstest::LoadTypes(Version(version));
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(loader, &status, 0), loader);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(Lookup("net", "test", "a")->GetVersion(), version);
  }
}

}  // namespace
}  // namespace OrinSchemaStore
