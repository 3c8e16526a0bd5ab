#include "database_root.h"

#include "configstore/provisioning.h"
#include "platform/db_store.h"

namespace cstest {

DatabaseRoot::DatabaseRoot() {
  OrinConfigStore::InitializeDatabase();
  OrinSchemaStore::LoadSchemaFile(ExamplePath("schemas/net.json"));
  OrinSchemaStore::LoadSchemaFile(ExamplePath("schemas/orin.json"));
}

void DatabaseRoot::Sql(const std::string& statements) const {
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  ASSERT_TRUE(connection);
  ASSERT_EQ(
      DBStore::ExecuteV2(connection, statements, nullptr, nullptr, DBStore::kStatementTimeoutMs), 0)
      << statements;
}

std::vector<std::string> DatabaseRoot::Rows(const std::string& query) const {
  std::vector<std::string> rows;
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  EXPECT_EQ(DBStore::ExecuteV2(
                connection, query,
                [](void* context, int columns, char** values, char** names) {
                  std::string row;
                  for (int i = 0; i < columns; ++i) {
                    row += (i ? ", " : "") + std::string(names[i]) + "=" +
                           (values[i] ? values[i] : "NULL");
                  }
                  static_cast<std::vector<std::string>*>(context)->push_back(row);
                  return 0;
                },
                &rows, DBStore::kStatementTimeoutMs),
            0)
      << query;
  return rows;
}

void DatabaseRoot::Insert(const ConfigRow& row) const {
  const auto connection = DBStore::GetConnection(DBStore::CONFIG);
  ASSERT_EQ(DBStore::Execute(connection,
                             "INSERT INTO Config(Component, ConfigGroup, Name, Identifier, "
                             "AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue, "
                             "Success, Version, Revision, CreationTime) VALUES(?, ?, ?, "
                             "coalesce(?, ''), ?, ?, ?, ?, ?, ?, ?, ?, '2026-01-01 00:00:00');",
                             {row.component, row.group, row.name, row.identifier, row.autoValue,
                              row.userValue, row.vitalValue, row.cachedValue, row.desiredValue,
                              row.success, row.version, row.revision},
                             {}, DBStore::kStatementTimeoutMs),
            0);
}

}  // namespace cstest
