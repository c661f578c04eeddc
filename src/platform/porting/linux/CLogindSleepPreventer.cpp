#include "platform/porting/linux/CLogindSleepPreventer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <new>

#include "platform/Log.h"

namespace vx_transfers {

ISleepPreventer* ISleepPreventer::create() {
    std::unique_ptr<CSystemBus> bus(CSystemBus::open("Sleep prevention"));
    if (!bus) {
        return nullptr;
    }
    return new (std::nothrow) CLogindSleepPreventer(std::move(bus));
}

CLogindSleepPreventer::CLogindSleepPreventer(std::unique_ptr<CSystemBus> bus)
    : m_bus(std::move(bus)) {}

CLogindSleepPreventer::~CLogindSleepPreventer() { stop(); }

bool CLogindSleepPreventer::start() {
    if (m_inhibitFd >= 0) {
        return true;
    }
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    int result =
        sd_bus_call_method(m_bus->get(), "org.freedesktop.login1", "/org/freedesktop/login1",
                           "org.freedesktop.login1.Manager", "Inhibit", &error, &reply, "ssss",
                           "sleep", "vx_transfers", "File transfers in progress", "block");
    if (result < 0) {
        VXT_LOG_ERROR("Sleep prevention: logind refused the inhibitor lock: "
                      << (error.message != nullptr ? error.message : std::strerror(-result)));
        sd_bus_error_free(&error);
        return false;
    }
    int fd = -1;
    result = sd_bus_message_read(reply, "h", &fd);
    if (result >= 0) {
        // The reply owns its descriptor; keep a copy of our own.
        m_inhibitFd = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    }
    sd_bus_message_unref(reply);
    sd_bus_error_free(&error);
    if (m_inhibitFd < 0) {
        VXT_LOG_ERROR("Sleep prevention: no inhibitor lock in logind's reply");
        return false;
    }
    return true;
}

bool CLogindSleepPreventer::isPreventing() { return m_inhibitFd >= 0; }

bool CLogindSleepPreventer::stop() {
    if (m_inhibitFd >= 0) {
        ::close(m_inhibitFd);
        m_inhibitFd = -1;
    }
    return true;
}

}  // namespace vx_transfers
