#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CManagersTestEnvironment.h"
#include "managers/CSleepPreventerCounterProxy.h"
#include "platform/porting/ISleepPreventer.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

// Counts the calls of the proxy; owned by the proxy, so the counts live outside.
struct PreventerCalls {
    int starts = 0;
    int stops = 0;
    bool preventing = false;
    bool startSucceeds = true;
    bool stopSucceeds = true;
};

class CRecordingPreventer : public ISleepPreventer {
public:
    explicit CRecordingPreventer(PreventerCalls& calls) : m_calls(calls) {}

    bool start() override {
        ++m_calls.starts;
        m_calls.preventing = m_calls.startSucceeds;
        return m_calls.startSucceeds;
    }
    bool isPreventing() override { return m_calls.preventing; }
    bool stop() override {
        ++m_calls.stops;
        m_calls.preventing = !m_calls.stopSucceeds;
        return m_calls.stopSucceeds;
    }

private:
    PreventerCalls& m_calls;
};

TEST(CSleepPreventerCounterProxyTest, TwoIncrementsAndTwoDecrementsStartAndStopOnce) {
    PreventerCalls calls;
    CSleepPreventerCounterProxy proxy(new CRecordingPreventer(calls));
    CLogFileTail log(CManagersTestEnvironment::logFilePath());

    proxy.sleepCounterIncrement();
    proxy.sleepCounterIncrement();
    EXPECT_EQ(proxy.getCounter(), 2u);
    EXPECT_EQ(calls.starts, 1);
    proxy.sleepCounterDecrement();
    EXPECT_EQ(calls.stops, 0);
    proxy.sleepCounterDecrement();

    EXPECT_EQ(proxy.getCounter(), 0u);
    EXPECT_EQ(calls.stops, 1);
    EXPECT_EQ(log.count("Information", "Start preventing sleep!"), 1u);
    EXPECT_EQ(log.count("Information", "Stop preventing sleep!"), 1u);
}

TEST(CSleepPreventerCounterProxyTest, DecrementAtZeroStaysAtZeroAndCallsNothing) {
    PreventerCalls calls;
    CSleepPreventerCounterProxy proxy(new CRecordingPreventer(calls));

    proxy.sleepCounterDecrement();

    EXPECT_EQ(proxy.getCounter(), 0u);
    EXPECT_EQ(calls.starts + calls.stops, 0);
}

TEST(CSleepPreventerCounterProxyTest, PlatformFailuresAreLoggedAndTheCounterMovesAllTheSame) {
    PreventerCalls calls;
    calls.startSucceeds = false;
    calls.stopSucceeds = false;
    CSleepPreventerCounterProxy proxy(new CRecordingPreventer(calls));
    CLogFileTail log(CManagersTestEnvironment::logFilePath());

    proxy.sleepCounterIncrement();
    EXPECT_EQ(proxy.getCounter(), 1u);
    proxy.sleepCounterDecrement();

    EXPECT_EQ(proxy.getCounter(), 0u);
    EXPECT_EQ(log.count("Information", "Failed to start preventing sleep!"), 1u);
    EXPECT_EQ(log.count("Information", "Failed to stop preventing sleep!"), 1u);
}

TEST(CSleepPreventerCounterProxyTest, FirstIncrementWhilePreventingAlreadyStartsNothing) {
    PreventerCalls calls;
    calls.preventing = true;
    CSleepPreventerCounterProxy proxy(new CRecordingPreventer(calls));

    proxy.sleepCounterIncrement();

    EXPECT_EQ(calls.starts, 0);
    EXPECT_EQ(proxy.getCounter(), 1u);
}

TEST(CSleepPreventerCounterProxyTest, WithoutAPlatformPreventerTheCounterStillCounts) {
    CSleepPreventerCounterProxy proxy(nullptr);

    proxy.sleepCounterIncrement();
    proxy.sleepCounterIncrement();
    proxy.sleepCounterDecrement();

    EXPECT_EQ(proxy.getCounter(), 1u);
}

}  // namespace
}  // namespace vx_transfers
