// A channel clock that tests move by hand. Time advances only through sleepMs() and advance(),
// so the speed limit can be checked without waiting for it. Gated, a sleep also waits for a
// permit from the test, which holds the channel's thread at a known point between chunks
// (bounded: a sleep never waits for a permit longer than 10 seconds).
#ifndef VXT_TESTS_SUPPORT_CMANUALCHANNELCLOCK_H
#define VXT_TESTS_SUPPORT_CMANUALCHANNELCLOCK_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "channels/IChannelClock.h"

namespace vxt_test {

class CManualChannelClock : public vx_transfers::IChannelClock {
public:
    unsigned long long nowMicros() override;
    void sleepMs(long milliseconds) override;

    void advance(std::chrono::microseconds by);
    // From now on every sleep waits for a permit; ungate() lets every sleep pass again.
    void gate();
    void ungate();
    void permit(int sleeps = 1);

    unsigned long long sleeps() const;  // sleeps begun so far
    int sleepersWaiting() const;        // threads held at a gated sleep now
    // Waits until `predicate` holds, checking it at every change of this clock and at
    // notify(); false after `timeout`.
    bool waitUntil(const std::function<bool()>& predicate, std::chrono::milliseconds timeout);
    void notify();

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned long long m_now = 1000000;
    unsigned long long m_sleeps = 0;
    bool m_gated = false;
    int m_permits = 0;
    int m_waiting = 0;
    unsigned long long m_generation = 0;
};

}  // namespace vxt_test

#endif
