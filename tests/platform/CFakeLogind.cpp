#include "CFakeLogind.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace vx_transfers {
namespace platform_test {

namespace {

const std::chrono::seconds kWaitLimit(20);
const char* const kPath = "/org/freedesktop/login1";
const char* const kInterface = "org.freedesktop.login1.Manager";

}  // namespace

CFakeLogind::CFakeLogind() {
    static const sd_bus_vtable vtable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Inhibit", "ssss", "h", &CFakeLogind::onInhibit, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    if (sd_bus_open_system(&m_bus) < 0) {
        m_bus = nullptr;
        return;
    }
    if (sd_bus_add_object_vtable(m_bus, &m_slot, kPath, kInterface, vtable, this) < 0 ||
        sd_bus_request_name(m_bus, "org.freedesktop.login1", 0) < 0) {
        return;
    }
    m_thread = std::thread(&CFakeLogind::serve, this);
    m_ready = true;
}

CFakeLogind::~CFakeLogind() {
    m_stop = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
    sd_bus_slot_unref(m_slot);
    sd_bus_flush_close_unref(m_bus);
    if (m_lockReadFd >= 0) {
        close(m_lockReadFd);
    }
}

bool CFakeLogind::emitPrepareForSleep(bool goingToSleep) {
    std::lock_guard<std::mutex> lock(m_busMutex);
    const int sleeping = goingToSleep ? 1 : 0;
    return sd_bus_emit_signal(m_bus, kPath, kInterface, "PrepareForSleep", "b", sleeping) >= 0 &&
           sd_bus_flush(m_bus) >= 0;
}

bool CFakeLogind::waitForInhibit(std::string& what, std::string& mode) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_changed.wait_for(lock, kWaitLimit, [this] { return m_inhibited; })) {
        return false;
    }
    what = m_what;
    mode = m_mode;
    return true;
}

bool CFakeLogind::waitForRelease() {
    int fd = -1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        fd = m_lockReadFd;
    }
    if (fd < 0) {
        return false;
    }
    // The pipe reads as ended once no write end is left open anywhere.
    pollfd entry{fd, POLLIN, 0};
    if (poll(&entry, 1, static_cast<int>(kWaitLimit.count() * 1000)) != 1) {
        return false;
    }
    char byte = 0;
    return read(fd, &byte, 1) == 0;
}

// The service side of the fake: short bounded waits, so the destructor's stop is seen.
void CFakeLogind::serve() {
    while (!m_stop) {
        int fd = -1;
        short events = 0;
        {
            std::lock_guard<std::mutex> lock(m_busMutex);
            while (sd_bus_process(m_bus, nullptr) > 0) {
            }
            fd = sd_bus_get_fd(m_bus);
            events = static_cast<short>(sd_bus_get_events(m_bus));
        }
        pollfd entry{fd, events, 0};
        poll(&entry, 1, 20);
    }
}

int CFakeLogind::onInhibit(sd_bus_message* message, void* userData, sd_bus_error* /*error*/) {
    CFakeLogind* self = static_cast<CFakeLogind*>(userData);
    const char* what = nullptr;
    const char* who = nullptr;
    const char* why = nullptr;
    const char* mode = nullptr;
    int result = sd_bus_message_read(message, "ssss", &what, &who, &why, &mode);
    if (result < 0) {
        return result;
    }
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        return -errno;
    }
    result = sd_bus_reply_method_return(message, "h", fds[1]);
    close(fds[1]);  // the reply carries its own copy
    std::lock_guard<std::mutex> lock(self->m_mutex);
    self->m_inhibited = true;
    self->m_what = what;
    self->m_mode = mode;
    self->m_lockReadFd = fds[0];
    self->m_changed.notify_all();
    return result;
}

}  // namespace platform_test
}  // namespace vx_transfers
