#pragma once

#include <Poco/Mutex.h>

#include <atomic>

namespace vx_transfers {

// Bytes, speed and expected end of one file or one group. Passive: the owner feeds it from the
// channels' progress events and reads it when it composes a FileState or GroupState. All figures
// are single-precision floats over byte counts and whole milliseconds, and are shown to the user
// exactly as they come out, so the arithmetic below must not be "improved".
//
// Speed is measured over portions of at least five seconds: a portion ends at the first data that
// arrives after five seconds have passed since it began.
class CTransferProgressTracker {
public:
    // Where the tracker reads time. The default is the system's clocks; tests pass a clock that
    // they move by hand.
    class IClock {
    public:
        virtual ~IClock() = default;
        // Monotonic time in microseconds, for measuring durations.
        virtual long long monotonicMicroseconds() = 0;
        // Wall-clock time in microseconds since the epoch, for the moment of completion.
        virtual long long epochMicroseconds() = 0;
    };

    CTransferProgressTracker();
    // The clock is not owned and must outlive the tracker.
    explicit CTransferProgressTracker(IClock* clock);

    CTransferProgressTracker(const CTransferProgressTracker&) = delete;
    CTransferProgressTracker& operator=(const CTransferProgressTracker&) = delete;

    // Starts measuring. A non-zero total replaces the size of the work; the bytes already counted
    // (a restored transfer) become the base of the first portion.
    void Start(unsigned long long total);
    // Back to "not started": counts and watches are cleared, the total stays.
    void Stop();
    // The overall time keeps its sum, the current portion is dropped.
    void Pause();
    void Resume();
    bool IsStarted();

    // Negative when channels take bytes back; the count wraps rather than going below 0.
    void AddData(long long delta);
    void IncreaseTotal(unsigned long long n);
    void DecreaseTotal(unsigned long long n);
    // Only a decrease by more than what was counted leaves a (wrapped) count; any other clears
    // it. A group relies on that: removing a finished file clears its count, and the following
    // progress events build it up again.
    void DecreaseBytesTransfered(unsigned long long n);

    // Bytes per second: all bytes counted over the time of the current portion.
    unsigned int GetAverageTransferSpeed();
    // Bytes per second of the last finished portion, or the average while none is known.
    long long GetLastTransferSpeed();
    // All bytes counted over the overall time; these two take no lock.
    float GetAverageTransferSpeedBytesPerMsNoLock();
    unsigned int GetAverageTransferSpeedBytesPerSecNoLock();
    // The expected moment of completion in milliseconds since the epoch, or 0 when it cannot be
    // told (no time measured, no speed, or nothing left).
    unsigned long long GetEtaMs();

private:
    // Same behaviour as Poco::Stopwatch (reset also stops it), but reading time from the
    // tracker's clock.
    class Watch {
    public:
        void start(long long now);
        void stop(long long now);
        void reset();
        long long elapsed(long long now) const;
        bool isRunning() const { return m_running; }

    private:
        long long m_start = 0;
        long long m_elapsed = 0;
        bool m_running = false;
    };

    void calculateLastPortionTransferSpeed();
    long long now();

    Poco::FastMutex m_mutex;
    Watch m_overallWatch;
    Watch m_portionWatch;
    unsigned long long m_totalBytes;
    unsigned long long m_bytesTransferred;
    // Bytes per millisecond; 0 means not known. Atomic because GetLastTransferSpeed reads it
    // without the lock.
    std::atomic<float> m_lastPortionSpeed;
    unsigned long long m_portionStartBytes;
    std::atomic<bool> m_started;
    IClock* m_clock;
};

}  // namespace vx_transfers
