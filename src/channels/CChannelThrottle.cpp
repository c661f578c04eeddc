#include "channels/CChannelThrottle.h"

#include <algorithm>

#include "channels/IChannelClock.h"

namespace vx_transfers {

namespace {
const unsigned long long kPeriodMicros = 1000000;
}

CChannelThrottle::CChannelThrottle(IChannelClock& clock, unsigned int maxSpeed)
    : m_clock(clock),
      m_maxSpeed(maxSpeed),
      m_allowance(maxSpeed),
      m_periodStart(clock.nowMicros()) {}

unsigned long long CChannelThrottle::takeChunk(unsigned long long remaining) {
    if (m_maxSpeed == 0) {
        return remaining;
    }
    const unsigned long long chunk = std::min(m_allowance, remaining);
    m_allowance -= chunk;
    return chunk;
}

void CChannelThrottle::endOfChunk() {
    if (m_maxSpeed == 0 || m_allowance != 0) {
        return;
    }
    const unsigned long long now = m_clock.nowMicros();
    const unsigned long long elapsed = now > m_periodStart ? now - m_periodStart : 0;
    if (elapsed < kPeriodMicros) {
        // Rounded up: a period never ends early, so the limit is never exceeded.
        m_clock.sleepMs(static_cast<long>((kPeriodMicros - elapsed + 999) / 1000));
    }
    m_allowance = m_maxSpeed;
    m_periodStart = m_clock.nowMicros();
}

}  // namespace vx_transfers
