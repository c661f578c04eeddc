#include <Poco/Delegate.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "CFakeLogind.h"
#include "CPlatformTestEnvironment.h"
#include "CPrivateBus.h"
#include "platform/porting/linux/CLogindSleepNotifier.h"

namespace vx_transfers {
namespace {

using platform_test::CScopedEnv;
using platform_test::CTempDir;

class CSleepRecorder {
public:
    void onSleep(const bool& sleeping) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(sleeping);
        m_changed.notify_all();
    }

    bool waitForCount(std::size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(20),
                                  [&] { return m_events.size() >= count; });
    }

    std::vector<bool> events() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<bool> m_events;
};

TEST(CLogindSleepNotifierTest, WithoutASystemBusThereIsNoNotifierAndOneLogLine) {
    CTempDir dir;
    const std::string address = "unix:path=" + dir.file("no-bus-here");
    CScopedEnv bus("DBUS_SYSTEM_BUS_ADDRESS", address.c_str());
    const std::string line = "Sleep notifications off: the system bus is not reachable";
    const platform_test::CLogMark mark;

    std::unique_ptr<ISleepNotifier> notifier(ISleepNotifier::create());

    EXPECT_EQ(nullptr, notifier);
    const std::vector<std::string> lines = mark.linesContaining(line);
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines.back().find("[Warning] "));
}

TEST(CLogindSleepNotifierTest, PrepareForSleepSignalsReachTheEvent) {
    CTempDir dir;
    platform_test::CPrivateBus bus(dir.path());
    ASSERT_TRUE(bus.isRunning()) << "dbus-daemon is needed (scripts/install-deps)";
    platform_test::CFakeLogind logind;
    ASSERT_TRUE(logind.isReady());

    std::unique_ptr<ISleepNotifier> notifier(ISleepNotifier::create());
    ASSERT_NE(nullptr, notifier);
    CSleepRecorder recorder;
    notifier->sleepEvent += Poco::delegate(&recorder, &CSleepRecorder::onSleep);

    // The match is installed at the daemon before create() returns: no signal is missed.
    ASSERT_TRUE(logind.emitPrepareForSleep(true));
    ASSERT_TRUE(recorder.waitForCount(1));
    ASSERT_TRUE(logind.emitPrepareForSleep(false));
    ASSERT_TRUE(recorder.waitForCount(2));

    notifier->sleepEvent -= Poco::delegate(&recorder, &CSleepRecorder::onSleep);
    notifier.reset();
    EXPECT_EQ((std::vector<bool>{true, false}), recorder.events());
}

}  // namespace
}  // namespace vx_transfers
