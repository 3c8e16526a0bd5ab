// The database layer: connections and their pool, nested transactions,
// statements and their column names, the key-value table, and other
// writers (one waits for the other, children after fork()).

#include "platform/db_store.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "platform/host.h"
#include "platform/sqlite_db.h"
#include "test_support.h"

namespace DBStore {
namespace {

using Connection = std::shared_ptr<StoreConnection>;
using OrinConfigStore::SqliteDb;

constexpr int kTimeout = kStatementTimeoutMs;
constexpr const char* kTables =
    "CREATE TABLE KVTable(Key TEXT PRIMARY KEY, Value TEXT, CreationTime DATETIME);"
    "CREATE TABLE Items(Name TEXT, Value TEXT, Revision INTEGER DEFAULT 0);";

// The column names, then one line per row ("NULL" for SQL NULL).
int Collect(void* context, int columns, char** values, char** names) {
  auto& out = *static_cast<std::string*>(context);
  const bool first = out.empty();
  for (int i = 0; first && i < columns; ++i) out += std::string(i ? "|" : "") + names[i];
  for (int i = 0; i < columns; ++i) {
    out += std::string(i ? "|" : "\n") + (values[i] ? values[i] : "NULL");
  }
  return 0;
}

int Stop(void*, int, char**, char**) { return 1; }

std::string Query(const Connection& connection, const std::string& sql) {
  std::string out;
  EXPECT_EQ(ExecuteV2(connection, sql, Collect, &out, kTimeout), 0) << sql;
  return out;
}

int Sql(const Connection& connection, const std::string& sql) {
  return ExecuteV2(connection, sql, nullptr, nullptr, kTimeout);
}

// The value of `key`, or "(failed)".
std::string ReadKey(const std::string& key, const Connection& connection = GetConnection(CONFIG)) {
  std::string value = "stale";
  return ReadKeyValue(key, value, connection) == 0 ? value : "(failed)";
}

int Insert(const Connection& connection, const std::string& name, const std::string& value) {
  return Execute(connection, "INSERT INTO Items(Name, Value) VALUES(?, ?);", {name, value}, {},
                 kTimeout);
}

class DBStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CreateDatabase(CONFIG), 0);
    ASSERT_EQ(Sql(GetConnection(CONFIG), kTables), 0);
  }
  cstest::TempRoot root_;
};

// Keys and values are bound as the texts they are: a quote stays, the empty
// text is a key and a value (not NULL). A replaced row keeps its CreationTime.
TEST_F(DBStoreTest, KeyValuesAreBoundAsTextAndSurviveTheConnection) {
  auto connection = GetConnection(CONFIG);
  EXPECT_EQ(Query(connection, "PRAGMA journal_mode; PRAGMA synchronous;"), "journal_mode\nwal\n2");
  ASSERT_EQ(WriteKeyValue("it's", "first", connection), 0);
  ASSERT_EQ(Sql(connection, "UPDATE KVTable SET CreationTime = '2000-01-01';"), 0);
  ASSERT_EQ(WriteKeyValue("it's", "a'b", connection), 0);
  ASSERT_EQ(WriteKeyValue("", "x", connection), 0);
  ASSERT_EQ(WriteKeyValue("", "", connection), 0);
  EXPECT_EQ(ReadKey("it's", connection), "a'b");
  connection.reset();
  EXPECT_EQ(CreateDatabase(CONFIG), 0);  // again: the file and its rows stay
  EXPECT_EQ(
      Query(GetConnection(CONFIG),
            "SELECT group_concat(quote(Key) || quote(Value) || (CreationTime = '2000-01-01') "
            "|| (CreationTime IS NOT NULL), ' ') AS kv FROM (SELECT * FROM KVTable ORDER BY Key);"),
      "kv\n''''01 'it''s''a''b'11");
}

TEST_F(DBStoreTest, PoolHandsOutOnlyFreeCleanConnectionsOfTheCurrentFile) {
  // A temporary table tells the first connection apart from any other.
  auto first = GetConnection(CONFIG);
  ASSERT_EQ(Sql(first, "CREATE TEMP TABLE mark(x);"), 0);
  const auto marked = [] { return Sql(GetConnection(CONFIG), "SELECT * FROM temp.mark;") == 0; };
  EXPECT_FALSE(marked());  // held by `first`
  first.reset();
  EXPECT_TRUE(marked());

  // Released inside a transaction: rolled back and closed, its lock gone.
  first = GetConnection(CONFIG);
  ASSERT_EQ(BeginTransaction(first), 0);
  ASSERT_EQ(Insert(first, "lost", "x"), 0);
  first.reset();
  EXPECT_FALSE(marked());
  auto next = GetConnection(CONFIG);
  EXPECT_EQ(Query(next, "SELECT count(*) AS n FROM Items;"), "n\n0");
  ASSERT_EQ(BeginTransaction(next), 0);
  EXPECT_EQ(CancelTransaction(next), 0);

  // A database left attached does not follow the connection to its next holder.
  ASSERT_EQ(Sql(next, "ATTACH DATABASE ':memory:' AS ss;"), 0);
  next.reset();
  EXPECT_EQ(Sql(GetConnection(CONFIG), "SELECT * FROM ss.sqlite_master;"), 1);

  // The file deleted and created again, and another root (where no file is
  // created): the connections of the file before are not served.
  ASSERT_EQ(WriteKeyValue("k", "old", GetConnection(CONFIG)), 0);
  std::filesystem::remove_all(root_.Path() + "/etc");
  SetUp();
  EXPECT_EQ(ReadKey("k"), "");
  ASSERT_EQ(WriteKeyValue("k", "first", GetConnection(CONFIG)), 0);  // now idle in the pool
  cstest::TempRoot second;
  EXPECT_EQ(GetConnection(CONFIG), nullptr);
  EXPECT_FALSE(std::filesystem::exists(OrinConfigStore::HostPath(kConfigDatabaseFile)));
  SetUp();
  EXPECT_EQ(ReadKey("k"), "");
}

TEST_F(DBStoreTest, ThreadsNeverShareAConnection) {
  std::mutex mutex;
  std::set<StoreConnection*> held;
  std::atomic<int> shared{0};
  const auto work = [&] {
    for (int i = 0; i < 200; ++i) {
      auto connection = GetConnection(CONFIG);
      std::unique_lock<std::mutex> lock(mutex);
      shared += held.insert(connection.get()).second ? 0 : 1;
      lock.unlock();
      EXPECT_EQ(ReadKey("k", connection), "");
      lock.lock();
      held.erase(connection.get());
    }
  };
  std::thread first(work), second(work);
  work();
  first.join();
  second.join();
  EXPECT_EQ(shared, 0);
}

// Inner levels are savepoints: cancelled alone, released into the outermost.
TEST_F(DBStoreTest, TransactionsNestAndALostOneBlocks) {
  auto connection = GetConnection(CONFIG);
  ASSERT_EQ(BeginTransaction(connection), 0);
  ASSERT_EQ(Insert(connection, "outer", "1"), 0);
  ASSERT_EQ(BeginTransaction(connection), 0);
  ASSERT_EQ(Insert(connection, "inner", "2"), 0);
  EXPECT_EQ(CancelTransaction(connection), 1);
  ASSERT_EQ(BeginTransaction(connection), 0);
  ASSERT_EQ(Insert(connection, "kept", "3"), 0);
  EXPECT_EQ(CommitTransaction(connection), 0);
  const auto others = [] {
    return Query(GetConnection(CONFIG), "SELECT group_concat(Name) AS n FROM Items;");
  };
  EXPECT_EQ(others(), "n\nNULL");  // not committed yet
  EXPECT_EQ(CommitTransaction(connection), 0);
  EXPECT_EQ(others(), "n\nouter,kept");
  EXPECT_EQ(CommitTransaction(connection), 1);  // none open
  EXPECT_EQ(CancelTransaction(connection), 2);

  // A transaction SQLite dropped under its levels: nothing runs until they close.
  ASSERT_EQ(BeginTransaction(connection), 0);
  ASSERT_EQ(BeginTransaction(connection), 0);
  ASSERT_EQ(Sql(connection, "ROLLBACK;"), 0);
  EXPECT_EQ(Insert(connection, "alone", "x"), 1);
  EXPECT_EQ(BeginTransaction(connection), 1);
  EXPECT_EQ(CommitTransaction(connection), 1);
  EXPECT_EQ(CancelTransaction(connection), 1);
  EXPECT_EQ(CancelTransaction(connection), 0);
  EXPECT_EQ(Insert(connection, "alone", "x"), 0);
}

// Values bind in order, then the integers; an empty text binds NULL. Several
// statements run in turn; a table column is named as declared, whatever case
// the statement used. Cached statements: one run again from its own row
// callback, and one stopped on a row, neither disturbs the other runs nor
// pins an old snapshot.
TEST_F(DBStoreTest, StatementsBindNameTheirColumnsAndAreResetAfterEveryRun) {
  auto connection = GetConnection(CONFIG);
  const std::string insert = "INSERT INTO Items(Name, Value, Revision) VALUES(?, ?, ?);";
  ASSERT_EQ(Execute(connection, insert, {"a", ""}, {7}, kTimeout), 0);
  ASSERT_EQ(Execute(connection, insert, {"b"}, {}, kTimeout), 0);
  EXPECT_EQ(Query(connection, "SELECT name, value AS VALUE, revision, name AS n FROM items;"),
            "Name|Value|Revision|n\na|NULL|7|a\nb|NULL|NULL|b");
  ASSERT_EQ(Sql(connection, "UPDATE Items SET Value = 'x'; UPDATE Items SET Revision = 9;"), 0);
  EXPECT_EQ(Query(connection, "SELECT Value, Revision FROM Items LIMIT 1;"), "Value|Revision\nx|9");
  // Failures: in preparing, binding, a later statement.
  EXPECT_EQ(Sql(connection, "SELECT * FROM Missing;"), 1);
  EXPECT_EQ(Execute(connection, "SELECT ?;", {"a", "b"}, {}, kTimeout), 1);
  EXPECT_EQ(Sql(connection, "SELECT 1; SELECT * FROM Missing;"), 1);

  struct Visit {
    Connection connection;
    int rows = 0;
  } visit{connection};
  const auto nested = [](void* context, int, char**, char**) {
    auto& v = *static_cast<Visit*>(context);
    ++v.rows;
    std::string inner;
    ExecuteV2(v.connection, "SELECT Name FROM Items;", Collect, &inner, kTimeout);
    return inner == "Name\na\nb" ? 0 : 1;
  };
  EXPECT_EQ(ExecuteV2(connection, "SELECT Name FROM Items;", nested, &visit, kTimeout), 0);
  EXPECT_EQ(visit.rows, 2);
  EXPECT_EQ(ExecuteV2(connection, "SELECT Name FROM Items;", Stop, nullptr, kTimeout), 1);
  ASSERT_EQ(Insert(GetConnection(CONFIG), "c", "3"), 0);
  EXPECT_EQ(Query(connection, "SELECT Name FROM Items;"), "Name\na\nb\nc");
}

// Rows read in place give the texts ExecuteV2 gives, numbers as SQLite
// converts them, and each statement of a text its own names.
TEST_F(DBStoreTest, RowsVisitedInPlaceReadAsTheirTexts) {
  auto connection = GetConnection(CONFIG);
  ASSERT_EQ(Sql(connection,
                "INSERT INTO Items VALUES('a', 'x', 7), ('b', NULL, NULL), ('c', 'z', '12x');"),
            0);
  struct Seen {
    std::string texts;
    std::vector<long long> numbers;
    std::set<char**> nameArrays;
    std::string holdsSeven;
  } seen;
  const auto visit = [](void* context, const StatementRow& row) {
    auto& out = *static_cast<Seen*>(context);
    out.nameArrays.insert(row.Names());
    out.texts += "\n";
    for (int i = 0; i < row.Columns(); ++i) {
      const char* text = row.Text(i);
      out.texts += std::string(i ? "|" : "") + row.Names()[i] + "=" + (text ? text : "NULL");
    }
    out.holdsSeven += row.HoldsInteger(row.Columns() - 1, 7) ? '1' : '0';
    out.numbers.push_back(row.Integer(row.Columns() - 1));
    return 0;
  };
  const std::string two = "SELECT name, Value, revision FROM Items; SELECT Name AS n FROM Items;";
  EXPECT_EQ(VisitRows(connection, two, visit, &seen, kTimeout), 0);
  EXPECT_EQ(seen.texts,
            "\nName=a|Value=x|Revision=7\nName=b|Value=NULL|Revision=NULL"
            "\nName=c|Value=z|Revision=12x\nn=a\nn=b\nn=c");
  EXPECT_EQ(seen.numbers, (std::vector<long long>{7, 0, 12, 0, 0, 0}));
  EXPECT_EQ(seen.nameArrays.size(), 2u);
  EXPECT_EQ(seen.holdsSeven, "100000");

  const auto stop = [](void*, const StatementRow&) { return 1; };
  EXPECT_EQ(VisitRows(connection, "SELECT Name FROM Items;", stop, nullptr, kTimeout), 1);
  EXPECT_EQ(VisitRows(nullptr, "SELECT 1;", visit, &seen, kTimeout), 1);
}

// The outermost level begins IMMEDIATE: a second writer waits for the first
// to commit (within the busy timeout), then sees its write.
TEST_F(DBStoreTest, AWriterWaitsForTheOtherToCommit) {
  auto first = GetConnection(CONFIG);
  ASSERT_EQ(BeginTransaction(first), 0);
  ASSERT_EQ(WriteKeyValue("owner", "first", first), 0);
  std::thread committer([&first] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(CommitTransaction(first), 0);
  });
  auto second = GetConnection(CONFIG);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(BeginTransaction(second), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(250));
  EXPECT_EQ(CommitTransaction(second), 0);
  committer.join();
}

// A writer whose turn never comes gives up once its timeout has passed, with
// SQLite's busy failure, and the holder's transaction goes on undisturbed.
TEST_F(DBStoreTest, AWriterGivesUpAtItsDeadline) {
  auto first = GetConnection(CONFIG);
  ASSERT_EQ(BeginTransaction(first), 0);
  ASSERT_EQ(Insert(first, "first", "1"), 0);
  auto second = GetConnection(CONFIG);
  const cstest::LogCapture log;
  EXPECT_EQ(Execute(second, "INSERT INTO Items(Name) VALUES('second');", {}, {}, 50), 1);
  const auto& lines = log.Lines();
  EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const auto& line) {
    return line.first == 0 && line.second.find("database is locked") != std::string::npos;
  }));
  EXPECT_EQ(CommitTransaction(first), 0);
  EXPECT_EQ(Insert(second, "second", "2"), 0);
  EXPECT_EQ(Query(second, "SELECT group_concat(Name) AS n FROM Items;"), "n\nfirst,second");
}

// The daemon pattern: a process uses the layer, forks and exits. Its child
// must hold real file locks of its own, or the last other process to close
// the database checkpoints and removes the journal that the child's later
// commits go to.
TEST(DBStoreFork, ChildOutlivingItsParentKeepsItsCommits) {
  cstest::TempRoot root;
  int channel[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, channel), 0);
  const pid_t parent = fork();
  ASSERT_GE(parent, 0);
  if (parent == 0) {
    if (CreateDatabase(CONFIG) != 0 || Sql(GetConnection(CONFIG), kTables) != 0) _exit(2);
    auto held = GetConnection(CONFIG);
    if (WriteKeyValue("parent", "0", GetConnection(CONFIG)) != 0) _exit(2);
    const pid_t self = getpid();
    if (fork() != 0) _exit(0);
    while (getppid() == self) usleep(1000);
    char signal = 0;
    if (WriteKeyValue("inherited", "1", held) != 0 ||
        WriteKeyValue("own", "2", GetConnection(CONFIG)) != 0 || write(channel[1], "a", 1) != 1 ||
        read(channel[1], &signal, 1) != 1) {
      _exit(2);
    }
    _exit(WriteKeyValue("later", "3", GetConnection(CONFIG)) == 0 ? 0 : 3);
  }
  close(channel[1]);
  int status = 0;
  ASSERT_EQ(waitpid(parent, &status, 0), parent);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  char signal = 0;
  ASSERT_EQ(read(channel[0], &signal, 1), 1);  // the child has written
  // Another process opens and closes the database while the child lives.
  SqliteDb::Open(OrinConfigStore::HostPath(kConfigDatabaseFile), SqliteDb::Mode::kReadWrite,
                 nullptr)
      ->Exec("SELECT count(*) FROM KVTable;", nullptr);
  ASSERT_EQ(write(channel[0], "g", 1), 1);
  EXPECT_EQ(read(channel[0], &signal, 1), 0);  // the child has exited
  EXPECT_EQ(Query(GetConnection(CONFIG),
                  "SELECT group_concat(Key) AS k FROM (SELECT Key FROM KVTable ORDER BY Key);"),
            "k\ninherited,later,own,parent");
  close(channel[0]);
}

// A child forked in the middle of the parent's transaction must leave it
// alone: rolling it back in the child would rewrite the journal index the
// parent still works from. The child gets no connection instead.
TEST_F(DBStoreTest, AChildForkedInATransactionCannotDisturbIt) {
  auto connection = GetConnection(CONFIG);
  ASSERT_EQ(BeginTransaction(connection), 0);
  const std::string large(3000, 'x');  // enough rows to spill past SQLite's page cache
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(Insert(connection, std::to_string(i), large), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const bool refused = GetConnection(CONFIG) == nullptr &&
                         WriteKeyValue("child", "1", connection) == 1 &&
                         CancelTransaction(connection) != 0;
    connection.reset();  // released inside the transaction, but not rolled back
    _exit(refused ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  ASSERT_EQ(Insert(connection, "after", "y"), 0);
  ASSERT_EQ(CommitTransaction(connection), 0);
  EXPECT_EQ(Query(connection, "PRAGMA integrity_check;"), "integrity_check\nok");
  EXPECT_EQ(Query(connection, "SELECT count(*) FROM Items;"), "count(*)\n1001");
}

// What a process that may not write the database (nor its directory) reads,
// in a child that drops its rights: 0 when it reads `expected` and its write
// fails as read-only, with that recorded as the thread's last failure.
int ReadWithoutWritePermission(const std::string& root, const std::string& expected) {
  const pid_t child = fork();
  if (child == 0) {
    // Root passes every permission check: the child takes a user that has
    // only the group's read access.
    if (geteuid() == 0) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (chown(entry.path().c_str(), 0, 65534) != 0) _exit(2);
      }
      if (chown(root.c_str(), 0, 65534) != 0 || chmod(root.c_str(), 0750) != 0 ||
          setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0) {
        _exit(2);
      }
    }
    const auto reader = GetConnection(CONFIG);
    const bool read = reader && ReadKey("k", reader) == expected;
    const bool refused = WriteKeyValue("k", "new", reader) == 1 && LastFailure().code == 8;
    _exit(read && refused ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The files are never world-readable. A reader without write permission
// reads through the -wal and -shm that writers keep, beside an open writer
// whose commits are still in the log, and on a restored copy without them.
TEST_F(DBStoreTest, ReadersWithoutWritePermissionReadEveryState) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to take another user's rights";
  const std::string path = OrinConfigStore::HostPath(kConfigDatabaseFile);
  ASSERT_EQ(WriteKeyValue("k", "kept", GetConnection(CONFIG)), 0);
  for (const std::string& file : {path, path + "-wal", path + "-shm"}) {
    EXPECT_EQ(std::filesystem::status(file).permissions() & std::filesystem::perms::all,
              std::filesystem::perms(0640))
        << file;
  }
  EXPECT_EQ(ReadWithoutWritePermission(root_.Path(), "kept"), 0);
  auto writer = GetConnection(CONFIG);
  ASSERT_EQ(WriteKeyValue("k", "logged", writer), 0);
  EXPECT_EQ(ReadWithoutWritePermission(root_.Path(), "logged"), 0);
  ASSERT_EQ(Sql(writer, "PRAGMA wal_checkpoint(TRUNCATE);"), 0);
  writer.reset();
  ASSERT_TRUE(std::filesystem::remove(path + "-wal") && std::filesystem::remove(path + "-shm"));
  EXPECT_EQ(ReadWithoutWritePermission(root_.Path(), "logged"), 0);
}

}  // namespace
}  // namespace DBStore
