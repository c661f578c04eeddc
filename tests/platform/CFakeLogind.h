#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vx_transfers {
namespace platform_test {

// Owns the name org.freedesktop.login1 on the bus in DBUS_SYSTEM_BUS_ADDRESS and answers
// Inhibit with the write end of a pipe, so a test can see when the inhibitor lock is released.
// Serves on a thread of its own; the bus connection is shared under a mutex.
class CFakeLogind {
public:
    CFakeLogind();
    ~CFakeLogind();

    bool isReady() const { return m_ready; }

    // Broadcasts PrepareForSleep(goingToSleep).
    bool emitPrepareForSleep(bool goingToSleep);

    // Waits for an Inhibit call; its arguments "what" and "mode".
    bool waitForInhibit(std::string& what, std::string& mode);
    // Waits until every copy of the lock that Inhibit handed out is closed.
    bool waitForRelease();

    CFakeLogind(const CFakeLogind&) = delete;
    CFakeLogind& operator=(const CFakeLogind&) = delete;

private:
    void serve();
    static int onInhibit(sd_bus_message* message, void* userData, sd_bus_error* error);

    std::mutex m_busMutex;
    sd_bus* m_bus = nullptr;  // guarded by m_busMutex
    sd_bus_slot* m_slot = nullptr;
    bool m_ready = false;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_inhibited = false;  // guarded by m_mutex
    std::string m_what;        // guarded by m_mutex
    std::string m_mode;        // guarded by m_mutex
    int m_lockReadFd = -1;     // guarded by m_mutex
};

}  // namespace platform_test
}  // namespace vx_transfers
