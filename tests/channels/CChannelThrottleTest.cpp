#include <gtest/gtest.h>

#include <chrono>

#include "channels/CChannelThrottle.h"
#include "support/CManualChannelClock.h"

namespace vx_transfers {
namespace {

using std::chrono::microseconds;

class CChannelThrottleTest : public ::testing::Test {
protected:
    vxt_test::CManualChannelClock m_clock;
};

TEST_F(CChannelThrottleTest, WithoutLimitEveryChunkIsTheRestAndNothingSleeps) {
    CChannelThrottle throttle(m_clock, 0);
    EXPECT_EQ(123456789u, throttle.takeChunk(123456789));
    throttle.endOfChunk();
    EXPECT_EQ(0u, m_clock.sleeps());
}

TEST_F(CChannelThrottleTest, SpentAllowanceSleepsOutThePeriodRoundedUp) {
    struct Case {
        long long elapsedMicros;
        unsigned long long sleptMicros;
    };
    const Case cases[] = {{0, 1000000}, {1, 1000000}, {250500, 750000}, {999999, 1000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.elapsedMicros);
        CChannelThrottle throttle(m_clock, 1000);
        EXPECT_EQ(1000u, throttle.takeChunk(5000));
        m_clock.advance(microseconds(c.elapsedMicros));
        const unsigned long long before = m_clock.nowMicros();
        throttle.endOfChunk();
        EXPECT_EQ(c.sleptMicros, m_clock.nowMicros() - before);
        // A new period with a full allowance.
        EXPECT_EQ(1000u, throttle.takeChunk(5000));
    }
}

TEST_F(CChannelThrottleTest, PeriodThatRanLongStartsTheNextAtOnce) {
    CChannelThrottle throttle(m_clock, 1000);
    throttle.takeChunk(1000);
    m_clock.advance(microseconds(1500000));
    throttle.endOfChunk();
    EXPECT_EQ(0u, m_clock.sleeps());
}

TEST_F(CChannelThrottleTest, AllowanceIsSharedByTheChunksOfAPeriod) {
    CChannelThrottle throttle(m_clock, 1000);
    EXPECT_EQ(300u, throttle.takeChunk(300));
    throttle.endOfChunk();  // allowance left: no sleep
    EXPECT_EQ(0u, m_clock.sleeps());
    EXPECT_EQ(700u, throttle.takeChunk(5000));
    throttle.endOfChunk();
    EXPECT_EQ(1u, m_clock.sleeps());
}

TEST_F(CChannelThrottleTest, LimitSetDuringTheTransferStartsWithAnEmptyChunk) {
    CChannelThrottle throttle(m_clock, 0);
    throttle.setMaxSpeed(2000);
    EXPECT_EQ(0u, throttle.takeChunk(5000));
    m_clock.advance(microseconds(3000000));
    throttle.endOfChunk();  // refills without sleeping: the period is long over
    EXPECT_EQ(0u, m_clock.sleeps());
    EXPECT_EQ(2000u, throttle.takeChunk(5000));
}

}  // namespace
}  // namespace vx_transfers
