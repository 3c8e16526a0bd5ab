// Concurrent writers on one object: several processes each make a number of
// read-modify-write transactions on a shared counter through the public API
// (begin, Get, add one, Set or Update, commit). At the end the run checks
// that no operation failed and that the counter holds every increment, and
// prints the figures: operations, failures, lost updates, total time and the
// operations' latency.
//
//   configstore_stress [--processes N] [--operations N] [--payload BYTES]
//
// Defaults: 8 processes of 200 operations, no payload. --payload makes each
// transaction heavier: every other write also stores a text of that many
// bytes. The run uses a scratch host root under the temporary directory
// (TMPDIR), removed at the end. Exit status: 0 when nothing failed or was
// lost, 1 otherwise, 2 for a usage error.

#include <configstore/configstore.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace OrinConfigStore;
using Clock = std::chrono::steady_clock;

const ConfigStoreObjectId kCounter("tally", "counters", "stress");

constexpr const char* kSchema = R"({
  "component": "stress", "group": "counters", "key": "tally", "version": "1.0",
  "nonSingleton": false, "bootExempt": false, "smartnicShared": false,
  "schema": {"type": "object", "properties": {
    "count": {"type": "integer", "default": 0},
    "note": {"type": "string"}}}
})";

constexpr const char* kUsage =
    "usage: configstore_stress [--processes N] [--operations N] [--payload BYTES]\n";

struct Options {
  long processes = 8;
  long operations = 200;
  long payload = 0;
};

// A whole number in [minimum, maximum]; false when `text` is not one.
bool ParseNumber(const char* text, long minimum, long maximum, long* out) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || *end != '\0' || value < minimum || value > maximum) return false;
  *out = value;
  return true;
}

bool ParseOptions(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    long* target = name == "--processes"    ? &options->processes
                   : name == "--operations" ? &options->operations
                   : name == "--payload"    ? &options->payload
                                            : nullptr;
    const long minimum = name == "--payload" ? 0 : 1;
    if (target == nullptr || i + 1 == argc || !ParseNumber(argv[++i], minimum, 1000000, target)) {
      return false;
    }
  }
  return true;
}

// One operation: the counter read and written back plus one in a
// transaction of the caller's, by a whole-object Set or a partial Update.
void Increment(std::shared_ptr<ConfigStore>& store, bool whole, const std::string& note) {
  ConfigStoreTransaction transaction(store);
  const auto current = store->Get(kCounter);
  long long count = 0;
  if (current == nullptr || current->GetValue("count", &count) == 0) {
    throw std::runtime_error("the counter is missing");
  }
  if (whole) {
    current->SetValue("count", count + 1);
    if (!note.empty()) current->SetValue("note", note);
    store->Set(current, EXTERNAL);
  } else {
    const auto change = std::make_shared<ConfigStoreObject>(kCounter);
    change->SetValue("count", count + 1);
    store->Update(change, EXTERNAL);
  }
  transaction.Commit();
}

// A writer process: waits at the gate until the parent opens it, then runs
// its operations and writes one line per operation to `resultPath`:
// "ok <microseconds>" or "failed <microseconds> <message>".
int RunWriter(const Options& options, int gate, const std::string& resultPath) {
  std::ofstream out(resultPath);
  try {
    auto store = ConfigStore::GetStore("");
    const std::string note(static_cast<std::size_t>(options.payload), 'n');
    char ignored = 0;
    // Reads end of file once the parent closes its end.
    if (read(gate, &ignored, 1) < 0) return 3;
    for (long i = 0; i < options.operations; ++i) {
      const auto start = Clock::now();
      std::string failure;
      try {
        Increment(store, i % 2 == 0, note);
      } catch (const std::exception& e) {
        failure = e.what();
      }
      const auto micros =
          std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
      out << (failure.empty() ? "ok " : "failed ") << micros;
      if (!failure.empty()) out << ' ' << failure;
      out << '\n';
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "configstore_stress: writer %d: %s\n", getpid(), e.what());
    return 3;
  }
  out.close();
  return out ? 0 : 3;
}

struct Results {
  std::vector<double> latenciesMs;  // of every operation, failed ones included
  long succeeded = 0;
  long failed = 0;
  std::map<std::string, long> failures;  // message -> count
};

// Reads a writer's lines into `results`; false when the file is missing.
bool ReadResults(const std::string& path, Results* results) {
  std::ifstream in(path);
  if (!in) return false;
  std::string outcome;
  long long micros = 0;
  while (in >> outcome >> micros) {
    results->latenciesMs.push_back(static_cast<double>(micros) / 1000.0);
    if (outcome == "ok") {
      ++results->succeeded;
      continue;
    }
    std::string message;
    std::getline(in, message);
    ++results->failed;
    ++results->failures[message.empty() ? message : message.substr(1)];
  }
  return true;
}

double Percentile(const std::vector<double>& sorted, double fraction) {
  if (sorted.empty()) return 0.0;
  const auto rank = static_cast<std::size_t>(fraction * static_cast<double>(sorted.size()));
  return sorted[std::min(rank, sorted.size() - 1)];
}

long long StoredCount() {
  const auto counter = ConfigStore::GetStore("")->Get(kCounter);
  long long count = -1;
  if (counter != nullptr) counter->GetValue("count", &count);
  return count;
}

int Run(const Options& options, const std::string& root) {
  setenv("CONFIGSTORE_ROOT", root.c_str(), 1);
  InitializeDatabase();
  OrinSchemaStore::LoadSchemaDefinition(kSchema);
  ConfigStore::GetStore("")->Set(CreateObject(kCounter, R"({"count": 0})"), EXTERNAL);

  int gate[2];
  if (pipe(gate) != 0) throw std::runtime_error(std::strerror(errno));
  std::fflush(nullptr);
  std::vector<pid_t> writers;
  for (long i = 0; i < options.processes; ++i) {
    const pid_t pid = fork();
    if (pid < 0) throw std::runtime_error(std::strerror(errno));
    if (pid == 0) {
      close(gate[1]);
      std::exit(RunWriter(options, gate[0], root + "/writer-" + std::to_string(i)));
    }
    writers.push_back(pid);
  }
  close(gate[0]);
  const auto start = Clock::now();
  close(gate[1]);
  long abnormal = 0;
  for (const pid_t pid : writers) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      ++abnormal;
    }
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  Results results;
  for (long i = 0; i < options.processes; ++i) {
    if (!ReadResults(root + "/writer-" + std::to_string(i), &results)) ++abnormal;
  }
  const long expected = options.processes * options.operations;
  const long missing = expected - results.succeeded - results.failed;
  const long long count = StoredCount();
  const long long lost = results.succeeded - count;
  std::vector<double> sorted = results.latenciesMs;
  std::sort(sorted.begin(), sorted.end());
  double total = 0.0;
  for (const double latency : sorted) total += latency;
  const double mean = sorted.empty() ? 0.0 : total / static_cast<double>(sorted.size());

  std::printf("writers     %ld processes x %ld operations, payload %ld bytes\n", options.processes,
              options.operations, options.payload);
  std::printf("operations  %zu (%ld unreported)\n", sorted.size(), missing);
  std::printf("failures    %ld\n", results.failed);
  std::printf("lost        %lld (counter %lld, succeeded %ld)\n", lost, count, results.succeeded);
  std::printf("total time  %.2f s (%.0f operations/s)\n", seconds,
              static_cast<double>(sorted.size()) / seconds);
  std::printf("latency ms  mean %.1f, p50 %.1f, p99 %.1f, max %.1f\n", mean,
              Percentile(sorted, 0.50), Percentile(sorted, 0.99),
              sorted.empty() ? 0.0 : sorted.back());
  for (const auto& [message, times] : results.failures) {
    std::printf("failure     %ld x %s\n", times, message.c_str());
  }
  if (abnormal != 0) std::printf("writers     %ld did not finish cleanly\n", abnormal);
  return results.failed == 0 && lost == 0 && missing == 0 && abnormal == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, &options)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  // The run reports its failures itself; the library's log stays quiet
  // unless the caller asks for it.
  setenv("CONFIGSTORE_LOG", "none", 0);
  std::string pattern = std::filesystem::temp_directory_path() / "configstore-stress-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    std::perror("configstore_stress: mkdtemp");
    return 1;
  }
  int status = 1;
  try {
    status = Run(options, pattern);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "configstore_stress: %s\n", e.what());
  }
  std::filesystem::remove_all(pattern);
  return status;
}
