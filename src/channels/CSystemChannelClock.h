#pragma once

#include "channels/IChannelClock.h"

namespace vx_transfers {

// The real clock: Poco::Timestamp and Poco::Thread::sleep.
class CSystemChannelClock : public IChannelClock {
public:
    unsigned long long nowMicros() override;
    void sleepMs(long milliseconds) override;

    // One shared instance; it has no state.
    static CSystemChannelClock& instance();
};

}  // namespace vx_transfers
