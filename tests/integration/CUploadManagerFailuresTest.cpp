// Failures on the way: refused PUTs, groups going to error and being restarted by the library,
// the cap on automatic restarts, an expired bucket, a refused completion and missing files.
#include <Poco/File.h>

#include <stdexcept>

#include "integration/CUploadDatabaseReader.h"
#include "integration/CUploadPipelineFixture.h"

namespace vxt_test {
namespace {

using Manager = vx_transfers::CUploadManager;
using Record = CServiceControlClient::RequestRecord;

class CUploadManagerFailuresTest : public CUploadPipelineFixture {
protected:
    void failPuts(int count, int status = 500) {
        CServiceControlClient::Fault fault;
        fault.route = routes::kDataPut;
        fault.count = count;
        fault.status = status;
        control().injectFault(fault);
    }
    unsigned int storedRetryCount(int groupId) {
        for (const auto& g : CUploadDatabaseReader(m_appDir).groups()) {
            if (g.groupId == groupId) return g.retryCount;
        }
        ADD_FAILURE() << "no row for group " << groupId;
        return 0;
    }
    bool hasGroupRow(int groupId) {
        for (const auto& g : CUploadDatabaseReader(m_appDir).groups()) {
            if (g.groupId == groupId) return true;
        }
        return false;
    }
};

TEST_F(CUploadManagerFailuresTest, RefusedFirstPutIsRetriedAndTheFileCompletes) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "retried.bin", 10000);
    failPuts(1);
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED), 0)
        << m_callback.describe();
    auto puts = putsFor(u.fileId);
    ASSERT_EQ(2u, puts.size());
    EXPECT_EQ(500, puts[0].status);
    EXPECT_EQ(200, puts[1].status);
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    // The retry happened inside the channel: the group never failed.
    EXPECT_EQ(-1, waitForGroupStatus(groupId, Manager::GROUP_STATUS_ERROR, 0, nullptr,
                                     std::chrono::milliseconds(0)));
}

TEST_F(CUploadManagerFailuresTest, GroupFailingAfterTheRetryLimitIsRestartedAutomatically) {
    Manager::Configuration configuration = testConfiguration();
    configuration.maxTransferRetries = 2;
    startManager(configuration);
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "restarted.bin", 10000);
    failPuts(-1);
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);

    FileState failed;
    ASSERT_GE(waitForFileStatus(u.fileId, Manager::FILE_STATUS_ERROR, 0, &failed), 0)
        << m_callback.describe();
    EXPECT_EQ(vx_transfers::transfer_defs::FILE_ERROR_CONNECTION, failed.fileErrorType);
    GroupState error;
    long errorAt = waitForGroupStatus(groupId, Manager::GROUP_STATUS_ERROR, 0, &error);
    ASSERT_GE(errorAt, 0) << m_callback.describe();
    EXPECT_EQ(vx_transfers::transfer_defs::GROUP_ERROR_NONE, error.errorType);
    EXPECT_EQ(1u, error.retryCount);
    EXPECT_EQ(2u, putsFor(u.fileId).size()) << "the channel must try exactly maxTransferRetries";
    EXPECT_GE(storedRetryCount(groupId), 1u);

    // Let the service accept; the restarter resumes the group without the application.
    control().clearFaults();
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED,
                                 static_cast<std::size_t>(errorAt)),
              0)
        << m_callback.describe();
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    EXPECT_NE(std::string::npos, logText().find("Registering failed group in group restarter"));
    EXPECT_FALSE(hasGroupRow(groupId));
}

TEST_F(CUploadManagerFailuresTest, AutomaticRestartsStopAtTenAndAManualResumeResetsTheCount) {
    Manager::Configuration configuration = testConfiguration();
    configuration.maxTransferRetries = 1;
    startManager(configuration);
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "capped.bin", 3000);
    failPuts(-1);
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);

    // Ten restarts of about a second each, then the library gives up and pauses the group.
    GroupState paused;
    long pausedAt = m_callback.waitForGroup(
        [&](const GroupState& s) {
            return s.groupId == groupId && s.status == Manager::GROUP_STATUS_PAUSED;
        },
        std::chrono::seconds(60), 0, &paused);
    ASSERT_GE(pausedAt, 0) << m_callback.describe();
    EXPECT_EQ(10u, paused.retryCount);
    EXPECT_TRUE(paused.paused);
    EXPECT_EQ(10u, storedRetryCount(groupId));
    EXPECT_EQ(11u, putsFor(u.fileId).size()) << "one attempt at first and one per restart";
    unsigned int highest = 0;
    for (const auto& s : m_callback.groupEvents()) {
        if (s.groupId == groupId) highest = std::max(highest, s.retryCount);
    }
    EXPECT_EQ(10u, highest);
    EXPECT_NE(std::string::npos, logText().find("has reached maximum number of auto retires (10)"));

    // Not registered any more: a restart interval passes with no new attempt.
    auto all = control().requests(std::uint64_t{0});
    std::uint64_t seq = all.empty() ? 0 : all.back().seq;
    bool moved = true;
    try {
        control().waitForRequest(
            [&](const Record& r) { return r.route == routes::kDataPut && r.seq > seq; },
            std::chrono::milliseconds(2500), "a PUT after the cap");
    } catch (const std::runtime_error&) {
        moved = false;
    }
    EXPECT_FALSE(moved) << "the group was restarted after its tenth automatic retry";

    control().clearFaults();
    std::size_t before = m_callback.groupEventCount();
    m_manager->resumeGroup(groupId);
    GroupState resumed;
    ASSERT_GE(m_callback.waitForGroup(
                  [&](const GroupState& s) {
                      return s.groupId == groupId && s.status == Manager::GROUP_STATUS_ACTIVE;
                  },
                  kWait, before, &resumed),
              0);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, before), 0)
        << m_callback.describe();
    GroupState done;
    waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, before, &done);
    EXPECT_EQ(0u, done.retryCount);
    EXPECT_NE(std::string::npos,
              logText().find("Group is manually resumed, resetting error counter"));
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
}

TEST_F(CUploadManagerFailuresTest, BucketFoundExpiredAtResumeFailsTheGroupForGood) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "expired.bin", 3 * kPartSize);
    control().throttleData(32 * 1024);
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);
    control().waitForRoute(routes::kDataPut, kWait);  // begun; the throttle keeps it going

    std::size_t before = m_callback.groupEventCount();
    m_manager->pauseGroup(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_PAUSED, before), 0);
    control().setBucketStatus(bucket.bucketId, "EXPIRED");
    control().throttleData(0);
    before = m_callback.groupEventCount();
    m_manager->resumeGroup(groupId);

    GroupState expired;
    ASSERT_GE(m_callback.waitForGroup(
                  [&](const GroupState& s) {
                      return s.groupId == groupId && s.status == Manager::GROUP_STATUS_ERROR &&
                             s.errorType == vx_transfers::transfer_defs::GROUP_ERROR_BUCKET_EXPIRED;
                  },
                  kWait, before, &expired),
              0)
        << m_callback.describe();
    EXPECT_FALSE(control().requests(routes::kBucketStatusGet).empty());
    // Expiry is final: no restart is scheduled and the count stays.
    EXPECT_EQ(0u, expired.retryCount);
    EXPECT_NE(std::string::npos,
              logText().find("Group has expired! Bucket id: " + bucket.bucketId));
    GroupState state;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->getGroupState(groupId, state));
    EXPECT_EQ(Manager::GROUP_STATUS_ERROR, state.status);
    EXPECT_TRUE(control().requests(routes::kMultipartComplete).empty());
}

TEST_F(CUploadManagerFailuresTest, CompletionRefusedTwiceIsSentAgainByTheRestarter) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "completion.bin", 2000);
    CServiceControlClient::Fault fault;
    fault.route = routes::kBucketStatusUpdate;
    fault.count = 2;
    fault.status = 500;
    control().injectFault(fault);
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);

    GroupState notSent;
    long failedAt = m_callback.waitForGroup(
        [&](const GroupState& s) {
            return s.groupId == groupId && s.status == Manager::GROUP_STATUS_ERROR &&
                   s.errorType == vx_transfers::transfer_defs::GROUP_ERROR_COMPLETION_NOT_SENT;
        },
        kWait, 0, &notSent);
    ASSERT_GE(failedAt, 0) << m_callback.describe();
    EXPECT_TRUE(hasGroupRow(groupId)) << "rows must stay until the service has been told";
    auto refused = control().requests(routes::kBucketStatusUpdate);
    ASSERT_EQ(2u, refused.size()) << "one request and one immediate repeat";
    EXPECT_TRUE(refused[0].faulted && refused[1].faulted);

    // The restarter resumes the group, which finds its files done and sends the status again.
    // The resume reports ACTIVE while it holds the group; a state read after that event waits
    // for the resume to finish.
    ASSERT_GE(m_callback.waitForGroup(
                  [&](const GroupState& s) {
                      return s.groupId == groupId && s.status != Manager::GROUP_STATUS_ERROR;
                  },
                  kWait, static_cast<std::size_t>(failedAt) + 1),
              0)
        << m_callback.describe();
    control().waitForRoute(routes::kBucketStatusUpdate, kWait, 200);
    GroupState state;
    if (m_manager->getGroupState(groupId, state) == vx_transfers::DT_SUCCESS) {
        EXPECT_EQ(Manager::GROUP_STATUS_COMPLETED, state.status);
    }
    EXPECT_EQ(3u, control().requests(routes::kBucketStatusUpdate).size());
    EXPECT_EQ(std::vector<std::string>{"COMPLETED"},
              control().bucket(bucket.bucketId).statusHistory);
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    EXPECT_FALSE(hasGroupRow(groupId));
}

TEST_F(CUploadManagerFailuresTest, MissingLocalFileFailsAloneAndUploadsOnceItExists) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload present = prepareUpload(bucket, "present.bin", 4000);
    Upload missing = prepareUpload(bucket, "missing.bin", 5000);
    Poco::File(missing.path).remove();
    queue(groupId, {missing, present});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);

    // The failure is reported before the file has an entry: only the status and type say which.
    ASSERT_GE(m_callback.waitForFile(
                  [](const FileState& s) {
                      return s.status == Manager::FILE_STATUS_ERROR &&
                             s.fileErrorType == vx_transfers::transfer_defs::FILE_ERROR_LOCAL_FILE;
                  },
                  kWait),
              0)
        << m_callback.describe();
    ASSERT_GE(waitForFileStatus(present.fileId, Manager::FILE_STATUS_COMPLETED), 0);
    GroupState failed;
    long failedAt = waitForGroupStatus(groupId, Manager::GROUP_STATUS_ERROR, 0, &failed);
    ASSERT_GE(failedAt, 0) << m_callback.describe();
    EXPECT_EQ(present.content, storedContent(bucket.bucketId, present.fileId));
    EXPECT_TRUE(putsFor(missing.fileId).empty());

    // Once the file is there, a resume builds it anew and the group completes.
    writeLocalFile(missing.name, missing.content);
    m_manager->resumeGroup(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED,
                                 static_cast<std::size_t>(failedAt)),
              0)
        << m_callback.describe();
    EXPECT_EQ(missing.content, storedContent(bucket.bucketId, missing.fileId));
    EXPECT_EQ(1u, putsFor(present.fileId).size()) << "a completed file is not sent again";
}

}  // namespace
}  // namespace vxt_test
