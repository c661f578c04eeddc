#include "CInterruptFlag.h"

#include <signal.h>

namespace vxt {
namespace {

volatile sig_atomic_t g_raised = 0;

void onSignal(int) { g_raised = 1; }

}  // namespace

void CInterruptFlag::install() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    // The second signal takes the default action; the library's threads must not see their
    // system calls fail with EINTR because of the first.
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool CInterruptFlag::raised() { return g_raised != 0; }

}  // namespace vxt
