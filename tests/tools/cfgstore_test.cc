// The command-line tool as its users meet it: the real binary, run as a process on a
// scratch host root of its own, judged by its standard output, standard error and exit
// status. What the store does with the data is the library suites' business.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kSocketName = "tslLocalSocketWardenNotifyNexa";
constexpr const char* kAllowlist = "root/usr/lib/tessel/configmanager/notify-list/allowlist.json";

// A scratch directory: the working directory of the processes a test starts, with
// their standard streams, and the host root "root" with the sample schemas.
class CfgstoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EXPECT_EQ(Ok({"init"}), "");
    EXPECT_EQ(Ok({"schema", "load", CONFIGSTORE_EXAMPLES_DIR "/schemas/net.json",
                  CONFIGSTORE_EXAMPLES_DIR "/schemas/orin.json"}),
              "{\"loaded\":6}\n");
  }
  void TearDown() override { fs::remove_all(dir_); }

  // A shell command that runs the tool in the scratch directory for at most 20 seconds.
  // Neither the directory nor the arguments hold a single quote.
  std::string Command(const std::vector<std::string>& args) const {
    std::string command = "cd '" + dir_ + "' && timeout 20 " CFGSTORE_TOOL " --root root";
    for (const std::string& arg : args) command += " '" + arg + "'";
    return command;
  }
  // Runs the tool to its end: the exit status, with the output in out_ and err_.
  int Run(const std::vector<std::string>& args, const std::string& input = "") {
    Write("in", input);
    const int status = system((Command(args) + " <in >out 2>err").c_str());
    out_ = Read("out");
    err_ = Read("err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  // Expects success, with nothing on standard error, and returns standard output.
  std::string Ok(const std::vector<std::string>& args, const std::string& input = "") {
    EXPECT_EQ(Run(args, input), 0) << err_;
    EXPECT_EQ(err_, "");
    return out_;
  }

  std::string Write(const std::string& name, const std::string& content) const {
    fs::create_directories(fs::path(dir_ + "/" + name).parent_path());
    std::ofstream(dir_ + "/" + name) << content;
    return dir_ + "/" + name;
  }
  std::string Read(const std::string& name) const {
    return {std::istreambuf_iterator<char>(std::ifstream(dir_ + "/" + name).rdbuf()), {}};
  }
  // Whether the file is there, or appears within 20 seconds.
  bool Appears(const std::string& name) const {
    for (int i = 0; i < 2000 && !fs::exists(dir_ + "/" + name); ++i) usleep(10000);
    return fs::exists(dir_ + "/" + name);
  }

  std::string pattern_ = (fs::temp_directory_path() / "cfgstore-test-XXXXXX").string();
  const std::string dir_ = mkdtemp(pattern_.data());
  std::string out_, err_;  // of the last run
};

// Each command reaches its library call with its arguments and prints the
// result as one line of JSON; writes print nothing. The steps run in order.
TEST_F(CfgstoreTest, CommandsPassTheirArgumentsOnAndPrintTheResult) {
  const std::string resolver = "net/dns/resolver", nics = "net/interfaces/nics";
  const std::string options = "orin/kernix/options",
                    desired = R"({"bootDelay":3,"console":"com1"})";
  const struct {
    std::vector<std::string> args;
    std::string out = "";  // without its newline
    std::string input = "";
  } steps[] = {
      // JSON from a file or standard input. --context internal writes the
      // automatic value, which the user's (written by default) outranks.
      {{"set", resolver, "@" + Write("user.json", R"({"domain":"a.b"})")}},
      {{"set", resolver, R"({"domain":"auto"})", "--context", "internal"}},
      {{"update", resolver, "-"}, "", R"({"servers":["10.0.0.2"]})"},
      {{"get", resolver}, R"({"domain":"a.b","servers":["10.0.0.2"]})"},
      {{"validate", resolver, R"({"servers":["10.0.0.1"]})"}, "[]"},
      {{"set", nics + "/nic1", R"({"mtu":9000})"}},
      {{"set", nics + "/nic2", R"({"mtu":1500})"}},
      {{"delete", resolver}},
      {{"export", resolver}, "{}"},  // neither the deleted object nor the other types
      {{"import", Write("import.json", R"({"net":{"dns":{"resolver":{"domain":"c.d"}}}})")}},
      // --pretty indents, also given after the command.
      {{"get", resolver, "--pretty"}, "{\n  \"domain\": \"c.d\"\n}"},
      // Without an instance id, a non-singleton type names all its instances.
      {{"revision", nics}, R"({"nic1":1,"nic2":1})"},
      {{"revision", nics + "/nic2"}, "1"},
      {{"list", nics, "--filter", R"({"mtu":1500})"}, R"([{"mtu":1500,"name":"nic2"}])"},
      {{"list", nics, "--default"},
       R"([{"name":"nic0","network":"backend","mtu":1500,"enabled":true}])"},
      {{"delete", nics, "--filter", R"({"mtu":9000})"}},
      {{"ids", nics}, R"(["nic2"])"},
      {{"set", options, R"({"bootDelay":3})"}},
      {{"boot", "kernel-options", "--update", R"({"console":"com1"})"}, desired},
      {{"boot", "desired", options}, desired},
      {{"boot", "apply", options}},
      {{"get", options}, desired},
      {{"boot", "state"}, "false"},
  };
  for (const auto& step : steps) {
    EXPECT_EQ(Ok(step.args, step.input), step.out.empty() ? "" : step.out + "\n")
        << step.args[0] << ' ' << step.args.back();
  }
  // The list leaves the schemas to `schema show`.
  const std::string type = R"({"component":"net","group":"dns","key":"resolver","version":"1.2",)"
                           R"("nonSingleton":false,"bootExempt":false)";
  EXPECT_EQ(Ok({"schema", "list"}).rfind("[" + type + "},{", 0), 0u) << out_;
  EXPECT_EQ(Ok({"schema", "show", resolver}).rfind(type + ",\"schema\":{", 0), 0u) << out_;
}

// A failure is one line on standard error, {"error":{"code":N,"message":...}},
// and nothing on standard output.
TEST_F(CfgstoreTest, ExitStatusAndErrorLineTellOutcomesApart) {
  const std::string resolver = "net/dns/resolver", nic1 = "net/interfaces/nics/nic1";
  const std::string platform = "orin/hardware/platform", serial = R"({"serialNumber":"SN1"})";
  const struct {
    std::vector<std::string> args;
    int status;
    int code;
  } cases[] = {
      {{"--help"}, 0, 0},
      {{"get", resolver, "--default"}, 0, 0},
      {{"get", resolver}, 1, 1036},
      {{"revision", resolver}, 1, 1036},
      {{"boot", "desired", "orin/kernix/options"}, 1, 1036},
      {{"get", "net/nothing/here"}, 1, 1037},
      {{"schema", "show", "net/interfaces/nothing"}, 1, 1037},
      {{"kv", "get", "NOTIFY_WARDEN"}, 1, 1031},
      {{"frobnicate"}, 2, 1100},
      {{"get", "net/dns"}, 2, 1100},
      {{"set", resolver, "{bad"}, 2, 1080},
      {{"set", resolver, "[1]"}, 2, 1080},
      {{"set", resolver, "@missing.json"}, 2, 1100},
      {{"set", nic1, R"({"name":"nic2"})"}, 2, 1100},
      {{"delete", resolver, "--filter", "{}"}, 2, 1100},
      {{"set", nic1, R"({"mtu":99999})"}, 3, 1087},
      {{"set", nic1 + "/x", "{}"}, 3, 1087},  // the instance id "nic1/x" fails its pattern
      // --source picks the store call, and each call refuses what is not its own.
      {{"set", platform, serial}, 3, 1087},
      {{"set", platform, serial, "--source", "cached"}, 3, 1084},
      {{"set", platform, serial, "--source", "vital"}, 0, 0},
      {{"set", platform, R"({"serialNumber":"SN2","assetTag":"A"})", "--source", "all"}, 0, 0},
      {{"schema", "load", Write("bad.json", "{}")}, 4, 2000},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args.back());
    EXPECT_EQ(Run(c.args), c.status) << err_;
    if (c.status == 0) continue;
    const std::string start = "{\"error\":{\"code\":" + std::to_string(c.code) + ",\"message\":\"";
    EXPECT_EQ(err_.rfind(start, 0), 0u) << err_;
    EXPECT_EQ(err_.find('\n'), err_.size() - 1) << "one line: " << err_;
    EXPECT_EQ(out_, "");
  }
  // A validation failure lists its errors; `validate` prints them as its result.
  Run({"set", nic1, R"({"mtu":99999})"});
  EXPECT_NE(err_.find(R"(","errors":[{"field":"/mtu","error":")"), std::string::npos) << err_;
  EXPECT_EQ(Run({"validate", resolver, R"({"servers":[1]})"}), 3);
  EXPECT_EQ(out_.rfind(R"([{"field":"/servers/0","error":")", 0), 0u) << out_;
}

// A database other writers hold past the wait is status 5, and the error
// line carries the database's cause. A schema store that cannot be read, or
// that is missing under an export, is a failure, never an absence of types.
TEST_F(CfgstoreTest, BusyDatabasesAndBrokenSchemaStoresSayWhy) {
  const std::string resolver = "net/dns/resolver";
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open((dir_ + "/root/etc/tessel/configstore/current-store-1").c_str(), &holder),
            SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(Run({"set", resolver, "{}"}), 5);
  EXPECT_NE(err_.find(R"(","cause":{"code":5,"message":"database is locked"}}})"),
            std::string::npos)
      << err_;
  sqlite3_close(holder);  // rolls the transaction back
  const std::string store = "root/etc/tessel/schemastore/schema-store-1";
  for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(dir_ + "/" + store + suffix);
  EXPECT_EQ(Run({"export"}), 4);
  EXPECT_NE(err_.find(": the file does not exist\"}}"), std::string::npos) << err_;
  Write(store, std::string(4096, 'x'));
  const std::vector<std::vector<std::string>> reads = {
      {"get", resolver}, {"set", resolver, "{}"}, {"export"}};
  for (const auto& args : reads) {
    EXPECT_EQ(Run(args), 4) << args[0];
    EXPECT_NE(err_.find("Schema store unreadable: "), std::string::npos) << err_;
    EXPECT_NE(err_.find(": file is not a database\"}}"), std::string::npos) << err_;
  }
}

// check: 0 on a healthy store, 3 with the findings listed, 4 without a
// store to read.
TEST_F(CfgstoreTest, CheckTellsAHealthyStoreFromADamagedOne) {
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":9000})"});
  EXPECT_EQ(Ok({"check"}), "{\"objects\":1,\"problems\":[]}\n");
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open((dir_ + "/root/etc/tessel/configstore/current-store-1").c_str(), &db),
            SQLITE_OK);
  ASSERT_EQ(
      sqlite3_exec(db, "UPDATE Config SET UserValue='{\"mtu\":1}';", nullptr, nullptr, nullptr),
      SQLITE_OK);
  sqlite3_close(db);
  EXPECT_EQ(Run({"check"}), 3);
  EXPECT_EQ(
      out_.substr(0, 91),
      R"({"objects":1,"problems":[{"kind":"invalid","id":"net/interfaces/nics/nic1","source":"user",)");
  fs::remove_all(dir_ + "/root/etc/tessel/configstore");
  EXPECT_EQ(Run({"check"}), 4);
}

// A new type version that the stored objects would not fit is refused by
// both schema check and schema load (exit status 3); its migration makes it
// loadable.
TEST_F(CfgstoreTest, SchemaCheckAndLoadRefuseAVersionTheObjectsDoNotFit) {
  Ok({"set", "net/dns/resolver", R"({"searchDomains":["lab.example"]})"});
  std::ifstream file(CONFIGSTORE_EXAMPLES_DIR "/schemas/upgrades/net-dns-resolver-2.0.json");
  const std::string upgrade{std::istreambuf_iterator<char>(file), {}};
  const std::string bare =
      Write("bare.json", upgrade.substr(0, upgrade.find(",\n  \"migrations\"")) + "}");
  EXPECT_EQ(Run({"schema", "check", bare}), 3);
  EXPECT_NE(out_.find(R"("id":"net/dns/resolver","source":"user")"), std::string::npos) << out_;
  EXPECT_EQ(Run({"schema", "load", bare}), 3);
  EXPECT_NE(err_.find("net/dns/resolver user /searchDomains"), std::string::npos) << err_;
  Ok({"schema", "load", CONFIGSTORE_EXAMPLES_DIR "/schemas/upgrades/net-dns-resolver-2.0.json"});
  EXPECT_EQ(Ok({"get", "net/dns/resolver"}),
            "{\"search\":[\"lab.example\"],\"options\":{\"ndots\":1}}\n");
}

// A restore answers 0 when it replaced the store, 3 when it refused the
// file, 4 when there is no file to read.
TEST_F(CfgstoreTest, BackupAndRestoreTellTheirOutcomeByExitStatus) {
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":1500})"});
  EXPECT_NE(Ok({"backup", "b"}).find(R"("types":{"net/dns/resolver":"1.2")"), std::string::npos);
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":9000})"});
  EXPECT_EQ(Ok({"restore", "b"}).substr(0, 16), R"({"restored":true)");
  EXPECT_EQ(Ok({"get", "net/interfaces/nics/nic1"}), "{\"mtu\":1500,\"name\":\"nic1\"}\n");
  Write("b", "not a backup");
  EXPECT_EQ(Run({"restore", "b"}), 3);
  EXPECT_NE(out_.find(R"("kind":"damaged")"), std::string::npos) << out_;
  EXPECT_EQ(Run({"restore", "missing"}), 4);
}

// A lone listener prints the notification on one line, --pretty or not, and ends
// after --count, removing its socket; a second listener is refused.
TEST_F(CfgstoreTest, WatchPrintsANotificationAsTheOnlyListener) {
  Ok({"kv", "set", "NOTIFY_WARDEN", "true"});
  Write(kAllowlist, R"(["net.dns.resolver"])");
  const std::string watch = Command({"watch", "--count", "1", "--pretty"});
  ASSERT_EQ(system(("(" + watch + " >watch 2>&1; echo $? >rc; mv rc status) &").c_str()), 0);
  ASSERT_TRUE(Appears(kSocketName));
  EXPECT_EQ(Run({"watch"}), 4);
  EXPECT_NE(err_.find("Another listener"), std::string::npos) << err_;
  Ok({"set", "net/dns/resolver", R"({"domain":"a.b"})"});
  ASSERT_TRUE(Appears("status"));
  EXPECT_EQ(Read("status"), "0\n");
  const std::string out = Read("watch");
  EXPECT_EQ(out.rfind(R"({"method":"invoke",)", 0), 0u) << out;
  EXPECT_NE(out.find(R"("identifiers":["net.dns.resolver"])"), std::string::npos);
  EXPECT_EQ(out.find('\n'), out.size() - 1) << out;
  EXPECT_FALSE(fs::exists(dir_ + "/" + kSocketName));
}

// get --explain names each member's source beside the merged object; a
// usage error beside --default or --desired, not found like get.
TEST_F(CfgstoreTest, GetExplainNamesTheSourceOfEachMember) {
  const std::string nic1 = "net/interfaces/nics/nic1";
  Ok({"set", nic1, R"({"network":"backend","mtu":1500})", "--context", "internal"});
  Ok({"set", nic1, R"({"mtu":9000})"});
  Ok({"set", nic1, R"({"macAddress":"02:00:00:00:00:01"})", "--source", "vital"});
  const std::string data = Ok({"get", nic1});
  const std::string explained = Ok({"get", nic1, "--explain"});
  EXPECT_EQ(explained.rfind(R"({"data":)" + data.substr(0, data.size() - 1) + R"(,"members":[)", 0),
            0u)
      << explained;
  for (const char* member :
       {R"({"pointer":"/macAddress","value":"02:00:00:00:00:01","source":"vital","overrides":[]})",
        R"({"pointer":"/network","value":"backend","source":"automatic","overrides":[]})",
        R"({"pointer":"/mtu","value":9000,"source":"user","overrides":["automatic","default"]})",
        R"({"pointer":"/enabled","value":true,"source":"default","overrides":[]})"}) {
    EXPECT_NE(explained.find(member), std::string::npos) << member << " in " << explained;
  }
  EXPECT_EQ(Run({"get", nic1, "--explain", "--default"}), 2);
  EXPECT_EQ(Run({"get", "net/interfaces/nics/nic2", "--explain"}), 1);
}

// diff prints the drift of the store from a document: [] and status 0 for
// the store's own export, the drift of each object and status 3 otherwise.
TEST_F(CfgstoreTest, DiffPrintsTheDriftFromADocument) {
  Ok({"set", "net/dns/resolver", R"({"domain":"example.org","options":{"timeout":5}})"});
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":9000})"});
  Write("host.json", Ok({"export"}));
  EXPECT_EQ(Ok({"diff", "host.json"}), "[]\n");
  const std::string desired = R"({"net":{"dns":{"resolver":{"domain":"lab.example",)"
                              R"("options":{"timeout":5,"rotate":true}}},)"
                              R"("interfaces":{"nics":[{"name":"nic2"}]}}})";
  EXPECT_EQ(Run({"diff", "-"}, desired), 3) << err_;
  EXPECT_EQ(out_, R"([{"id":"net/dns/resolver","operation":"SET",)"
                  R"("drift":{"domain":"lab.example","options":{"rotate":"ADD"}}},)"
                  R"({"id":"net/interfaces/nics/nic1","operation":"DELETE",)"
                  R"("drift":{"mtu":"DELETE","name":"DELETE"}},)"
                  R"({"id":"net/interfaces/nics/nic2","operation":"ADD","drift":{"name":"ADD"}}])"
                  "\n");
  EXPECT_EQ(err_, "");
  // A document the store refuses says so on standard error only.
  EXPECT_EQ(Run({"diff", "-"}, R"({"net":{"dns":{"nothing":{}}}})"), 3);
  EXPECT_EQ(out_, "");
  EXPECT_EQ(err_.rfind(R"({"error":{"code":2000,"message":"Drift document failed validation",)", 0),
            0u)
      << err_;
  EXPECT_EQ(Run({"diff", "-"}, "{"), 2);
}

// The history of an object newest first with a patch per changed source; a
// write at a stale revision exits 5 and changes nothing; a rollback prints
// the revision it made and is itself in the feed.
TEST_F(CfgstoreTest, HistoryConditionalWritesAndRollback) {
  const std::string nic1 = "net/interfaces/nics/nic1";
  Ok({"set", nic1, R"({"mtu":1500})", "--if-revision", "-1"});
  Ok({"update", nic1, R"({"mtu":9000})", "--if-revision", "1"});
  EXPECT_EQ(Run({"set", nic1, R"({"mtu":1})", "--if-revision", "1"}), 5);
  EXPECT_NE(err_.find(": expected revision 1, stored revision 2\"}}"), std::string::npos) << err_;
  EXPECT_EQ(Run({"delete", nic1, "--if-revision", "3"}), 5);
  const std::string latest = Ok({"history", nic1, "--limit", "1"});
  EXPECT_NE(latest.find(R"("change":"update","revision":2,"changes":[{"source":"user","patch":)"
                        R"([{"op":"replace","path":"/mtu","value":9000}],)"
                        R"("old":{"mtu":1500,"name":"nic1"},"new":{"name":"nic1","mtu":9000}}]}])"),
            std::string::npos)
      << latest;
  EXPECT_EQ(Ok({"rollback", nic1, "--to-revision", "1"}), "{\"revision\":3}\n");
  EXPECT_EQ(Ok({"get", nic1}), "{\"mtu\":1500,\"name\":\"nic1\"}\n");
  EXPECT_EQ(Run({"rollback", nic1, "--to-revision", "7"}), 4);
  EXPECT_NE(err_.find(" is not in the change history\"}}"), std::string::npos) << err_;
  const std::string feed = Ok({"history", "--since", "1"});
  EXPECT_EQ(feed.rfind(R"([{"sequence":2,)", 0), 0u) << feed;
  EXPECT_NE(feed.find(R"({"sequence":3,)"), std::string::npos) << feed;
  EXPECT_EQ(feed.find(R"({"sequence":4,)"), std::string::npos) << feed;
}

// Two processes write one object at the revision both read: each round one
// wins and the other exits 5, and the winner's value is what stays.
TEST_F(CfgstoreTest, RacingConditionalWritersOneWinsEachRound) {
  const std::string nic1 = "net/interfaces/nics/nic1";
  Ok({"set", nic1, R"({"mtu":1000})"});
  for (int round = 1; round <= 10; ++round) {
    SCOPED_TRACE(round);
    const std::string revision = std::to_string(round);
    std::string race;
    for (const char* writer : {"1", "2"}) {
      race += "(" +
              Command({"set", nic1, std::string(R"({"mtu":100)") + writer + "}", "--if-revision",
                       revision}) +
              " >/dev/null 2>&1; echo $? >status" + writer + ") & ";
    }
    ASSERT_EQ(system((race + "wait").c_str()), 0);
    const std::string first = Read("status1"), second = Read("status2");
    ASSERT_TRUE((first == "0\n" && second == "5\n") || (first == "5\n" && second == "0\n"))
        << first << second;
    const std::string winner = first == "0\n" ? "1" : "2";
    EXPECT_EQ(Ok({"get", nic1}), "{\"mtu\":100" + winner + ",\"name\":\"nic1\"}\n");
    EXPECT_EQ(Ok({"revision", nic1}), std::to_string(round + 1) + "\n");
  }
  const std::string records = Ok({"history", nic1});
  std::size_t count = 0;
  for (std::size_t at = 0; (at = records.find("\"sequence\":", at)) != std::string::npos; ++at) {
    ++count;
  }
  EXPECT_EQ(count, 11u);
}

}  // namespace
