#include "integration/CWatchdog.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace vxt_test {

CWatchdog::CWatchdog(std::chrono::milliseconds limit, std::string what) : m_what(std::move(what)) {
    m_thread = std::thread([this, limit] {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_condition.wait_for(lock, limit, [this] { return m_disarmed; })) {
            std::fprintf(stderr, "WATCHDOG: %s did not finish within %lld ms; aborting\n",
                         m_what.c_str(), static_cast<long long>(limit.count()));
            std::fflush(stderr);
            // Where every thread stands is what a hang needs for a diagnosis; gdb is optional.
            const std::string dump = "command -v gdb >/dev/null && gdb -q -batch -p " +
                                     std::to_string(::getpid()) +
                                     " -ex 'thread apply all bt 30' 1>&2";
            if (std::system(dump.c_str()) != 0) {
                std::fprintf(stderr, "WATCHDOG: no thread dump\n");
            }
            std::abort();
        }
    });
}

CWatchdog::~CWatchdog() {
    disarm();
    if (m_thread.joinable()) m_thread.join();
}

void CWatchdog::disarm() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_disarmed = true;
    }
    m_condition.notify_all();
}

}  // namespace vxt_test
