// The command-line tool as its users meet it: the real binary, run as a
// process on a scratch host root of its own, judged by its standard output,
// standard error and exit status.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kSocketName = "tslLocalSocketWardenNotifyNexa";
constexpr const char* kAllowlist = "usr/lib/tessel/configmanager/notify-list/allowlist.json";
constexpr auto kPatience = std::chrono::seconds(20);

// A fresh directory, removed with its contents afterwards.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (fs::temp_directory_path() / "cfgstore-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }

  std::string Write(const std::string& relative, const std::string& content) const {
    const fs::path file = fs::path(path_) / relative;
    fs::create_directories(file.parent_path());
    std::ofstream(file) << content;
    return file.string();
  }

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

// One run of the tool, its standard streams in files of `io`.
class ToolProcess {
 public:
  ToolProcess(const std::vector<std::string>& args, const std::string& workingDir,
              const ScratchDir& io, const std::string& input = "")
      : out_(io / ("out" + std::to_string(++runs_))), err_(out_ + ".err") {
    const std::string in = io.Write("in" + std::to_string(runs_), input);
    std::vector<char*> argv{const_cast<char*>(CFGSTORE_TOOL)};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ < 0) ADD_FAILURE() << "fork failed";
    if (pid_ == 0) {
      if (chdir(workingDir.c_str()) != 0) _exit(127);
      Redirect(in, O_RDONLY, STDIN_FILENO);
      Redirect(out_, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
      Redirect(err_, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
      execv(CFGSTORE_TOOL, argv.data());
      _exit(127);
    }
  }

  // A process the test left running (a failed assertion) is not left behind.
  ~ToolProcess() {
    if (!finished_ && pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  ToolProcess(const ToolProcess&) = delete;
  ToolProcess& operator=(const ToolProcess&) = delete;

  pid_t Pid() const { return pid_; }

  // Waits for the exit; a process still running after kPatience is killed
  // and fails the test.
  Outcome Finish() {
    Outcome outcome;
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    int status = 0;
    finished_ = true;
    if (pid_ < 0) return outcome;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        ADD_FAILURE() << "cfgstore did not end";
        return outcome;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.out = ReadFile(out_);
    outcome.err = ReadFile(err_);
    return outcome;
  }

 private:
  static void Redirect(const std::string& path, int flags, int target) {
    const int fd = open(path.c_str(), flags, 0600);
    if (fd < 0 || dup2(fd, target) < 0) _exit(127);
    close(fd);
  }

  static inline int runs_ = 0;
  pid_t pid_ = -1;
  bool finished_ = false;
  std::string out_;
  std::string err_;
};

bool WaitForFile(const std::string& path) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!fs::exists(path)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

sockaddr_un SocketAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  return address;
}

// Waits until something accepts connections at `path`. The probe connects
// and leaves without a word, which a listener must shrug off.
bool WaitForListener(const std::string& path) {
  const sockaddr_un address = SocketAddress(path);
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    const bool connected =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    if (connected) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// What a listener killed before it could clean up leaves behind.
void LeaveStaleSocket(const std::string& path) {
  const sockaddr_un address = SocketAddress(path);
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0) << path;
  close(fd);
}

// A scratch root with the sample schemas, and a working folder of the
// test's own for the processes it starts.
class CfgstoreTest : public ::testing::Test {
 protected:
  void SetUp() override { Provision(root_); }

  // Runs the tool on `root` (the test's root by default).
  Outcome Run(std::vector<std::string> args, const std::string& input = "") {
    return RunOn(root_, std::move(args), input);
  }
  Outcome RunOn(const ScratchDir& root, std::vector<std::string> args,
                const std::string& input = "") {
    return Start(root, std::move(args), input).Finish();
  }
  ToolProcess Start(const ScratchDir& root, std::vector<std::string> args,
                    const std::string& input = "") {
    args.insert(args.begin(), {"--root", root.Path()});
    return ToolProcess(args, work_.Path(), work_, input);
  }

  // Expects success and returns standard output.
  std::string Ok(std::vector<std::string> args, const std::string& input = "") {
    const Outcome outcome = Run(std::move(args), input);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  }

  void Provision(const ScratchDir& root) {
    EXPECT_EQ(RunOn(root, {"init"}).status, 0);
    const Outcome loaded =
        RunOn(root, {"schema", "load", CONFIGSTORE_EXAMPLES_DIR "/schemas/net.json",
                     CONFIGSTORE_EXAMPLES_DIR "/schemas/orin.json"});
    EXPECT_EQ(loaded.out, "{\"loaded\":6}\n") << loaded.err;
  }

  ScratchDir root_;
  ScratchDir work_;
};

TEST_F(CfgstoreTest, SetAndGetRoundTripInBothContexts) {
  Ok({"set", "net/dns/resolver", R"({"domain":"example.org","servers":["10.0.0.1"]})"});
  EXPECT_EQ(Ok({"get", "net/dns/resolver"}),
            "{\"domain\":\"example.org\",\"servers\":[\"10.0.0.1\"]}\n");
  EXPECT_EQ(Ok({"get", "net/dns/resolver", "--pretty"}),
            "{\n  \"domain\": \"example.org\",\n  \"servers\": [\n    \"10.0.0.1\"\n  ]\n}\n");

  // Internal writes fill the automatic value, which the user value outranks
  // in the merge: a context mix-up shows as the wrong winner.
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":1600})", "--context", "internal"});
  EXPECT_EQ(Ok({"get", "net/interfaces/nics/nic1"}), "{\"mtu\":1600,\"name\":\"nic1\"}\n");
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":9000})", "--context", "user"});
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":1700})", "--context", "internal"});
  // (The merge's member order is the library's business.)
  const std::string merged = Ok({"get", "net/interfaces/nics/nic1"});
  EXPECT_NE(merged.find("\"mtu\":9000"), std::string::npos) << merged;
  EXPECT_NE(merged.find("\"name\":\"nic1\""), std::string::npos) << merged;
}

TEST_F(CfgstoreTest, ExitStatusTellsOutcomesApart) {
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string errorStart;
  };
  const std::vector<Case> cases{
      {{"get", "net/dns/resolver", "--default"}, 0, ""},
      {{"get", "net/dns/resolver"}, 1, R"({"error":{"code":1036,"message":")"},
      {{"get", "net/nothing/here"}, 1, R"({"error":{"code":1037,)"},
      {{"kv", "get", "NOTIFY_WARDEN"}, 1, R"({"error":{"code":1031,)"},
      {{"get", "net/dns"}, 2, R"({"error":{"code":1100,)"},
      {{"get", "net/interfaces/nics/"}, 2, R"({"error":{"code":1100,)"},
      {{"frobnicate"}, 2, R"({"error":{"code":1100,)"},
      {{"set", "net/dns/resolver", "{bad"}, 2, R"({"error":{"code":1080,)"},
      {{"set", "net/dns/resolver", "[1]"}, 2, R"({"error":{"code":1080,)"},
      {{"set", "net/interfaces/nics/nic1", R"({"name":"nic2"})"}, 2, R"({"error":{"code":1100,)"},
      {{"set", "net/interfaces/nics/nic1", R"({"mtu":99999})"},
       3,
       R"({"error":{"code":1087,"message":"Failed to validate User config","errors":[{"field":"/mtu","error":")"},
      {{"get", "net/interfaces/nics"}, 3, R"({"error":{"code":2000,)"},
  };
  for (const Case& c : cases) {
    const Outcome outcome = Run(c.args);
    EXPECT_EQ(outcome.status, c.status) << c.args[0] << ' ' << outcome.err;
    EXPECT_EQ(outcome.err.substr(0, c.errorStart.size()), c.errorStart) << outcome.err;
    if (c.status != 0) {
      EXPECT_EQ(outcome.out, "");
    }
  }

  const Outcome invalid = Run({"validate", "net/dns/resolver", R"({"servers":[1]})"});
  EXPECT_EQ(invalid.status, 3);
  EXPECT_EQ(invalid.out.rfind(R"([{"field":"/servers/0","error":")", 0), 0u) << invalid.out;
  EXPECT_EQ(Ok({"validate", "net/dns/resolver", R"({"servers":["10.0.0.1"]})"}), "[]\n");

  const ScratchDir empty;
  const Outcome failure = RunOn(empty, {"get", "net/dns/resolver"});
  EXPECT_EQ(failure.status, 4);
  EXPECT_EQ(failure.err.back(), '\n');
  EXPECT_EQ(failure.err.find('\n'), failure.err.size() - 1) << "one line: " << failure.err;
}

TEST_F(CfgstoreTest, InstanceIdsMayHoldSlashes) {
  const std::string definition = work_.Write("mounts.json", R"({
    "component": "storage", "group": "fs", "key": "mounts", "version": "1.0",
    "nonSingleton": true,
    "schema": {"type": "object", "properties": {
      "path": {"type": "string", "instanceId": true}, "readOnly": {"type": "boolean"}}}})");
  EXPECT_EQ(Ok({"schema", "load", definition}), "{\"loaded\":1}\n");
  Ok({"set", "storage/fs/mounts//var/log", R"({"readOnly":true})"});
  EXPECT_EQ(Ok({"ids", "storage/fs/mounts"}), "[\"/var/log\"]\n");
  EXPECT_EQ(Ok({"get", "storage/fs/mounts//var/log"}),
            "{\"readOnly\":true,\"path\":\"/var/log\"}\n");
  EXPECT_EQ(Run({"get", "storage/fs/mounts//var"}).status, 1);
}

TEST_F(CfgstoreTest, SchemaListAndShowDescribeTheTypes) {
  const std::string list = Ok({"schema", "list"});
  EXPECT_EQ(list.rfind(R"([{"component":"net","group":"dns","key":"resolver","version":"1.2",)"
                       R"("nonSingleton":false,"bootExempt":false},)",
                       0),
            0u)
      << list;
  EXPECT_EQ(list.find("\"schema\""), std::string::npos);
  const std::string shown = Ok({"schema", "show", "net/interfaces/nics"});
  EXPECT_NE(shown.find(R"("nonSingleton":true,"bootExempt":false,"schema":{"type":"object")"),
            std::string::npos)
      << shown;
  EXPECT_EQ(Run({"schema", "show", "net/interfaces/nothing"}).status, 1);
}

TEST_F(CfgstoreTest, JsonArgumentsFromAFileAndStandardInput) {
  const std::string file = work_.Write("resolver.json", R"({"domain":"from.file"})");
  Ok({"set", "net/dns/resolver", "@" + file});
  EXPECT_EQ(Ok({"get", "net/dns/resolver"}), "{\"domain\":\"from.file\"}\n");

  Ok({"update", "net/dns/resolver", "-"}, R"({"servers":["10.0.0.2"]})");
  EXPECT_EQ(Ok({"get", "net/dns/resolver"}),
            "{\"domain\":\"from.file\",\"servers\":[\"10.0.0.2\"]}\n");

  EXPECT_EQ(Run({"set", "net/dns/resolver", "@" + work_ / "missing.json"}).status, 2);
  EXPECT_EQ(Run({"set", "net/dns/resolver", "-"}, "{\"domain\":").status, 2);
}

TEST_F(CfgstoreTest, TypeWideCommandsCoverEveryInstance) {
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":9000})"});
  Ok({"set", "net/interfaces/nics/nic2", R"({"mtu":1500})"});
  EXPECT_EQ(Ok({"ids", "net/interfaces/nics"}), "[\"nic1\",\"nic2\"]\n");
  EXPECT_EQ(Ok({"revision", "net/interfaces/nics"}), "{\"nic1\":1,\"nic2\":1}\n");
  EXPECT_EQ(Ok({"list", "net/interfaces/nics", "--filter", R"({"mtu":1500})"}),
            "[{\"mtu\":1500,\"name\":\"nic2\"}]\n");
  EXPECT_EQ(Ok({"list", "net/interfaces/nics", "--default"}),
            "[{\"name\":\"nic0\",\"network\":\"backend\",\"mtu\":1500,"
            "\"enabled\":true}]\n");

  Ok({"delete", "net/interfaces/nics", "--filter", R"({"mtu":9000})"});
  EXPECT_EQ(Ok({"ids", "net/interfaces/nics"}), "[\"nic2\"]\n");
  EXPECT_EQ(Run({"delete", "net/dns/resolver", "--filter", "{}"}).status, 2);
  Ok({"delete", "net/interfaces/nics"});
  EXPECT_EQ(Ok({"ids", "net/interfaces/nics"}), "[]\n");
}

TEST_F(CfgstoreTest, ExportImportsIntoAFreshRoot) {
  Ok({"set", "net/dns/resolver", R"({"domain":"example.org"})"});
  Ok({"set", "net/interfaces/nics/nic1", R"({"mtu":9000})"});
  Ok({"set", "orin/hardware/platform", R"({"serialNumber":"SN1"})", "--source", "vital"});
  const std::string exported = Ok({"export"});
  EXPECT_EQ(exported, R"({"net":{"dns":{"resolver":{"domain":"example.org"}},)"
                      R"("interfaces":{"nics":[{"mtu":9000,"name":"nic1"}]}},)"
                      R"("orin":{"hardware":{"platform":{"serialNumber":"SN1"}}}})"
                      "\n");

  const ScratchDir fresh;
  Provision(fresh);
  const std::string file = work_.Write("export.json", exported);
  EXPECT_EQ(RunOn(fresh, {"import", file}).status, 0);
  EXPECT_EQ(RunOn(fresh, {"export"}).out, exported);
  EXPECT_EQ(RunOn(fresh, {"import", "-"}, R"({"net":{"dns":{"nameserver":{}}}})").status, 3);
}

TEST_F(CfgstoreTest, KernelOptionsUpdateStaysDesiredUntilApplied) {
  Ok({"set", "orin/kernix/options", R"({"bootDelay":3})"});
  EXPECT_EQ(Ok({"boot", "kernel-options", "--update", R"({"console":"com1"})"}),
            "{\"bootDelay\":3,\"console\":\"com1\"}\n");
  EXPECT_EQ(Ok({"get", "orin/kernix/options"}), "{\"bootDelay\":3}\n");
  EXPECT_EQ(Ok({"boot", "desired", "orin/kernix/options"}),
            "{\"bootDelay\":3,\"console\":\"com1\"}\n");
  Ok({"boot", "apply", "orin/kernix/options"});
  EXPECT_EQ(Ok({"get", "orin/kernix/options"}), "{\"bootDelay\":3,\"console\":\"com1\"}\n");
  EXPECT_EQ(Run({"boot", "desired", "orin/kernix/options"}).status, 1);
  EXPECT_EQ(Ok({"boot", "state"}), "false\n");
}

TEST_F(CfgstoreTest, WatchPrintsTheNotificationOfAWrite) {
  Ok({"kv", "set", "NOTIFY_WARDEN", "true"});
  root_.Write(kAllowlist, R"(["net.dns.resolver"])");

  ToolProcess watch = Start(root_, {"watch", "--count", "1"});
  ASSERT_TRUE(WaitForFile(work_ / kSocketName));
  Ok({"set", "net/interfaces/nics/nic1", "{}"});  // not on the allowlist
  ToolProcess writer = Start(root_, {"set", "net/dns/resolver", R"({"domain":"a.b"})"});
  EXPECT_EQ(writer.Finish().status, 0);

  const Outcome heard = watch.Finish();
  EXPECT_EQ(heard.status, 0) << heard.err;
  EXPECT_EQ(
      heard.out,
      R"({"method":"invoke","id":"9","params":{"serviceId":"com.tessel.configstore.notifier",)"
      R"("operationId":"notify","input":{"STRUCTURE":{"operation-input":{"identifiers":)"
      R"(["net.dns.resolver"],"cohort_id":)" +
          std::to_string(writer.Pid()) +
          R"(}}},"ctx":{"securityCtx":{"schemeId":"com.tessel.security.scheme.noauth"}}},)"
          R"("jsonrpc":"2.0"})"
          "\n");
  EXPECT_FALSE(fs::exists(work_ / kSocketName));
}

TEST_F(CfgstoreTest, WatchEndsOnSigtermAndRemovesItsSocket) {
  ToolProcess watch = Start(root_, {"watch"});
  ASSERT_TRUE(WaitForFile(work_ / kSocketName));
  kill(watch.Pid(), SIGTERM);
  const Outcome ended = watch.Finish();
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
  EXPECT_FALSE(fs::exists(work_ / kSocketName));
}

TEST_F(CfgstoreTest, WatchRefusesALiveListenerAndReplacesAStaleOne) {
  const std::string socketPath = work_ / kSocketName;
  ToolProcess first = Start(root_, {"watch"});
  ASSERT_TRUE(WaitForFile(socketPath));
  const Outcome second = RunOn(root_, {"watch"});
  EXPECT_EQ(second.status, 4);
  EXPECT_NE(second.err.find("Another listener"), std::string::npos) << second.err;
  kill(first.Pid(), SIGTERM);
  const Outcome firstEnded = first.Finish();
  EXPECT_EQ(firstEnded.status, 0);
  EXPECT_EQ(firstEnded.err, "");

  LeaveStaleSocket(socketPath);
  Ok({"kv", "set", "NOTIFY_WARDEN", "true"});
  root_.Write(kAllowlist, R"(["net.dns.*"])");
  ToolProcess watch = Start(root_, {"watch", "--count", "1"});
  ASSERT_TRUE(WaitForListener(socketPath));
  Ok({"set", "net/dns/resolver", "{}"});
  const Outcome heard = watch.Finish();
  EXPECT_NE(heard.out.find(R"("identifiers":["net.dns.resolver"])"), std::string::npos)
      << heard.err;
  EXPECT_EQ(heard.err, "");  // the readiness probe's silent visit is no error
}

}  // namespace
