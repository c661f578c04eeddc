#include "memory/CTransferProgressTracker.h"

#include <Poco/Clock.h>
#include <Poco/Timestamp.h>

#include <limits>

namespace vx_transfers {

namespace {

// A portion of the speed measurement lasts at least this long.
constexpr long long kPortionMicroseconds = 5000000;

// Below one millisecond there is no time to divide by.
bool isBelowOneMillisecond(long long elapsedMicroseconds) {
    return elapsedMicroseconds >= -999 && elapsedMicroseconds <= 999;
}

// Float to integer conversions. In range they truncate towards zero, as a cast does. Out of
// range a cast is undefined; these give what the conversion instructions of x86-64 give there,
// so that a wrapped byte count (a speed beyond any integer) shows the same figure everywhere.
long long truncateToInt64(float value) {
    constexpr float kTwoTo63 = 9223372036854775808.0f;
    if (value >= -kTwoTo63 && value < kTwoTo63) {
        return static_cast<long long>(value);
    }
    return std::numeric_limits<long long>::min();
}

unsigned long long truncateToUint64(float value) {
    constexpr float kTwoTo63 = 9223372036854775808.0f;
    if (value < kTwoTo63) {
        return static_cast<unsigned long long>(truncateToInt64(value));
    }
    return static_cast<unsigned long long>(truncateToInt64(value - kTwoTo63)) ^ (1ULL << 63);
}

// Truncated to 64 bits, then cut to the low 32.
unsigned int truncateToUint32(float value) {
    return static_cast<unsigned int>(static_cast<unsigned long long>(truncateToInt64(value)));
}

}  // namespace

void CTransferProgressTracker::Watch::start(long long now) {
    if (!m_running) {
        m_start = now;
        m_running = true;
    }
}

void CTransferProgressTracker::Watch::stop(long long now) {
    if (m_running) {
        m_elapsed += now - m_start;
        m_running = false;
    }
}

void CTransferProgressTracker::Watch::reset() {
    m_elapsed = 0;
    m_running = false;
}

long long CTransferProgressTracker::Watch::elapsed(long long now) const {
    return m_running ? m_elapsed + (now - m_start) : m_elapsed;
}

CTransferProgressTracker::CTransferProgressTracker() : CTransferProgressTracker(nullptr) {}

CTransferProgressTracker::CTransferProgressTracker(IClock* clock)
    : m_totalBytes(0),
      m_bytesTransferred(0),
      m_lastPortionSpeed(0.0f),
      m_portionStartBytes(0),
      m_started(false),
      m_clock(clock) {}

long long CTransferProgressTracker::now() {
    return m_clock ? m_clock->monotonicMicroseconds() : Poco::Clock().raw();
}

void CTransferProgressTracker::Start(unsigned long long total) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    const long long current = now();
    m_overallWatch.start(current);
    m_portionWatch.start(current);
    if (total != 0) {
        m_totalBytes = total;
    }
    m_lastPortionSpeed = 0.0f;
    m_portionStartBytes = m_bytesTransferred;
    m_started = true;
}

void CTransferProgressTracker::Stop() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_overallWatch.reset();
    m_portionWatch.reset();
    m_bytesTransferred = 0;
    m_lastPortionSpeed = 0.0f;
    m_portionStartBytes = 0;
    m_started = false;
}

void CTransferProgressTracker::Pause() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    const long long current = now();
    m_overallWatch.stop(current);
    m_portionWatch.stop(current);
    m_portionWatch.reset();
    m_lastPortionSpeed = 0.0f;
}

void CTransferProgressTracker::Resume() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    const long long current = now();
    m_overallWatch.start(current);
    m_portionWatch.start(current);
    m_lastPortionSpeed = 0.0f;
    m_portionStartBytes = m_bytesTransferred;
}

bool CTransferProgressTracker::IsStarted() { return m_started; }

void CTransferProgressTracker::AddData(long long delta) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_bytesTransferred += static_cast<unsigned long long>(delta);
    calculateLastPortionTransferSpeed();
}

void CTransferProgressTracker::IncreaseTotal(unsigned long long n) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_totalBytes += n;
}

void CTransferProgressTracker::DecreaseTotal(unsigned long long n) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_totalBytes -= n;
    m_portionStartBytes = m_bytesTransferred;
}

void CTransferProgressTracker::DecreaseBytesTransfered(unsigned long long n) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    const unsigned long long result = m_bytesTransferred < n ? m_bytesTransferred - n : 0;
    m_bytesTransferred = result;
    m_lastPortionSpeed = 0.0f;
    m_portionStartBytes = result;
}

void CTransferProgressTracker::calculateLastPortionTransferSpeed() {
    const long long current = now();
    const long long elapsed = m_portionWatch.elapsed(current);
    if (elapsed < kPortionMicroseconds) {
        return;
    }
    // Unsigned difference: bytes taken back over the portion give a huge speed, not a negative
    // one.
    m_lastPortionSpeed = static_cast<float>(m_bytesTransferred - m_portionStartBytes) /
                         static_cast<float>(elapsed / 1000);
    m_portionStartBytes = m_bytesTransferred;
    m_portionWatch.reset();
    if (!m_portionWatch.isRunning()) {
        m_portionWatch.start(current);
    }
}

unsigned int CTransferProgressTracker::GetAverageTransferSpeed() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    // The current portion's time, not the overall one: the figure starts high and sinks within
    // each portion. It is what the user sees until the first portion ends.
    const long long elapsed = m_portionWatch.elapsed(now());
    if (isBelowOneMillisecond(elapsed)) {
        return 0;
    }
    return truncateToUint32(static_cast<float>(m_bytesTransferred) /
                            static_cast<float>(elapsed / 1000) * 1000.0f);
}

long long CTransferProgressTracker::GetLastTransferSpeed() {
    const float speed = m_lastPortionSpeed;
    if (speed == 0.0f) {
        return GetAverageTransferSpeed();
    }
    return truncateToInt64(speed * 1000.0f);
}

float CTransferProgressTracker::GetAverageTransferSpeedBytesPerMsNoLock() {
    const long long elapsed = m_overallWatch.elapsed(now());
    if (isBelowOneMillisecond(elapsed)) {
        return 0.0f;
    }
    return static_cast<float>(m_bytesTransferred) / static_cast<float>(elapsed / 1000);
}

unsigned int CTransferProgressTracker::GetAverageTransferSpeedBytesPerSecNoLock() {
    const long long elapsed = m_overallWatch.elapsed(now());
    if (isBelowOneMillisecond(elapsed)) {
        return 0;
    }
    return truncateToUint32(static_cast<float>(m_bytesTransferred) /
                            static_cast<float>(elapsed / 1000) * 1000.0f);
}

unsigned long long CTransferProgressTracker::GetEtaMs() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    float speed = m_lastPortionSpeed;
    if (speed == 0.0f) {
        const long long elapsed = m_overallWatch.elapsed(now());
        if (isBelowOneMillisecond(elapsed)) {
            return 0;
        }
        speed = static_cast<float>(m_bytesTransferred) / static_cast<float>(elapsed / 1000);
    }
    unsigned long long eta = 0;
    if (speed != 0.0f) {
        eta = truncateToUint64(static_cast<float>(m_totalBytes - m_bytesTransferred) / speed);
    }
    if (eta == 0) {
        return 0;
    }
    const long long epochMicroseconds =
        m_clock ? m_clock->epochMicroseconds() : Poco::Timestamp().epochMicroseconds();
    return static_cast<unsigned long long>(epochMicroseconds / 1000) + eta;
}

}  // namespace vx_transfers
