#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CManagersTestEnvironment.h"
#include "db/CDatabase.h"
#include "db/CDatabaseTestAccess.h"
#include "managers/CSleepPreventerCounterProxy.h"
#include "managers/CUploadManagerProxy.h"
#include "managers/startup/CSingleton.h"
#include "platform/porting/string_convert.h"
#include "rest/CFileProgressSender.h"
#include "support/CLogFileTail.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {
namespace {

class CGroupStateRecorder : public CUploadManager::ICallback {
public:
    void onGroupStateChanged(CUploadManager::GroupState& state) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_groups.push_back(state);
    }
    void onFileStateChanged(CTransferManagerBase::FileState&) override {}

    std::vector<CUploadManager::GroupState> groups() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_groups;
    }

private:
    std::mutex m_mutex;
    std::vector<CUploadManager::GroupState> m_groups;
};

// Each test starts without upload groups in the database of the binary's folder.
class CUploadManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::wstring folder;
        string_convert::StringToWstring(CManagersTestEnvironment::folder(), folder);
        CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(folder);
        // Opened before its session lock is taken below.
        ASSERT_NE(CDatabase::getInstance(), nullptr);
        for (const char* table : {"ChannelsDictionary", "FilesDictionary", "GroupsDictionary"}) {
            CDatabaseTestAccess::exec(std::string("DELETE FROM ") + table);
        }
    }

    int createGroup(CUploadManager& manager, const std::string& bucket) {
        std::string bucketId = bucket;
        std::string type = "regular";
        std::string token = "token-" + bucket;
        return manager.createGroup(bucketId, type, token, 0);
    }
};

TEST_F(CUploadManagerTest, UnknownGroupIdsAreLoggedAsWarningsAndOtherwiseIgnored) {
    CUploadManager manager;
    CLogFileTail log(CManagersTestEnvironment::logFilePath());
    std::vector<CUploadManager::FileDesc> files(1);
    files[0].fileUid = "uid";

    manager.pauseGroup(42);
    manager.resumeGroup(42);
    manager.cancelGroup(42);
    manager.markQueue(42);
    manager.unmarkQueue(42);
    manager.queueFiles(42, files);
    manager.dequeueFile(42, files);
    EXPECT_FALSE(manager.isQueueMarked(42));

    const std::vector<std::string> expected = {
        "pauseGroup: Unable to find group with id 42",
        "resumeGroup: Unable to find group with id 42",
        "cancelGroup: Unable to find group with id 42",
        "markQueue: Unable to find group with id 42",
        "unmarkQueue: Unable to find group with id 42",
        "queueFiles: Unable to find group with id 42",
        "dequeueFile: Unable to find group with id 42",
        "isQueueMarked: Unable to find group with id 42",
    };
    EXPECT_EQ(log.texts("Warning"), expected);
    EXPECT_EQ(log.texts("Error"), std::vector<std::string>{});
}

TEST_F(CUploadManagerTest, GroupStateOfAnUnknownGroupIsRefusedAndLeavesTheRecordAlone) {
    CUploadManager manager;
    CLogFileTail log(CManagersTestEnvironment::logFilePath());
    CUploadManager::GroupState state;
    state.bucketId = "untouched";
    state.groupId = 77;
    state.status = CTransferManagerBase::GROUP_STATUS_PAUSED;

    EXPECT_EQ(manager.getGroupState(5, state), 1);

    EXPECT_EQ(state.bucketId, "untouched");
    EXPECT_EQ(state.groupId, 77);
    EXPECT_EQ(state.status, CTransferManagerBase::GROUP_STATUS_PAUSED);
    EXPECT_EQ(log.texts("Warning"), std::vector<std::string>{});
}

TEST_F(CUploadManagerTest, GroupIdsCountFromZeroAndGroupsAreFoundByBucket) {
    CUploadManager manager;
    CLogFileTail log(CManagersTestEnvironment::logFilePath());

    EXPECT_EQ(createGroup(manager, "bucket-a"), 0);
    EXPECT_EQ(createGroup(manager, "bucket-b"), 1);

    std::string b = "bucket-b";
    std::string unknown = "nope";
    EXPECT_EQ(manager.findGroupByBucketId(b), 1);
    EXPECT_EQ(manager.findGroupByBucketId(unknown), -1);
    EXPECT_EQ(log.texts("Warning"),
              std::vector<std::string>{
                  "findGroupByBucketId: Unable to find group associated with bucked id nope"});
    EXPECT_EQ(
        log.count("Information",
                  "Created group with id: 1. Bucket id: bucket-b. Bucket token: token-bucket-b"),
        1u);

    EXPECT_EQ(manager.getGroupsCount(), 2u);
    std::vector<CUploadManager::GroupState> states;
    manager.fetchGroupsInfo(states);
    ASSERT_EQ(states.size(), 2u);
    EXPECT_EQ(states[0].bucketId, "bucket-a");
    EXPECT_EQ(states[1].bucketId, "bucket-b");
    EXPECT_EQ(states[1].groupId, 1);

    CUploadManager::GroupState state;
    ASSERT_EQ(manager.getGroupState(0, state), DT_SUCCESS);
    EXPECT_EQ(state.bucketId, "bucket-a");
    EXPECT_EQ(state.status, CTransferManagerBase::GROUP_STATUS_NEW);
}

TEST_F(CUploadManagerTest, SetConfigurationNormalisesTheSizeAndKeepsTheEnginesLimitForZero) {
    CUploadManagerProxy proxy;
    CUploadManager::Configuration config;
    config.maxConcurrentTransfers = 5;
    config.maxTransferRetries = 7;
    config.throttleBytesPerSec = (1ULL << 32) + 1000;  // the engine sees the low 32 bits
    ASSERT_EQ(proxy.setConfiguration(config), DT_SUCCESS);
    EXPECT_EQ(proxy.getEngine().getMaxConcurrentTransfers(), 5u);
    EXPECT_EQ(proxy.getEngine().getMaxTransferRetries(), 7u);
    EXPECT_EQ(proxy.getEngine().getMaxUploadSpeed(), 1000u);

    config.maxConcurrentTransfers = 0;
    config.minMultipartSize = 0;
    config.maxTransferRetries = 0;
    CLogFileTail log(CManagersTestEnvironment::logFilePath());
    ASSERT_EQ(proxy.setConfiguration(config), DT_SUCCESS);

    EXPECT_EQ(proxy.getConfiguration().maxConcurrentTransfers, 0u);
    EXPECT_EQ(proxy.getConfiguration().minMultipartSize, 52428800u);
    EXPECT_EQ(proxy.getEngine().getMaxConcurrentTransfers(), 5u);
    EXPECT_EQ(proxy.getEngine().getMaxTransferRetries(), 0u);

    const std::vector<std::string> info = log.texts("Information");
    const std::vector<std::string> expected = {
        "Upload manager configuration changed. New configuration:",
        "\tPrevent Sleep: 1",
        "\tVerify Uploads: 0",
        "\tMax concurent transfers: 0",
        "\tMax transfer retries: 0",
        "\tMin multipart size: 52428800",
        "\tServer transfer progress interval: 300000",
        "\tTrottle Bytes/Sec: 4294968296",
        "\tREST End-point: " + config.restEndPoint,
    };
    ASSERT_GE(info.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(info.begin(), info.begin() + expected.size()), expected);
}

TEST_F(CUploadManagerTest, ProgressIntervalReachesTheSenderInWholeSeconds) {
    CUploadManager manager;
    CFileProgressSender* sender = CFileProgressSender::getInstance();
    ASSERT_NE(sender, nullptr);
    struct Case {
        unsigned int intervalMs;
        unsigned int expectedSeconds;
    };
    // Below a second rounds to 0, which the sender takes as its default.
    for (const Case& c : {Case{1500, 1}, Case{60999, 60}, Case{999, 300}}) {
        SCOPED_TRACE(c.intervalMs);
        CUploadManager::Configuration config;
        config.serverTransferProgressInterval = c.intervalMs;
        manager.setConfiguration(config);
        EXPECT_EQ(sender->getSendInterval(), c.expectedSeconds);
    }
}

TEST_F(CUploadManagerTest, RestoredGroupGetsTheCallbackAtSubscribeAndIsReportedAtStartup) {
    {
        CUploadManager first;
        ASSERT_EQ(createGroup(first, "restored-bucket"), 0);
    }

    CUploadManager manager;
    std::string restored = "restored-bucket";
    ASSERT_EQ(manager.findGroupByBucketId(restored), 0);
    EXPECT_EQ(createGroup(manager, "new-bucket"), 1);
    CGroupStateRecorder recorder;
    manager.subscribeToEvents(&recorder);

    manager.startup();
    const std::vector<CUploadManager::GroupState> reported = recorder.groups();
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_EQ(reported[0].bucketId, "restored-bucket");
    EXPECT_EQ(reported[0].groupId, 0);
    EXPECT_EQ(reported[1].bucketId, "new-bucket");

    // The restored group speaks to the callback by itself.
    manager.pauseGroup(0);
    const std::vector<CUploadManager::GroupState> after = recorder.groups();
    ASSERT_GT(after.size(), 2u);
    EXPECT_EQ(after.back().bucketId, "restored-bucket");
    EXPECT_EQ(after.back().status, CTransferManagerBase::GROUP_STATUS_PAUSED);
    manager.shutdown();
}

TEST_F(CUploadManagerTest, ActiveTransfersEventStepsTheSleepCounterOnlyWhilePreventSleepIsSet) {
    CUploadManagerProxy proxy;
    CSleepPreventerCounterProxy* counter = CSingleton<CSleepPreventerCounterProxy>::getInstance();
    ASSERT_NE(counter, nullptr);
    const unsigned int before = counter->getCounter();
    const bool on = true;
    const bool off = false;

    proxy.getEngine().m_activeTransfersEvent.notify(nullptr, on);
    EXPECT_EQ(counter->getCounter(), before + 1);
    proxy.getEngine().m_activeTransfersEvent.notify(nullptr, off);
    EXPECT_EQ(counter->getCounter(), before);

    CUploadManager::Configuration config;
    config.preventSleep = false;
    proxy.setConfiguration(config);
    proxy.getEngine().m_activeTransfersEvent.notify(nullptr, on);
    EXPECT_EQ(counter->getCounter(), before);

    config.preventSleep = true;
    proxy.setConfiguration(config);
    proxy.getEngine().m_activeTransfersEvent.notify(nullptr, on);
    EXPECT_EQ(counter->getCounter(), before + 1);
    proxy.getEngine().m_activeTransfersEvent.notify(nullptr, off);
}

TEST_F(CUploadManagerTest, StopsPostedBeforeStartupEndTheWorkerThatStartupStarts) {
    CUploadManagerProxy proxy;
    CLogFileTail log(CManagersTestEnvironment::logFilePath());

    proxy.shutdown();
    proxy.shutdown();
    proxy.startup();
    proxy.shutdown();

    const std::vector<std::string> info = log.texts("Information");
    auto count = [&](const std::string& text) {
        return std::count(info.begin(), info.end(), text);
    };
    EXPECT_EQ(count("Starting up upload engine!"), 1);
    EXPECT_EQ(count("Shutting down upload engine!"), 3);
    // One worker ran, and it ended on a stop that was already waiting for it.
    EXPECT_EQ(count("Starting worker thread in upload engine"), 1);
    EXPECT_EQ(count("Exiting worker thread in upload engine"), 1);
    EXPECT_FALSE(proxy.hasActiveTransfers());
}

}  // namespace
}  // namespace vx_transfers
