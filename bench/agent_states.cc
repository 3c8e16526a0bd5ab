// How long a write waits for the host agent, in every state the agent can
// be in: 100 consecutive writes of an announced type per state, each timed.
// Exits non-zero when a write fails or any takes a second or more; prints
// the slowest and the median write of each state. Run by scripts/agent-states.

#include <configstore/configstore.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace OrinConfigStore;
using Clock = std::chrono::steady_clock;

constexpr const char* kSocketName = "tslLocalSocketWardenNotifyNexa";
constexpr const char* kAllowlist = "/usr/lib/tessel/configmanager/notify-list/allowlist.json";
constexpr const char* kType = R"({"component": "probe", "group": "agent", "key": "counter",
  "version": "1", "schema": {"type": "object", "properties": {"n": {"type": "integer"}}}})";
constexpr int kWrites = 100;
constexpr double kLimitMs = 1000;

int Listener(int backlog) {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, kSocketName);
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      ::listen(fd, backlog) != 0) {
    std::perror("agent socket");
    std::exit(2);
  }
  return fd;
}

// One state of the agent: sets it up in the working directory, and tears it
// down (leaving no socket file behind).
struct AgentState {
  const char* name;
  std::function<void()> setUp;
  std::function<void()> tearDown;
};

std::vector<int> held;  // descriptors a state keeps open
std::atomic<bool> stop{false};
std::thread acceptor;

std::vector<AgentState> States() {
  const auto clear = [] {
    for (int fd : held) ::close(fd);
    held.clear();
    fs::remove(kSocketName);
  };
  return {
      {"missing", [] {}, clear},
      {"a regular file", [] { std::ofstream(kSocketName) << "not a socket"; }, clear},
      {"dead (socket file, no listener)", [] { ::close(Listener(1)); }, clear},
      {"never accepting (backlog 1)", [] { held.push_back(Listener(1)); }, clear},
      {"accepting, never reading",
       [] {
         const int fd = Listener(64);
         ::fcntl(fd, F_SETFL, O_NONBLOCK);
         held.push_back(fd);
         stop = false;
         acceptor = std::thread([fd] {
           while (!stop) {
             const int peer = ::accept4(fd, nullptr, nullptr, SOCK_NONBLOCK);
             if (peer >= 0) held.push_back(peer);
             if (peer < 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
           }
         });
       },
       [clear] {
         stop = true;
         acceptor.join();
         clear();
       }},
  };
}

std::shared_ptr<ConfigStoreObject> Counter(int n) {
  auto object =
      std::make_shared<ConfigStoreObject>(ConfigStoreObjectId("counter", "agent", "probe"));
  object->SetValue("n", n);
  return object;
}

double Milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

// 100 writes; the slowest and median in milliseconds, or -1 after a failure.
std::pair<double, double> TimeWrites(const std::shared_ptr<ConfigStore>& store) {
  std::vector<double> times;
  for (int i = 0; i < kWrites; ++i) {
    const auto object = Counter(i);
    const auto start = Clock::now();
    try {
      store->SetUserData(object, EXTERNAL);
    } catch (const std::exception& e) {
      std::fprintf(stderr, "write %d failed: %s\n", i, e.what());
      return {-1, -1};
    }
    times.push_back(Milliseconds(Clock::now() - start));
  }
  std::sort(times.begin(), times.end());
  return {times.back(), times[times.size() / 2]};
}

// Writes inside a caller's transaction while the agent never accepts: each
// returns within its budget, and the caller's commit frees the database at
// once for a writer on another connection.
bool TransactionReleasesOnCommit() {
  held.push_back(Listener(1));
  auto caller = ConfigStore::GetStore("");
  auto other = ConfigStore::GetStore("");
  {
    std::shared_ptr<ConfigStore> guarded = caller;
    ConfigStoreTransaction transaction(guarded);
    for (int i = 0; i < 3; ++i) caller->SetUserData(Counter(i), EXTERNAL);
    transaction.Commit();
  }
  // The other connection takes the write lock (BEGIN IMMEDIATE) as soon as
  // the caller's commit has freed it.
  const auto start = Clock::now();
  const bool locked = other->BeginTransaction() == 0;
  const double waited = Milliseconds(Clock::now() - start);
  if (locked) other->CancelTransaction();
  if (!locked) std::fprintf(stderr, "the write lock was not free after the caller's commit\n");
  std::printf("%-34s write lock taken after the commit: %.1f ms\n", "in a caller's transaction",
              waited);
  for (int fd : held) ::close(fd);
  held.clear();
  fs::remove(kSocketName);
  return locked;
}

}  // namespace

int main() {
  std::string pattern = (fs::temp_directory_path() / "configstore-agent-XXXXXX").string();
  const std::string root = mkdtemp(pattern.data());
  setenv("CONFIGSTORE_ROOT", root.c_str(), 1);
  setenv("CONFIGSTORE_LOG", "none", 0);
  InitializeDatabase();
  OrinSchemaStore::LoadSchemaDefinition(kType);
  SetKeyValue("NOTIFY_WARDEN", "true");
  fs::create_directories(fs::path(root + kAllowlist).parent_path());
  std::ofstream(root + kAllowlist) << R"(["probe.agent.counter"])";
  // The agent's socket name is relative to the writer's working directory.
  fs::current_path(root);

  auto store = ConfigStore::GetStore("");
  bool ok = true;
  std::printf("%d writes per state; the notification budget is 250 ms, a write's 1 s\n", kWrites);
  for (const AgentState& state : States()) {
    state.setUp();
    const auto [slowest, median] = TimeWrites(store);
    state.tearDown();
    std::printf("%-34s slowest %7.1f ms, median %6.1f ms\n", state.name, slowest, median);
    ok = ok && slowest >= 0 && slowest < kLimitMs;
  }
  ok = TransactionReleasesOnCommit() && ok;
  fs::current_path("/");
  fs::remove_all(root);
  std::printf("%s\n", ok ? "ok" : "FAILED");
  return ok ? 0 : 1;
}
