#ifndef PLATFORM_PROCESS_H_
#define PLATFORM_PROCESS_H_

#include <sys/types.h>

namespace OrinConfigStore {

// The calling process's id, as getpid() gives it, without a system call on
// every use: the value is kept and forgotten in the child of each fork().
// The database layer asks for it on every statement, to notice that it runs
// in a child that inherited the parent's connections.
pid_t CurrentProcessId();

}  // namespace OrinConfigStore

#endif  // PLATFORM_PROCESS_H_
