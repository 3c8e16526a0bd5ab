// Waiting for a database that another connection holds busy.
//
// Why not sqlite3_busy_timeout: its handler sleeps in growing steps (1, 2,
// 5, 10 ... ms, then 100 ms at a time once it has waited a third of a
// second). A writer's BEGIN IMMEDIATE can only succeed in the short moment
// between two other transactions; a writer that has waited a while wakes
// every 100 ms and keeps losing those moments to newer waiters that wake
// every few milliseconds, so among several busy writers one can starve until
// its whole timeout has run out, although the average wait is a few
// milliseconds. Here every waiter polls at the same pace, sleeping a random
// 0.2 to 2 ms between attempts (random so that waiters do not poll in
// lockstep), which gives each free moment to any of them alike; and the
// deadline is the time since the wait began, not a sum of sleeps.

#include "busy_wait.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <thread>

namespace DBStore {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kShortestStepUs = 200;
constexpr long kLongestStepUs = 2000;
// SQLite counts a wait's calls from 0, and restarts the count for each
// statement step. A wait that starts without that restart (a statement
// prepared after a step that waited) is recognised by the pause since the
// last call, far longer than any step of a wait.
constexpr auto kPauseBetweenWaits = std::chrono::milliseconds(100);

// The wait in progress. A wait happens inside one SQLite call, on the thread
// that made it, and a thread waits on one connection at a time, so the state
// is per thread; a connection is used by one thread at a time.
struct Wait {
  Clock::time_point deadline;
  Clock::time_point lastCall;
  std::minstd_rand random;
};
thread_local Wait state;

// The busy handler: `timeout` carries the connection's timeout in
// milliseconds. Returns 1 to try again, 0 to give up.
int WaitOnce(void* timeout, int count) {
  const auto now = Clock::now();
  if (count == 0 || now - state.lastCall > kPauseBetweenWaits) {
    const auto timeoutMs = static_cast<int>(reinterpret_cast<std::intptr_t>(timeout));
    state.deadline = now + std::chrono::milliseconds(timeoutMs);
    // Per wait, from the clock and the process: forked writers do not share
    // their parent's sequence.
    const auto ticks = static_cast<std::uint64_t>(now.time_since_epoch().count());
    state.random.seed(static_cast<std::uint_fast32_t>(ticks ^ (ticks >> 32)) ^
                      static_cast<std::uint_fast32_t>(getpid()));
  }
  if (now >= state.deadline) return 0;
  std::uniform_int_distribution<long> step(kShortestStepUs, kLongestStepUs);
  const auto sleep = std::chrono::microseconds(step(state.random));
  std::this_thread::sleep_for(std::min<Clock::duration>(sleep, state.deadline - now));
  state.lastCall = Clock::now();
  return 1;
}

}  // namespace

void WaitFairlyWhenBusy(sqlite3* db, int timeoutMs) {
  if (timeoutMs <= 0) {
    sqlite3_busy_handler(db, nullptr, nullptr);
    return;
  }
  sqlite3_busy_handler(db, WaitOnce,
                       reinterpret_cast<void*>(static_cast<std::intptr_t>(timeoutMs)));
}

}  // namespace DBStore
