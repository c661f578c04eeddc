#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CFakeLogind.h"
#include "CPlatformTestEnvironment.h"
#include "CPrivateBus.h"
#include "platform/porting/linux/CLogindSleepPreventer.h"

namespace vx_transfers {
namespace {

using platform_test::CScopedEnv;
using platform_test::CTempDir;

TEST(CLogindSleepPreventerTest, WithoutASystemBusThereIsNoPreventerAndOneLogLine) {
    CTempDir dir;
    const std::string address = "unix:path=" + dir.file("no-bus-here");
    CScopedEnv bus("DBUS_SYSTEM_BUS_ADDRESS", address.c_str());
    const std::string line = "Sleep prevention off: the system bus is not reachable";
    const platform_test::CLogMark mark;

    std::unique_ptr<ISleepPreventer> preventer(ISleepPreventer::create());

    EXPECT_EQ(nullptr, preventer);
    EXPECT_EQ(1u, mark.linesContaining(line).size());
}

TEST(CLogindSleepPreventerTest, HoldsASleepInhibitorLockBetweenStartAndStop) {
    CTempDir dir;
    platform_test::CPrivateBus bus(dir.path());
    ASSERT_TRUE(bus.isRunning()) << "dbus-daemon is needed (scripts/install-deps)";
    platform_test::CFakeLogind logind;
    ASSERT_TRUE(logind.isReady());

    std::unique_ptr<ISleepPreventer> preventer(ISleepPreventer::create());
    ASSERT_NE(nullptr, preventer);
    EXPECT_FALSE(preventer->isPreventing());
    ASSERT_TRUE(preventer->start());
    EXPECT_TRUE(preventer->isPreventing());
    EXPECT_TRUE(preventer->start());

    std::string what;
    std::string mode;
    ASSERT_TRUE(logind.waitForInhibit(what, mode));
    EXPECT_EQ("sleep", what);
    EXPECT_EQ("block", mode);

    EXPECT_TRUE(preventer->stop());
    EXPECT_FALSE(preventer->isPreventing());
    EXPECT_TRUE(logind.waitForRelease());
}

TEST(CLogindSleepPreventerTest, ABusWithoutLogindFailsToStartWithALogLine) {
    CTempDir dir;
    platform_test::CPrivateBus bus(dir.path());
    ASSERT_TRUE(bus.isRunning()) << "dbus-daemon is needed (scripts/install-deps)";

    const platform_test::CLogMark mark;
    std::unique_ptr<ISleepPreventer> preventer(ISleepPreventer::create());
    ASSERT_NE(nullptr, preventer);
    EXPECT_FALSE(preventer->start());
    EXPECT_FALSE(preventer->isPreventing());
    EXPECT_FALSE(
        mark.linesContaining("Sleep prevention: logind refused the inhibitor lock").empty());
}

}  // namespace
}  // namespace vx_transfers
