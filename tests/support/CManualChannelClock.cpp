#include "support/CManualChannelClock.h"

namespace vxt_test {

unsigned long long CManualChannelClock::nowMicros() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_now;
}

void CManualChannelClock::sleepMs(long milliseconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_sleeps;
    if (m_gated) {
        ++m_waiting;
        ++m_generation;
        m_changed.notify_all();
        m_changed.wait_for(lock, std::chrono::seconds(10),
                           [this] { return !m_gated || m_permits > 0; });
        if (m_permits > 0) --m_permits;
        --m_waiting;
    }
    if (milliseconds > 0) {
        m_now += static_cast<unsigned long long>(milliseconds) * 1000;
    }
    ++m_generation;
    m_changed.notify_all();
}

void CManualChannelClock::advance(std::chrono::microseconds by) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_now += static_cast<unsigned long long>(by.count());
    ++m_generation;
    m_changed.notify_all();
}

void CManualChannelClock::gate() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_gated = true;
    m_permits = 0;
}

void CManualChannelClock::ungate() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_gated = false;
    ++m_generation;
    m_changed.notify_all();
}

void CManualChannelClock::permit(int sleeps) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_permits += sleeps;
    ++m_generation;
    m_changed.notify_all();
}

unsigned long long CManualChannelClock::sleeps() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sleeps;
}

int CManualChannelClock::sleepersWaiting() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_waiting;
}

bool CManualChannelClock::waitUntil(const std::function<bool()>& predicate,
                                    std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        // The predicate runs unlocked (it may ask this clock); a change while it ran is seen
        // through the generation, so no notification is lost.
        const unsigned long long generation = m_generation;
        lock.unlock();
        const bool done = predicate();
        lock.lock();
        if (done) return true;
        if (!m_changed.wait_until(lock, deadline, [&] { return m_generation != generation; })) {
            return false;
        }
    }
}

void CManualChannelClock::notify() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_generation;
    m_changed.notify_all();
}

}  // namespace vxt_test
