#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>

#include "groups/CFailedGroupsRestarter.h"
#include "groups/CRecordingTransferGroup.h"

namespace vx_transfers {
namespace {

using std::chrono::milliseconds;

// The worker still waits in real time, up to the interval per round, so the tests use an
// interval of one second and move the restarter's notion of "now" by hand.
constexpr milliseconds kResumeTimeout{15000};

class CFailedGroupsRestarterTest : public ::testing::Test {
protected:
    CFailedGroupsRestarterTest()
        : m_restarter(
              std::make_unique<CFailedGroupsRestarter>(1, [this] { return m_now.load(); })) {}

    std::atomic<unsigned long long> m_now{1000};
    CRecordingTransferGroup m_group;
    CRecordingTransferGroup m_sentinel;
    std::unique_ptr<CFailedGroupsRestarter> m_restarter;
};

TEST_F(CFailedGroupsRestarterTest, GroupIsResumedWithAutoRetryOnceItsTimeComes) {
    m_restarter->registerFailedGroup(&m_group);
    m_now = 1001;
    ASSERT_TRUE(m_group.waitForResumes(1, kResumeTimeout));
    EXPECT_TRUE(m_group.lastAutoRetry());

    // It left the table: a later round that resumes another group does not resume it again.
    m_restarter->registerFailedGroup(&m_sentinel);
    m_now = 1002;
    ASSERT_TRUE(m_sentinel.waitForResumes(1, kResumeTimeout));
    EXPECT_EQ(1, m_group.resumeCount());
}

TEST_F(CFailedGroupsRestarterTest, SecondRegistrationReplacesTheTimeWithNowPlusTheInterval) {
    m_restarter->registerFailedGroup(&m_group);  // due at 1001
    m_restarter->setGroupRestartInterval(3);
    m_restarter->registerFailedGroup(&m_group);  // due at 1003 instead
    m_restarter->setGroupRestartInterval(1);
    m_restarter->registerFailedGroup(&m_sentinel);  // due at 1001

    m_now = 1002;
    ASSERT_TRUE(m_sentinel.waitForResumes(1, kResumeTimeout));
    EXPECT_EQ(0, m_group.resumeCount());

    m_now = 1003;
    ASSERT_TRUE(m_group.waitForResumes(1, kResumeTimeout));
    EXPECT_EQ(1, m_group.resumeCount());
}

TEST_F(CFailedGroupsRestarterTest, GroupRemovedBeforeItsTimeIsNotResumed) {
    m_restarter->registerFailedGroup(&m_group);
    m_restarter->registerFailedGroup(&m_sentinel);
    m_restarter->removeFailedGroup(&m_group);

    m_now = 1001;
    ASSERT_TRUE(m_sentinel.waitForResumes(1, kResumeTimeout));
    EXPECT_EQ(0, m_group.resumeCount());
}

TEST_F(CFailedGroupsRestarterTest, NullGroupInTheTableIsSkipped) {
    m_restarter->registerFailedGroup(nullptr);
    m_restarter->registerFailedGroup(&m_group);
    m_now = 1001;
    ASSERT_TRUE(m_group.waitForResumes(1, kResumeTimeout));
}

TEST_F(CFailedGroupsRestarterTest, DestructionEndsTheWorkerWithoutWaitingForTheInterval) {
    auto restarter = std::make_unique<CFailedGroupsRestarter>(300);
    restarter->registerFailedGroup(&m_group);
    const auto start = std::chrono::steady_clock::now();
    restarter.reset();
    // Far below the 300 s the worker would otherwise sleep.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_EQ(0, m_group.resumeCount());
}

TEST_F(CFailedGroupsRestarterTest, ProcessInstanceIsMadeOnceAndKept) {
    CFailedGroupsRestarter* instance = CFailedGroupsRestarter::getInstance();
    ASSERT_NE(nullptr, instance);
    EXPECT_EQ(instance, CFailedGroupsRestarter::getInstance());
}

}  // namespace
}  // namespace vx_transfers
