#include "channels/CSystemChannelClock.h"

#include <Poco/Clock.h>
#include <Poco/Thread.h>

namespace vx_transfers {

unsigned long long CSystemChannelClock::nowMicros() {
    // Monotonic, so that a change of the wall clock cannot stretch or skip a throttle period.
    return static_cast<unsigned long long>(Poco::Clock().raw());
}

void CSystemChannelClock::sleepMs(long milliseconds) {
    if (milliseconds > 0) {
        Poco::Thread::sleep(milliseconds);
    }
}

CSystemChannelClock& CSystemChannelClock::instance() {
    static CSystemChannelClock clock;
    return clock;
}

}  // namespace vx_transfers
