#pragma once

namespace vx_transfers {

class IChannelClock;

// The speed limit of one channel: periods of one second, each with an allowance of `maxSpeed`
// bytes. A chunk is charged with what it asks for, not with what it moves, so a channel whose
// buffers are smaller than the allowance moves one buffer per period. When the allowance is
// spent the channel sleeps to the end of the period; there is no carry between periods.
class CChannelThrottle {
public:
    // Starts the first period now with the allowance of `maxSpeed` (0: no limit).
    CChannelThrottle(IChannelClock& clock, unsigned int maxSpeed);

    // The limit read at the latest turn; takes effect at the next period.
    void setMaxSpeed(unsigned int maxSpeed) { m_maxSpeed = maxSpeed; }
    // How many of `remaining` bytes the next chunk may ask for, charged to the allowance.
    unsigned long long takeChunk(unsigned long long remaining);
    // After a chunk: when the allowance is spent, sleeps out the period and starts a new one.
    void endOfChunk();

private:
    IChannelClock& m_clock;
    unsigned int m_maxSpeed;
    unsigned long long m_allowance;
    unsigned long long m_periodStart;
};

}  // namespace vx_transfers
