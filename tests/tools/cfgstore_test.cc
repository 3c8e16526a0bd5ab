// The command-line tool as its users meet it: the real binary, run as a process on a
// scratch host root of its own, judged by its standard output, standard error and exit
// status. What the store does with the data is the library suites' business.

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kSocketName = "tslLocalSocketWardenNotifyNexa";
constexpr const char* kAllowlist = "root/usr/lib/tessel/configmanager/notify-list/allowlist.json";

// Polls until `done` holds; false when it still does not after 20 seconds.
template <typename Condition>
bool Eventually(Condition done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

// Connects to the Unix socket at `path` and leaves without a word, as a readiness probe
// does; or binds it and closes it unused, as a killed listener leaves it. Whether it worked.
bool ProbeSocket(const std::string& path, bool bindOnly = false) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const auto* at = reinterpret_cast<const sockaddr*>(&address);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  const bool done =
      (bindOnly ? bind(fd, at, sizeof(address)) : connect(fd, at, sizeof(address))) == 0;
  close(fd);
  return done;
}

// A scratch directory: the working directory of the processes a test starts,
// with their standard streams, and the host root "root" with the sample schemas.
class CfgstoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EXPECT_EQ(Ok({"init"}), "");
    EXPECT_EQ(Ok({"schema", "load", CONFIGSTORE_EXAMPLES_DIR "/schemas/net.json",
                  CONFIGSTORE_EXAMPLES_DIR "/schemas/orin.json"}),
              "{\"loaded\":6}\n");
  }
  // Processes that a failed assertion left running are not left behind.
  void TearDown() override {
    for (const pid_t pid : running_) kill(pid, SIGKILL);
    while (waitpid(-1, nullptr, 0) > 0) continue;
    fs::remove_all(dir_);
  }

  // Starts the tool on the host root `root` under the scratch directory.
  pid_t Start(std::vector<std::string> args, const std::string& input = "",
              const std::string& root = "root") {
    const std::string in = Write("in" + std::to_string(++runs_), input);
    args.insert(args.begin(), {CFGSTORE_TOOL, "--root", Path(root)});
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    fflush(nullptr);  // or the child's freopen writes out the test's pending output again
    const pid_t pid = fork();
    if (pid == 0) {
      const std::string out = Path(std::to_string(getpid()));
      if (chdir(dir_.c_str()) == 0 && freopen(in.c_str(), "r", stdin) &&
          freopen(out.c_str(), "w", stdout) && freopen((out + ".err").c_str(), "w", stderr)) {
        execv(CFGSTORE_TOOL, argv.data());
      }
      _exit(127);
    }
    if (pid > 0) running_.insert(pid);
    return pid;
  }
  // Waits for the exit and returns the exit status, the output in out_ and
  // err_; a process that does not end fails the test.
  int Finish(pid_t pid) {
    int status = 0;
    if (pid <= 0 || !Eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; })) {
      ADD_FAILURE() << "cfgstore did not end";
      return -1;
    }
    running_.erase(pid);
    out_ = Read(std::to_string(pid));
    err_ = Read(std::to_string(pid) + ".err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  int Run(std::vector<std::string> args, const std::string& input = "") {
    return Finish(Start(std::move(args), input));
  }
  // Expects success, with nothing on standard error, and returns standard output.
  std::string Ok(std::vector<std::string> args, const std::string& input = "") {
    EXPECT_EQ(Run(std::move(args), input), 0) << err_;
    EXPECT_EQ(err_, "");
    return out_;
  }

  std::string Path(const std::string& relative) const { return dir_ + "/" + relative; }
  std::string Write(const std::string& relative, const std::string& content) const {
    fs::create_directories(fs::path(Path(relative)).parent_path());
    std::ofstream(Path(relative)) << content;
    return Path(relative);
  }
  std::string Read(const std::string& relative) const {
    return {std::istreambuf_iterator<char>(std::ifstream(Path(relative)).rdbuf()), {}};
  }

  std::string pattern_ = (fs::temp_directory_path() / "cfgstore-test-XXXXXX").string();
  const std::string dir_ = mkdtemp(pattern_.data());
  std::set<pid_t> running_;
  int runs_ = 0;
  std::string out_;  // of the last process to finish
  std::string err_;
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
      {{"export"}, R"({"net":{"dns":{"resolver":{"domain":"a.b","servers":["10.0.0.2"]}}}})"},
      {{"delete", resolver}},
      {{"import", Write("import.json", R"({"net":{"dns":{"resolver":{"domain":"c.d"}}}})")}},
      {{"get", resolver}, R"({"domain":"c.d"})"},
      // --pretty indents, also given after the command.
      {{"get", resolver, "--pretty"}, "{\n  \"domain\": \"c.d\"\n}"},
      // Without an instance id, a non-singleton type names all its instances.
      {{"set", nics + "/nic1", R"({"mtu":9000})"}},
      {{"set", nics + "/nic2", R"({"mtu":1500})"}},
      {{"export", resolver}, R"({"net":{"dns":{"resolver":{"domain":"c.d"}}}})"},
      {{"revision", nics}, R"({"nic1":1,"nic2":1})"},
      {{"revision", nics + "/nic2"}, "1"},
      {{"list", nics, "--filter", R"({"mtu":1500})"}, R"([{"mtu":1500,"name":"nic2"}])"},
      {{"list", nics, "--default"},
       R"([{"name":"nic0","network":"backend","mtu":1500,"enabled":true}])"},
      {{"delete", nics, "--filter", R"({"mtu":9000})"}},
      {{"ids", nics}, R"(["nic2"])"},
      {{"delete", nics}},
      {{"ids", nics}, "[]"},
      {{"set", options, R"({"bootDelay":3})"}},
      {{"boot", "kernel-options", "--update", R"({"console":"com1"})"}, desired},
      {{"get", options}, R"({"bootDelay":3})"},  // in force only once applied
      {{"boot", "desired", options}, desired},
      {{"boot", "apply", options}},
      {{"get", options}, desired},
      {{"boot", "state"}, "false"},
      // An instance id is everything after the third slash.
      {{"schema", "load", Write("mounts.json", R"({"component": "storage", "group": "fs",
          "key": "mounts", "version": "1.0", "nonSingleton": true, "schema": {"properties":
          {"path": {"type": "string", "instanceId": true}}}})")},
       R"({"loaded":1})"},
      {{"set", "storage/fs/mounts//var/log", "{}"}},
      {{"ids", "storage/fs/mounts"}, R"(["/var/log"])"},
  };
  for (const auto& step : steps) {
    EXPECT_EQ(Ok(step.args, step.input), step.out.empty() ? "" : step.out + "\n")
        << step.args[0] << ' ' << step.args.back();
  }
  EXPECT_EQ(Run({"boot", "desired", options}), 1);  // applied, so nothing is desired any more
}

TEST_F(CfgstoreTest, SchemaListLeavesTheSchemasToShow) {
  const std::string first = R"([{"component":"net","group":"dns","key":"resolver","version":"1.2",)"
                            R"("nonSingleton":false,"bootExempt":false},)";
  const std::string list = Ok({"schema", "list"});
  EXPECT_EQ(list.rfind(first, 0), 0u) << list;
  EXPECT_EQ(list.find("\"schema\""), std::string::npos);
  const std::string shown = Ok({"schema", "show", "net/interfaces/nics"});
  EXPECT_NE(shown.find(R"("bootExempt":false,"schema":{)"), std::string::npos) << shown;
}

// A failure is one line on standard error, {"error":{"code":N,"message":...}},
// and nothing on standard output.
TEST_F(CfgstoreTest, ExitStatusAndErrorLineTellOutcomesApart) {
  const std::string platform = "orin/hardware/platform", serial = R"({"serialNumber":"SN1"})";
  const struct {
    std::vector<std::string> args;
    int status;
    int code;
  } cases[] = {
      {{"--help"}, 0, 0},
      {{"get", "net/dns/resolver", "--default"}, 0, 0},
      {{"get", "net/dns/resolver"}, 1, 1036},
      {{"revision", "net/dns/resolver"}, 1, 1036},
      {{"boot", "desired", "orin/kernix/options"}, 1, 1036},
      {{"get", "net/nothing/here"}, 1, 1037},
      {{"schema", "show", "net/interfaces/nothing"}, 1, 1037},
      {{"kv", "get", "NOTIFY_WARDEN"}, 1, 1031},
      {{"frobnicate"}, 2, 1100},
      {{"set", "net/dns/resolver", "{}", "--context", "admin"}, 2, 1100},
      {{"get", "net/dns"}, 2, 1100},
      {{"get", "net/interfaces/nics/"}, 2, 1100},
      {{"set", "net/dns/resolver", "{bad"}, 2, 1080},
      {{"set", "net/dns/resolver", "[1]"}, 2, 1080},
      {{"set", "net/dns/resolver", "@" + Path("missing.json")}, 2, 1100},
      {{"set", "net/interfaces/nics/nic1", R"({"name":"nic2"})"}, 2, 1100},
      {{"delete", "net/dns/resolver", "--filter", "{}"}, 2, 1100},
      {{"export", "--filter", "{}"}, 2, 1100},
      {{"set", "net/interfaces/nics/nic1", R"({"mtu":99999})"}, 3, 1087},
      {{"get", "net/interfaces/nics"}, 3, 2000},
      {{"import", Write("unknown.json", R"({"net":{"dns":{"nameserver":{}}}})")}, 3, 1055},
      // --source picks the store call, and each call refuses what is not its own.
      {{"set", platform, serial}, 3, 1087},
      {{"set", platform, serial, "--source", "cached"}, 3, 1084},
      {{"set", platform, serial, "--source", "vital"}, 0, 0},
      {{"set", platform, R"({"serialNumber":"SN2","assetTag":"A"})", "--source", "all"}, 0, 0},
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
  Run({"set", "net/interfaces/nics/nic1", R"({"mtu":99999})"});
  EXPECT_NE(err_.find(R"(","errors":[{"field":"/mtu","error":")"), std::string::npos) << err_;
  EXPECT_EQ(Run({"validate", "net/dns/resolver", R"({"servers":[1]})"}), 3);
  EXPECT_EQ(out_.rfind(R"([{"field":"/servers/0","error":")", 0), 0u) << out_;
  EXPECT_EQ(Ok({"validate", "net/dns/resolver", R"({"servers":["10.0.0.1"]})"}), "[]\n");

  EXPECT_EQ(Finish(Start({"get", "net/dns/resolver"}, "", "no-such-root")), 4);
  EXPECT_EQ(err_.find('\n'), err_.size() - 1) << "one line: " << err_;
}

// One listener at a time, ended by SIGTERM or --count; a stale socket file is
// replaced, a readiness probe's silent visit is no error, and each
// notification's body is printed on one line, --pretty or not.
TEST_F(CfgstoreTest, WatchPrintsNotificationsAsTheOnlyListener) {
  const std::string socket = Path(kSocketName);
  const pid_t first = Start({"watch"});
  ASSERT_TRUE(Eventually([&] { return fs::exists(socket); }));
  EXPECT_EQ(Run({"watch"}), 4);
  EXPECT_NE(err_.find("Another listener"), std::string::npos) << err_;
  kill(first, SIGTERM);
  EXPECT_EQ(Finish(first), 0);
  EXPECT_EQ(out_ + err_, "");
  EXPECT_FALSE(fs::exists(socket));

  ASSERT_TRUE(ProbeSocket(socket, true));
  Ok({"kv", "set", "NOTIFY_WARDEN", "true"});
  Write(kAllowlist, R"(["net.dns.resolver"])");
  const pid_t watch = Start({"watch", "--count", "1", "--pretty"});
  ASSERT_TRUE(Eventually([&] { return ProbeSocket(socket); }));
  Ok({"set", "net/dns/resolver", R"({"domain":"a.b"})"});
  EXPECT_EQ(Finish(watch), 0);
  EXPECT_EQ(err_, "");
  EXPECT_EQ(out_.rfind(R"({"method":"invoke",)", 0), 0u) << out_;
  EXPECT_NE(out_.find(R"("identifiers":["net.dns.resolver"])"), std::string::npos);
  EXPECT_EQ(out_.find('\n'), out_.size() - 1) << out_;
  EXPECT_FALSE(fs::exists(socket));
}

}  // namespace
