#ifndef PLATFORM_SRC_BUSY_WAIT_H_
#define PLATFORM_SRC_BUSY_WAIT_H_

// How a connection waits for a database that another connection holds busy.

#include <sqlite3.h>

namespace DBStore {

// Makes `db` wait, when it finds the database busy, by polling in short
// random steps until `timeoutMs` milliseconds have passed since the wait
// began, then fail with SQLITE_BUSY; a timeout of 0 or less fails at once.
// Stands in for sqlite3_busy_timeout, whose growing sleeps let a waiter
// starve (see busy_wait.cc).
void WaitFairlyWhenBusy(sqlite3* db, int timeoutMs);

}  // namespace DBStore

#endif  // PLATFORM_SRC_BUSY_WAIT_H_
