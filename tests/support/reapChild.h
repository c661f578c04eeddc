#pragma once

#include <sys/types.h>

#include <chrono>

namespace vxt_test {

// Waits (bounded) for child `pid` to end; kills it, and fails the test, when it does not.
// Gives the wait status.
int reapChild(pid_t pid, std::chrono::seconds timeout);

}  // namespace vxt_test
