#pragma once

namespace vx_transfers {

// Where a channel reads time and sleeps, so that the speed limit can be tested by moving time
// instead of waiting for it.
class IChannelClock {
public:
    virtual ~IChannelClock() = default;
    // Monotonic time in microseconds.
    virtual unsigned long long nowMicros() = 0;
    virtual void sleepMs(long milliseconds) = 0;
};

}  // namespace vx_transfers
