#include <Poco/Delegate.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/porting/linux/CResolverReachabilityChecker.h"

namespace vx_transfers {
namespace {

const std::chrono::seconds kWaitLimit(20);

// Counts the events it receives and lets a test wait for them.
class CResolvedRecorder {
public:
    void onResolved(const bool& resolved) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (resolved) {
            ++m_trueCount;
        } else {
            ++m_falseCount;
        }
        m_changed.notify_all();
    }

    bool waitForTrue() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kWaitLimit, [this] { return m_trueCount > 0; });
    }

    int trueCount() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_trueCount;
    }
    int falseCount() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_falseCount;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_trueCount = 0;
    int m_falseCount = 0;
};

// A flag that a test can wait for.
class CLatch {
public:
    void open() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    bool wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kWaitLimit, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

// A resolver that blocks until the test releases it, as a lookup without a DNS answer does.
// Its destruction shows that the checker's thread has let go of everything.
class CBlockingResolver {
public:
    explicit CBlockingResolver(std::shared_ptr<CLatch> destroyed) : m_destroyed(destroyed) {}
    ~CBlockingResolver() { m_destroyed->open(); }

    bool resolve() {
        m_called.open();
        m_released.wait();
        return true;
    }

    CLatch m_called;
    CLatch m_released;

private:
    std::shared_ptr<CLatch> m_destroyed;
};

TEST(CResolverReachabilityCheckerTest, LocalhostResolvesAndFiresTrueOnce) {
    CResolvedRecorder recorder;
    std::unique_ptr<IReachabilityChecker> checker(IReachabilityChecker::create("localhost"));
    ASSERT_NE(nullptr, checker);
    checker->hostResolvedEvent += Poco::delegate(&recorder, &CResolvedRecorder::onResolved);
    checker->start();
    checker->start();
    ASSERT_TRUE(recorder.waitForTrue());
    checker.reset();
    EXPECT_EQ(1, recorder.trueCount());
    EXPECT_EQ(0, recorder.falseCount());
}

TEST(CResolverReachabilityCheckerTest, RetriesWithGrowingDelayUntilTheHostResolves) {
    std::mutex mutex;
    std::vector<std::chrono::steady_clock::time_point> attempts;
    auto resolver = [&](const std::string& host) {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ("service.test", host);
        attempts.push_back(std::chrono::steady_clock::now());
        return attempts.size() == 4;
    };
    CResolvedRecorder recorder;
    CResolverReachabilityChecker checker("service.test", resolver, std::chrono::milliseconds(5),
                                         std::chrono::milliseconds(20));
    checker.hostResolvedEvent += Poco::delegate(&recorder, &CResolvedRecorder::onResolved);
    checker.start();
    ASSERT_TRUE(recorder.waitForTrue());

    std::lock_guard<std::mutex> lock(mutex);
    ASSERT_EQ(4u, attempts.size());
    // Delays of 5, 10 and 20 ms at least: each wait is no shorter than the one it doubles.
    EXPECT_GE(attempts[1] - attempts[0], std::chrono::milliseconds(5));
    EXPECT_GE(attempts[2] - attempts[1], std::chrono::milliseconds(10));
    EXPECT_GE(attempts[3] - attempts[2], std::chrono::milliseconds(20));
    EXPECT_EQ(1, recorder.trueCount());
}

TEST(CResolverReachabilityCheckerTest, DestroyDuringABlockedLookupReturnsAndNothingFires) {
    auto destroyed = std::make_shared<CLatch>();
    auto blocking = std::make_shared<CBlockingResolver>(destroyed);
    CResolvedRecorder recorder;
    auto checker = std::make_unique<CResolverReachabilityChecker>(
        "service.test", [blocking](const std::string&) { return blocking->resolve(); },
        std::chrono::milliseconds(5), std::chrono::milliseconds(5));
    checker->hostResolvedEvent += Poco::delegate(&recorder, &CResolvedRecorder::onResolved);
    checker->start();
    ASSERT_TRUE(blocking->m_called.wait());

    checker.reset();              // must not wait for the lookup
    blocking->m_released.open();  // the lookup succeeds after its checker is gone
    blocking.reset();
    ASSERT_TRUE(destroyed->wait());  // the thread has ended
    EXPECT_EQ(0, recorder.trueCount());
}

TEST(CResolverReachabilityCheckerTest, DestroyDuringTheBackOffEndsTheThread) {
    auto destroyed = std::make_shared<CLatch>();
    auto failing = std::make_shared<CBlockingResolver>(destroyed);
    failing->m_released.open();
    auto checker = std::make_unique<CResolverReachabilityChecker>(
        "service.test",
        [failing](const std::string&) {
            failing->resolve();
            return false;
        },
        std::chrono::hours(1), std::chrono::hours(1));
    checker->start();
    ASSERT_TRUE(failing->m_called.wait());
    failing.reset();

    checker.reset();
    // Without the wake-up the thread would wait out its hour-long delay.
    EXPECT_TRUE(destroyed->wait());
}

TEST(CResolverReachabilityCheckerTest, EmptyHostGivesNoChecker) {
    EXPECT_EQ(nullptr, IReachabilityChecker::create(""));
}

}  // namespace
}  // namespace vx_transfers
