#include <gtest/gtest.h>

#include <limits>

#include "memory/CTransferProgressTracker.h"

namespace vx_transfers {
namespace {

// Time that only moves when the test says so.
class CManualClock : public CTransferProgressTracker::IClock {
public:
    long long monotonicMicroseconds() override { return m_monotonic; }
    long long epochMicroseconds() override { return m_epoch; }

    void advanceMs(long long ms) { advanceUs(ms * 1000); }
    void advanceUs(long long us) {
        m_monotonic += us;
        m_epoch += us;
    }

private:
    long long m_monotonic = 42000000;
    long long m_epoch = 1700000000000000;  // microseconds since the epoch
};

class CTransferProgressTrackerTest : public ::testing::Test {
protected:
    unsigned long long epochMs() { return m_clock.epochMicroseconds() / 1000; }

    CManualClock m_clock;
    CTransferProgressTracker m_tracker{&m_clock};
};

constexpr unsigned long long kWrapped(unsigned long long below) { return 0ULL - below; }

TEST_F(CTransferProgressTrackerTest, NothingIsMeasuredBeforeOneMillisecondHasPassed) {
    m_tracker.Start(1000);
    m_tracker.AddData(500);
    m_clock.advanceUs(999);
    EXPECT_EQ(0u, m_tracker.GetAverageTransferSpeed());
    EXPECT_EQ(0, m_tracker.GetLastTransferSpeed());
    EXPECT_EQ(0.0f, m_tracker.GetAverageTransferSpeedBytesPerMsNoLock());
    EXPECT_EQ(0u, m_tracker.GetAverageTransferSpeedBytesPerSecNoLock());
    EXPECT_EQ(0u, m_tracker.GetEtaMs());
    m_clock.advanceUs(1);
    EXPECT_EQ(500000u, m_tracker.GetAverageTransferSpeed());
}

TEST_F(CTransferProgressTrackerTest, WithinTheFirstPortionTheLastSpeedIsTheAverage) {
    m_tracker.Start(100000);
    m_clock.advanceMs(400);
    m_tracker.AddData(1000);
    m_clock.advanceMs(100);
    // 1000 bytes over 500 ms.
    EXPECT_EQ(2000u, m_tracker.GetAverageTransferSpeed());
    EXPECT_EQ(2000, m_tracker.GetLastTransferSpeed());
    // The milliseconds are whole: 1000 bytes over 500.999 ms still counts as 500 ms.
    m_clock.advanceUs(999);
    EXPECT_EQ(2000u, m_tracker.GetAverageTransferSpeed());
}

TEST_F(CTransferProgressTrackerTest, PortionSpeedIsTakenAtTheFirstDataAfterFiveSeconds) {
    m_tracker.Start(0);
    m_clock.advanceUs(4999999);
    m_tracker.AddData(1000);
    // Still inside the first portion: no portion speed yet, the average is shown.
    m_clock.advanceUs(1);
    EXPECT_EQ(200u, m_tracker.GetAverageTransferSpeed());
    EXPECT_EQ(200, m_tracker.GetLastTransferSpeed());

    // The data arrives 3 s after the five-second mark: the portion is 8000 ms long.
    m_clock.advanceMs(3000);
    m_tracker.AddData(15000);
    EXPECT_EQ(2000, m_tracker.GetLastTransferSpeed());

    // A new portion began with that data; its speed stays until the next one ends, however the
    // transfer goes meanwhile.
    m_clock.advanceMs(4000);
    m_tracker.AddData(400000);
    m_clock.advanceMs(30000);
    EXPECT_EQ(2000, m_tracker.GetLastTransferSpeed());
    m_tracker.AddData(0);
    // 400000 bytes over the 34000 ms since the previous portion ended.
    EXPECT_EQ(11764, m_tracker.GetLastTransferSpeed());
}

TEST_F(CTransferProgressTrackerTest, SpeedsAreComputedInSinglePrecision) {
    m_tracker.Start(0);
    m_clock.advanceUs(5001999);  // 5001 whole milliseconds
    m_tracker.AddData(987654321);
    // In double precision this would be 197491365.
    EXPECT_EQ(197491376, m_tracker.GetLastTransferSpeed());
}

TEST_F(CTransferProgressTrackerTest, AverageSpeedSinksWithinEachPortionFromTheLifetimeBytes) {
    m_tracker.Start(0);
    m_clock.advanceMs(5000);
    m_tracker.AddData(10000);  // ends the first portion
    m_clock.advanceMs(1000);
    // Lifetime bytes over the new portion's second, not over the six seconds.
    EXPECT_EQ(10000u, m_tracker.GetAverageTransferSpeed());
    m_clock.advanceMs(1000);
    EXPECT_EQ(5000u, m_tracker.GetAverageTransferSpeed());
    // The overall figures use the whole time.
    EXPECT_FLOAT_EQ(10000.0f / 7000.0f, m_tracker.GetAverageTransferSpeedBytesPerMsNoLock());
    EXPECT_EQ(1428u, m_tracker.GetAverageTransferSpeedBytesPerSecNoLock());
}

TEST_F(CTransferProgressTrackerTest, PauseDropsThePortionAndKeepsTheOverallTime) {
    m_tracker.Start(0);
    m_clock.advanceMs(5000);
    m_tracker.AddData(5000);
    ASSERT_EQ(1000, m_tracker.GetLastTransferSpeed());

    m_tracker.Pause();
    EXPECT_TRUE(m_tracker.IsStarted());
    m_clock.advanceMs(60000);  // not counted anywhere
    EXPECT_EQ(0u, m_tracker.GetAverageTransferSpeed());
    EXPECT_EQ(1000u, m_tracker.GetAverageTransferSpeedBytesPerSecNoLock());

    m_tracker.Resume();
    // No portion speed and a portion watch near 0: nothing to show until 1 ms has passed.
    m_clock.advanceUs(999);
    EXPECT_EQ(0, m_tracker.GetLastTransferSpeed());
    m_clock.advanceUs(1);
    EXPECT_EQ(5000000, m_tracker.GetLastTransferSpeed());
    m_clock.advanceMs(4999);
    EXPECT_FLOAT_EQ(5000.0f / 10000.0f, m_tracker.GetAverageTransferSpeedBytesPerMsNoLock());

    // The first portion after a resume starts from the bytes counted at the resume.
    m_tracker.AddData(2500);
    EXPECT_EQ(500, m_tracker.GetLastTransferSpeed());
}

TEST_F(CTransferProgressTrackerTest, RestoredBytesAreTheBaseOfTheFirstPortion) {
    m_tracker.AddData(1000000);
    m_tracker.IncreaseTotal(3000000);
    m_tracker.Start(0);
    EXPECT_TRUE(m_tracker.IsStarted());
    m_clock.advanceMs(5000);
    m_tracker.AddData(50000);
    EXPECT_EQ(10000, m_tracker.GetLastTransferSpeed());
    // 1950000 bytes left at 10 bytes per ms; the total survived a Start with 0.
    EXPECT_EQ(epochMs() + 195000, m_tracker.GetEtaMs());
}

TEST_F(CTransferProgressTrackerTest, EtaIsAnAbsoluteMomentFromTheAverageWhileNoPortionEnded) {
    m_tracker.Start(2000);
    m_tracker.AddData(1000);
    m_clock.advanceMs(1000);
    EXPECT_EQ(epochMs() + 1000, m_tracker.GetEtaMs());
}

TEST_F(CTransferProgressTrackerTest, EtaIsZeroWhenItCannotBeTold) {
    struct Case {
        const char* name;
        unsigned long long total;
        long long transferred;
    };
    const Case cases[] = {
        {"fully transferred", 4000, 4000},
        {"no bytes yet, so no speed", 4000, 0},
        // More than the total: the wrapped remainder over a speed below one byte per ms is
        // beyond 64 bits.
        {"beyond the total", 4000, 4001},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CManualClock clock;
        CTransferProgressTracker tracker(&clock);
        tracker.Start(c.total);
        tracker.AddData(c.transferred);
        clock.advanceMs(8000);
        EXPECT_EQ(0u, tracker.GetEtaMs());
    }
}

TEST_F(CTransferProgressTrackerTest, StopClearsEverythingButTheTotal) {
    m_tracker.Start(9000);
    m_clock.advanceMs(5000);
    m_tracker.AddData(3000);
    m_tracker.Stop();
    EXPECT_FALSE(m_tracker.IsStarted());
    m_clock.advanceMs(1000);
    EXPECT_EQ(0, m_tracker.GetLastTransferSpeed());
    EXPECT_EQ(0u, m_tracker.GetAverageTransferSpeedBytesPerSecNoLock());

    m_tracker.Start(0);
    m_tracker.AddData(3000);
    m_clock.advanceMs(1000);
    // 6000 bytes left at 3 bytes per ms.
    EXPECT_EQ(epochMs() + 2000, m_tracker.GetEtaMs());
}

TEST_F(CTransferProgressTrackerTest, TakingBackMoreThanTransferredWrapsTheCount) {
    m_tracker.Start(0);
    m_tracker.AddData(100);
    m_tracker.AddData(-150);
    m_clock.advanceMs(1);
    EXPECT_FLOAT_EQ(static_cast<float>(kWrapped(50)),
                    m_tracker.GetAverageTransferSpeedBytesPerMsNoLock());
}

TEST_F(CTransferProgressTrackerTest, DecreaseBytesTransferedClearsUnlessItGoesBelowZero) {
    struct Case {
        unsigned long long decrease;
        unsigned long long expected;
    };
    const Case cases[] = {{5, 0}, {100, 0}, {150, kWrapped(50)}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.decrease);
        CManualClock clock;
        CTransferProgressTracker tracker(&clock);
        tracker.Start(0);
        tracker.AddData(100);
        clock.advanceMs(5000);
        tracker.AddData(0);
        ASSERT_EQ(20, tracker.GetLastTransferSpeed());

        tracker.DecreaseBytesTransfered(c.decrease);
        clock.advanceMs(1000);
        EXPECT_FLOAT_EQ(static_cast<float>(c.expected) / 6000.0f,
                        tracker.GetAverageTransferSpeedBytesPerMsNoLock());
        // The portion speed (20) is forgotten; with no bytes left to count, the fallback shows 0.
        if (c.expected == 0) {
            EXPECT_EQ(0, tracker.GetLastTransferSpeed());
        }
        // The new count is the base of the next portion, which counts only what comes after.
        clock.advanceMs(4000);
        tracker.AddData(500);
        EXPECT_EQ(100, tracker.GetLastTransferSpeed());
    }
}

TEST_F(CTransferProgressTrackerTest, DecreaseTotalRestartsThePortionBase) {
    m_tracker.Start(10000);
    m_tracker.AddData(4000);
    m_tracker.DecreaseTotal(1000);
    m_tracker.IncreaseTotal(500);
    m_clock.advanceMs(5000);
    m_tracker.AddData(2500);
    // Only the 2500 bytes that came after the decrease count for the portion.
    EXPECT_EQ(500, m_tracker.GetLastTransferSpeed());
    // 9500 - 6500 bytes left at 0.5 bytes per ms.
    EXPECT_EQ(epochMs() + 6000, m_tracker.GetEtaMs());
}

}  // namespace
}  // namespace vx_transfers
