// The life of an upload group as the application drives it: marking, unmarking, refusing files,
// dequeuing, pausing, resuming, cancelling and the order in which groups are served.
#include <algorithm>
#include <stdexcept>

#include "integration/CUploadDatabaseReader.h"
#include "integration/CUploadPipelineFixture.h"

namespace vxt_test {
namespace {

using Manager = vx_transfers::CUploadManager;
using Record = CServiceControlClient::RequestRecord;

class CUploadManagerGroupLifeTest : public CUploadPipelineFixture {
protected:
    // Holds the answer to the next data PUT, so that the test can act while it runs.
    void holdNextPut(unsigned int ms) {
        CServiceControlClient::Fault fault;
        fault.route = routes::kDataPut;
        fault.count = 1;
        fault.delayMs = ms;
        control().injectFault(fault);
    }
    Record waitForPutStart(const std::string& fileId) {
        return control().waitForRequest(
            [&](const Record& r) {
                return r.route == routes::kDataPut && r.path.find(fileId) != std::string::npos;
            },
            kWait, "a PUT of " + fileId);
    }
    // True if a data PUT begins after `afterSeq` within `window`.
    bool putBeginsWithin(std::uint64_t afterSeq, std::chrono::milliseconds window) {
        try {
            control().waitForRequest(
                [&](const Record& r) { return r.route == routes::kDataPut && r.seq > afterSeq; },
                window, "a new PUT");
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }
    std::uint64_t lastSeq() {
        auto all = control().requests(std::uint64_t{0});
        return all.empty() ? 0 : all.back().seq;
    }
};

TEST_F(CUploadManagerGroupLifeTest, MarkingAfterTheFilesFinishedCompletesTheGroupAtOnce) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    std::vector<Upload> uploads = {prepareUpload(bucket, "a.bin", 2000),
                                   prepareUpload(bucket, "b.bin", 2 * kPartSize)};
    queue(groupId, uploads);
    for (const auto& u : uploads) {
        ASSERT_GE(waitForFileStatus(u.fileId, Manager::FILE_STATUS_COMPLETED), 0);
    }
    // Done but unmarked: the group waits for more files, reports itself empty and tells the
    // service nothing. (Group events are rate-limited, so the state is read rather than awaited;
    // the file's last event is sent under the group's lock, which getGroupState also takes.)
    GroupState idle;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->getGroupState(groupId, idle));
    EXPECT_EQ(Manager::GROUP_STATUS_ACTIVE, idle.status);
    EXPECT_TRUE(idle.empty);
    EXPECT_EQ(idle.bytesTotal, idle.bytesTransferred);
    EXPECT_EQ(0u, idle.speed);
    EXPECT_FALSE(m_manager->isQueueMarked(groupId));
    EXPECT_TRUE(control().bucket(bucket.bucketId).statusHistory.empty());
    EXPECT_EQ(-1, waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, 0, nullptr,
                                     std::chrono::milliseconds(0)));

    std::size_t before = m_callback.groupEventCount();
    m_manager->markQueue(groupId);
    GroupState done;
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, before, &done), 0);
    EXPECT_TRUE(done.queueMarked);
    EXPECT_EQ(2000 + 2 * kPartSize, done.bytesTotal);
    EXPECT_EQ(std::vector<std::string>{"COMPLETED"},
              control().bucket(bucket.bucketId).statusHistory);
    for (const auto& u : uploads) EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
}

TEST_F(CUploadManagerGroupLifeTest, MarkedGroupRefusesFilesUntilUnmarked) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload first = prepareUpload(bucket, "first.bin", 3000);
    Upload second = prepareUpload(bucket, "second.bin", 4000);
    holdNextPut(3000);  // keeps the first file from completing the group meanwhile
    queue(groupId, {first});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);
    EXPECT_TRUE(m_manager->isQueueMarked(groupId));

    queue(groupId, {second});  // refused at once: nothing is posted for a marked group
    GroupState state;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->getGroupState(groupId, state));
    EXPECT_EQ(3000u, state.bytesTotal);
    EXPECT_NE(std::string::npos,
              logText().find("Unable to add files to a group, since it's already marked!"));

    m_manager->unmarkQueue(groupId);
    EXPECT_FALSE(m_manager->isQueueMarked(groupId));
    std::size_t before = m_callback.groupEventCount();
    queue(groupId, {second});
    ASSERT_GE(m_callback.waitForGroup(
                  [&](const GroupState& s) { return s.groupId == groupId && s.bytesTotal == 7000; },
                  kWait, before),
              0)
        << m_callback.describe();
    EXPECT_EQ(-1, waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, 0, nullptr,
                                     std::chrono::milliseconds(0)))
        << "the group completed while the first PUT was held; the test's premise failed";
    m_manager->markQueue(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED), 0)
        << m_callback.describe();
    EXPECT_EQ(first.content, storedContent(bucket.bucketId, first.fileId));
    EXPECT_EQ(second.content, storedContent(bucket.bucketId, second.fileId));
    EXPECT_EQ(1u, putsFor(second.fileId).size());
}

TEST_F(CUploadManagerGroupLifeTest,
       DequeuedWaitingFileNeverMovesAndDequeuedRunningFileIsCancelled) {
    // A channel notices a cancel between chunks of its body, so the running file must be larger
    // than what the sockets buffer, and slow: single-part up to 16 MiB here.
    Manager::Configuration configuration = testConfiguration();
    configuration.maxConcurrentTransfers = 1;
    configuration.minMultipartSize = 16 * 1024 * 1024;
    startManager(configuration);
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload running =
        prepareUpload(bucket, "running.bin", 6 * 1024 * 1024, {}, configuration.minMultipartSize);
    Upload waiting = prepareUpload(bucket, "waiting.bin", 6000);
    Upload kept = prepareUpload(bucket, "kept.bin", 7000);
    control().throttleData(1024 * 1024);
    queue(groupId, {running, waiting, kept});
    waitUntilFilesInitialized(groupId);
    waitForPutStart(running.fileId);

    std::vector<FileDesc> dequeue = {waiting.desc, running.desc};
    m_manager->dequeueFile(groupId, dequeue);
    m_manager->markQueue(groupId);
    GroupState done;
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, 0, &done), 0)
        << m_callback.describe();
    EXPECT_EQ(7000u, done.bytesTotal);
    control().throttleData(0);
    EXPECT_EQ(kept.content, storedContent(bucket.bucketId, kept.fileId));
    EXPECT_TRUE(putsFor(waiting.fileId).empty());
    EXPECT_TRUE(control().file(bucket.bucketId, waiting.fileId).statusHistory.empty());
    auto cancelled = control().file(bucket.bucketId, running.fileId);
    EXPECT_EQ(std::vector<std::string>{"CANCELLED"}, cancelled.statusHistory);
    EXPECT_FALSE(control().file(bucket.bucketId, running.fileId).stored);
}

TEST_F(CUploadManagerGroupLifeTest, PausedGroupMovesNoBytesAndFinishesAfterResume) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "paused.bin", 4 * kPartSize);
    control().throttleData(64 * 1024);  // about a second per part
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);
    waitForPutStart(u.fileId);

    std::size_t before = m_callback.groupEventCount();
    m_manager->pauseGroup(groupId);
    GroupState paused;
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_PAUSED, before, &paused), 0);
    EXPECT_TRUE(paused.paused);
    waitUntilNoDataRequestRuns();
    GroupState held;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->getGroupState(groupId, held));
    std::uint64_t seq = lastSeq();
    EXPECT_FALSE(putBeginsWithin(seq, std::chrono::milliseconds(700)))
        << "a PUT began while the group was paused";
    GroupState still;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->getGroupState(groupId, still));
    EXPECT_EQ(held.bytesTransferred, still.bytesTransferred);
    EXPECT_TRUE(still.paused);
    EXPECT_LT(still.bytesTransferred, still.bytesTotal);

    control().throttleData(0);
    before = m_callback.groupEventCount();
    m_manager->resumeGroup(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, before), 0)
        << m_callback.describe();
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
}

TEST_F(CUploadManagerGroupLifeTest, CancelAbortsOnceTellsTheServiceAndLeavesNoRows) {
    // Channels notice a cancel between chunks of their body: the ranges are made several times
    // larger than what loopback sockets buffer (a few MiB), and slow.
    Manager::Configuration configuration = testConfiguration();
    configuration.minMultipartSize = 32 * 1024 * 1024;
    startManager(configuration);
    control().throttleData(1024 * 1024);
    // A single-part file: the service hears CANCELLED for it.
    auto singleBucket = newBucket();
    int singleGroup = createGroup(singleBucket);
    Upload single = prepareUpload(singleBucket, "single.bin", 24 * 1024 * 1024, {},
                                  configuration.minMultipartSize);
    queue(singleGroup, {single});
    waitUntilFilesInitialized(singleGroup);
    waitForPutStart(single.fileId);
    m_manager->cancelGroup(singleGroup);
    control().waitForRequest(
        [&](const Record& r) {
            return r.route == routes::kFileStatus && r.finished &&
                   r.path.find(single.fileId) != std::string::npos;
        },
        kWait, "the cancelled file's status");

    // A multipart file with two parts moving: the upload is aborted once. The part size applies
    // to groups created after the change.
    configuration.minMultipartSize = 16 * 1024 * 1024;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->setConfiguration(configuration));
    auto multiBucket = newBucket();
    int multiGroup = createGroup(multiBucket);
    Upload multi = prepareUpload(multiBucket, "multi.bin", 48 * 1024 * 1024);
    queue(multiGroup, {multi});
    waitUntilFilesInitialized(multiGroup);
    control().waitForRequest(
        [&](const Record& r) {
            return r.route == routes::kDataPut && r.header("x-vx-part-number") == "2";
        },
        kWait, "the second part's PUT");
    m_manager->cancelGroup(multiGroup);
    control().waitForRoute(routes::kMultipartAbort, kWait);
    control().throttleData(0);

    // A later group goes through the same engine queue, after the cancellations.
    auto laterBucket = newBucket();
    int laterGroup = createGroup(laterBucket);
    Upload later = prepareUpload(laterBucket, "later.bin", 1000);
    queue(laterGroup, {later});
    waitUntilFilesInitialized(laterGroup);
    m_manager->markQueue(laterGroup);
    ASSERT_GE(waitForGroupStatus(laterGroup, Manager::GROUP_STATUS_COMPLETED), 0)
        << m_callback.describe();

    EXPECT_EQ(std::vector<std::string>{"CANCELLED"},
              control().file(singleBucket.bucketId, single.fileId).statusHistory);
    EXPECT_EQ(1u, control().requests(routes::kMultipartAbort).size());
    EXPECT_TRUE(control().requests(routes::kMultipartComplete).empty());
    EXPECT_TRUE(control().bucket(singleBucket.bucketId).statusHistory.empty());
    EXPECT_TRUE(control().bucket(multiBucket.bucketId).statusHistory.empty());
    EXPECT_FALSE(control().file(multiBucket.bucketId, multi.fileId).stored);

    CUploadDatabaseReader db(m_appDir);
    for (const auto& g : db.groups()) {
        EXPECT_NE(singleGroup, g.groupId);
        EXPECT_NE(multiGroup, g.groupId);
    }
    for (const auto& f : db.files()) {
        EXPECT_NE(single.fileId, f.fileUid);
        EXPECT_NE(multi.fileId, f.fileUid);
    }
    for (const auto& c : db.channels()) {
        EXPECT_NE(single.fileId, c.fileUid);
        EXPECT_NE(multi.fileId, c.fileUid);
    }
}

TEST_F(CUploadManagerGroupLifeTest, GroupsAreServedStrictlyInTheOrderOfCreation) {
    Manager::Configuration configuration = testConfiguration();
    configuration.maxConcurrentTransfers = 1;
    startManager(configuration, false);
    control().throttleData(200 * 1024);  // about 0.1 s per file
    auto firstBucket = newBucket();
    auto secondBucket = newBucket();
    int first = createGroup(firstBucket);
    int second = createGroup(secondBucket);
    std::vector<Upload> firstFiles, secondFiles;
    for (int i = 0; i < 3; ++i) {
        firstFiles.push_back(prepareUpload(firstBucket, "a" + std::to_string(i), 20000));
        secondFiles.push_back(prepareUpload(secondBucket, "b" + std::to_string(i), 20000));
    }
    // Both groups hold their files before the worker starts.
    queue(first, firstFiles);
    queue(second, secondFiles);
    control().resetStats();
    m_manager->startup();
    waitUntilFilesInitialized(first);
    waitUntilFilesInitialized(second);
    m_manager->markQueue(first);
    m_manager->markQueue(second);
    ASSERT_GE(waitForGroupStatus(first, Manager::GROUP_STATUS_COMPLETED), 0);
    ASSERT_GE(waitForGroupStatus(second, Manager::GROUP_STATUS_COMPLETED), 0);

    auto puts = control().requests(routes::kDataPut);
    ASSERT_EQ(6u, puts.size());
    std::uint64_t lastFirstEnd = 0, firstSecondStart = UINT64_MAX;
    for (const auto& r : puts) {
        bool ofFirst = r.path.find(firstBucket.bucketId) != std::string::npos;
        if (ofFirst) lastFirstEnd = std::max(lastFirstEnd, r.endMicros);
        if (!ofFirst) firstSecondStart = std::min(firstSecondStart, r.startMicros);
    }
    EXPECT_LE(lastFirstEnd, firstSecondStart)
        << "a file of the second group moved before the first group was done";
    EXPECT_EQ(1u, control().stats().maxConcurrentDataConnections);
}

TEST_F(CUploadManagerGroupLifeTest, MaxConcurrentTransfersBoundsTheDataConnections) {
    Manager::Configuration configuration = testConfiguration();
    configuration.maxConcurrentTransfers = 3;
    startManager(configuration);
    control().throttleData(256 * 1024);  // a quarter second per part
    control().resetStats();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "eight.bin", 8 * kPartSize);
    queue(groupId, {u});
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED), 0);
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    auto stats = control().stats();
    EXPECT_LE(stats.maxConcurrentDataConnections, 3u);
    EXPECT_GE(stats.maxConcurrentDataConnections, 2u) << "parts did not run in parallel";
}

}  // namespace
}  // namespace vxt_test
