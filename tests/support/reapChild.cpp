#include "support/reapChild.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <thread>

namespace vxt_test {

int reapChild(pid_t pid, std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = 0;
    // A child's end wakes nothing we could wait on alongside a deadline, so this polls.
    while (::waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            ADD_FAILURE() << "child " << pid << " did not end in time";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return status;
}

}  // namespace vxt_test
