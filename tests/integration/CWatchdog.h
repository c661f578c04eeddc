// Ends the process with a message when a stretch of work does not finish in time. A deadlocked
// library would otherwise hang a test until the harness kills it, with no word on where it hung.
#ifndef VXT_TESTS_INTEGRATION_CWATCHDOG_H
#define VXT_TESTS_INTEGRATION_CWATCHDOG_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vxt_test {

class CWatchdog {
public:
    // Starts watching; unless disarm() or the destructor runs within `limit`, prints `what` to
    // stderr and aborts.
    CWatchdog(std::chrono::milliseconds limit, std::string what);
    ~CWatchdog();
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

    void disarm();

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_disarmed = false;  // guarded by m_mutex
    std::string m_what;
    std::thread m_thread;
};

}  // namespace vxt_test

#endif
