#include "platform/porting/linux/CLogindSleepNotifier.h"

#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <new>

#include "platform/Log.h"

namespace vx_transfers {

ISleepNotifier* ISleepNotifier::create() {
    std::unique_ptr<CSystemBus> bus(CSystemBus::open("Sleep notifications"));
    if (!bus) {
        return nullptr;
    }
    return CLogindSleepNotifier::open(std::move(bus));
}

CLogindSleepNotifier* CLogindSleepNotifier::open(std::unique_ptr<CSystemBus> bus) {
    std::unique_ptr<CLogindSleepNotifier> notifier(new (std::nothrow)
                                                       CLogindSleepNotifier(std::move(bus)));
    if (!notifier || !notifier->subscribe() || !notifier->startThread()) {
        return nullptr;
    }
    return notifier.release();
}

CLogindSleepNotifier::CLogindSleepNotifier(std::unique_ptr<CSystemBus> bus)
    : m_bus(std::move(bus)) {}

CLogindSleepNotifier::~CLogindSleepNotifier() {
    m_stop = true;
    if (m_thread.joinable()) {
        const uint64_t one = 1;
        if (::write(m_wakeFd, &one, sizeof(one)) < 0) {
            // Cannot happen with a counter this small; the poll timeout below still ends it.
        }
        m_thread.join();
    }
    if (m_wakeFd >= 0) {
        ::close(m_wakeFd);
    }
    sd_bus_slot_unref(m_slot);
}

bool CLogindSleepNotifier::subscribe() {
    const int result =
        sd_bus_match_signal(m_bus->get(), &m_slot, "org.freedesktop.login1",
                            "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                            "PrepareForSleep", &CLogindSleepNotifier::onPrepareForSleep, this);
    if (result < 0) {
        VXT_LOG_WARNING("Sleep notifications off: cannot subscribe to logind ("
                        << std::strerror(-result) << ")");
        return false;
    }
    return true;
}

bool CLogindSleepNotifier::startThread() {
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wakeFd < 0) {
        VXT_LOG_WARNING("Sleep notifications off: no eventfd (" << std::strerror(errno) << ")");
        return false;
    }
    try {
        m_thread = std::thread(&CLogindSleepNotifier::run, this);
    } catch (const std::exception& e) {
        VXT_LOG_WARNING("Sleep notifications off: cannot start a thread: " << e.what());
        return false;
    }
    return true;
}

void CLogindSleepNotifier::run() {
    while (!m_stop) {
        const int result = sd_bus_process(m_bus->get(), nullptr);
        if (result < 0) {
            VXT_LOG_WARNING("Sleep notifications off: the system bus failed ("
                            << std::strerror(-result) << ")");
            return;
        }
        if (result == 0 && !waitForBus()) {
            return;
        }
    }
}

// Waits until the bus has something to process or the destructor asks the thread to end;
// false when the thread should end.
bool CLogindSleepNotifier::waitForBus() {
    sd_bus* bus = m_bus->get();
    const int events = sd_bus_get_events(bus);
    const int busFd = sd_bus_get_fd(bus);
    if (events < 0 || busFd < 0) {
        return false;
    }
    int timeoutMs = -1;
    uint64_t until = 0;
    if (sd_bus_get_timeout(bus, &until) >= 0 && until != UINT64_MAX) {
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        const uint64_t nowUsec = static_cast<uint64_t>(now.tv_sec) * 1000000u +
                                 static_cast<uint64_t>(now.tv_nsec) / 1000u;
        const uint64_t waitMs = until <= nowUsec ? 0 : (until - nowUsec + 999) / 1000;
        timeoutMs = static_cast<int>(std::min<uint64_t>(waitMs, INT_MAX));
    }
    struct pollfd fds[2];
    fds[0].fd = busFd;
    fds[0].events = static_cast<short>(events);
    fds[0].revents = 0;
    fds[1].fd = m_wakeFd;
    fds[1].events = POLLIN;
    fds[1].revents = 0;
    const int result = ::poll(fds, 2, timeoutMs);
    if (result < 0 && errno != EINTR) {
        return false;
    }
    return !m_stop;
}

int CLogindSleepNotifier::onPrepareForSleep(sd_bus_message* message, void* userData,
                                            sd_bus_error* /*error*/) {
    CLogindSleepNotifier* self = static_cast<CLogindSleepNotifier*>(userData);
    int goingToSleep = 0;
    if (sd_bus_message_read(message, "b", &goingToSleep) < 0) {
        return 0;
    }
    try {
        const bool sleeping = goingToSleep != 0;
        self->sleepEvent.notify(self, sleeping);
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Sleep notification handler failed: " << e.what());
    }
    return 0;
}

}  // namespace vx_transfers
