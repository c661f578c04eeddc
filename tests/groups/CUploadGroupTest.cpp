#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "CGroupTestBase.h"
#include "db/CDatabaseTestAccess.h"
#include "db/CDbTestFolder.h"
#include "groups/CUploadGroup.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

using Kind = vxt_test::CRecordingUploadEngine::Kind;
using Probe = vxt_test::CFakeUploadFile::Probe;
using FilePtr = CUploadGroup::FilePtr;

const char* const kRegistered = "Registering failed group in group restarter";

class CUploadGroupTest : public CGroupTestBase {
protected:
    // A running file handed to the group ready-made, as feedFile allows.
    std::shared_ptr<Probe> feed(CUploadGroup& group, const std::string& uid,
                                unsigned long long size) {
        auto probe = std::make_shared<Probe>();
        probe->fileSize = size;
        FilePtr file(new vxt_test::CFakeUploadFile(probe));
        CUploadManager::FileDesc desc = fileDesc(uid);
        file->initialize(desc, &group, false, 0);
        CTransferManagerBase::FileState state;
        state.bytesTotal = size;
        group.feedFile(file, desc, state, false);
        return probe;
    }

    // A file event as a file reports it.
    static void report(CUploadGroup& group, const std::string& uid,
                       CTransferManagerBase::FileStatus status, unsigned long long transferred,
                       long long delta = 0, bool fileChanged = false) {
        CTransferManagerBase::FileState state;
        state.status = status;
        state.bytesTransferred = transferred;
        state.bytesTotal = 100;
        std::string fileUid = uid;
        group.onUploadProgress(fileUid, delta, state, fileChanged);
    }

    std::vector<CUploadManager::FileDesc> descs(std::initializer_list<const char*> uids) {
        std::vector<CUploadManager::FileDesc> result;
        for (const char* uid : uids) {
            result.push_back(fileDesc(uid));
        }
        return result;
    }

    static CUploadManager::GroupState stateOf(CUploadGroup& group) {
        CUploadManager::GroupState state;
        EXPECT_EQ(0, group.getGroupState(state));
        return state;
    }
};

TEST_F(CUploadGroupTest, OnlyFileFailingAtInitFilesTurnsTheGroupToErrorAndRegistersIt) {
    CFakeUploadFileFactory::setScript([](const CFakeUploadFileFactory::Call&, Probe& probe) {
        probe.initializeResult = DT_LOCAL_FILE_ERROR;
        return true;
    });
    auto group = makeGroup();
    EXPECT_EQ("0", groupColumn(0, "RetryCount"));
    CLogFileTail tail(CDbTestFolder::logFilePath());
    auto files = descs({"f1"});
    group->initFiles(files);

    // The file event goes straight to the application, without ids.
    auto fileStates = m_callback.fileStates();
    ASSERT_EQ(1u, fileStates.size());
    EXPECT_EQ(CTransferManagerBase::FILE_STATUS_ERROR, fileStates[0].status);
    EXPECT_EQ(transfer_defs::FILE_ERROR_LOCAL_FILE, fileStates[0].fileErrorType);
    EXPECT_EQ(100u, fileStates[0].bytesTotal);
    EXPECT_EQ("", fileStates[0].fileId);

    const auto last = m_callback.lastGroupState();
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ERROR, last.status);
    EXPECT_EQ(transfer_defs::GROUP_ERROR_NONE, last.errorType);
    EXPECT_EQ(1u, last.retryCount);
    EXPECT_FALSE(last.empty);
    EXPECT_EQ(100u, last.bytesTotal);
    EXPECT_EQ("1", groupColumn(0, "RetryCount"));
    EXPECT_EQ(1u, tail.countStartingWith("Information", kRegistered));
    // The failed file object was dropped, and an errored group hands out nothing.
    ASSERT_EQ(1u, CFakeUploadFileFactory::probes().size());
    EXPECT_TRUE(CFakeUploadFileFactory::probes()[0]->destroyed);
    EXPECT_TRUE(group->popFileForUpload().isNull());
}

TEST_F(CUploadGroupTest, UnmarkedGroupWithAllFilesDoneStaysActiveAndEmptyUntilMarked) {
    auto group = makeGroup();
    feed(*group, "f1", 100);
    EXPECT_FALSE(group->isEmpty());
    report(*group, "f1", CTransferManagerBase::FILE_STATUS_COMPLETED, 100, 100);

    auto state = stateOf(*group);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ACTIVE, state.status);
    EXPECT_TRUE(state.empty);
    EXPECT_FLOAT_EQ(100.0f, state.percent);
    EXPECT_EQ(0u, state.speed);
    EXPECT_EQ(0u, serviceRequests(vxt_test::routes::kBucketStatusUpdate));
    EXPECT_EQ(1u, groupRowCount());

    group->markQueue(false);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_COMPLETED, m_callback.lastGroupState().status);
    EXPECT_EQ(1u, serviceRequests(vxt_test::routes::kBucketStatusUpdate));
    EXPECT_EQ("COMPLETED", service().control().bucket(m_bucket.bucketId).status);
    EXPECT_EQ(0u, groupRowCount());
    EXPECT_EQ(1u, m_engine.count(Kind::GroupRemove));
}

TEST_F(CUploadGroupTest, LastFileCompletingOnAMarkedGroupCompletesIt) {
    auto group = makeGroup();
    auto probe = feed(*group, "f1", 100);
    group->markQueue(false);
    EXPECT_EQ("1", groupColumn(0, "Marked"));
    EXPECT_EQ(0u, serviceRequests(vxt_test::routes::kBucketStatusUpdate));

    report(*group, "f1", CTransferManagerBase::FILE_STATUS_COMPLETED, 100, 100);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_COMPLETED, m_callback.lastGroupState().status);
    EXPECT_EQ(1u, serviceRequests(vxt_test::routes::kBucketStatusUpdate));
    EXPECT_EQ(0u, groupRowCount());
    EXPECT_GE(probe->removeFromDbCalls.load(), 1);
}

TEST_F(CUploadGroupTest, PercentIsFullForAGroupWhoseOnlyFileHasSizeZero) {
    auto group = makeGroup();
    std::vector<CUploadManager::FileDesc> files{fileDesc("empty", makeLocalFile("empty", 0))};
    group->initFiles(files);

    EXPECT_FLOAT_EQ(100.0f, m_callback.lastGroupState().percent);
    EXPECT_EQ(0u, m_callback.lastGroupState().bytesTotal);
    // The application's own query reports no percent without bytes.
    EXPECT_FLOAT_EQ(0.0f, stateOf(*group).percent);
    ASSERT_EQ(1u, CFakeUploadFileFactory::calls().size());
    EXPECT_EQ(0u, CFakeUploadFileFactory::calls()[0].fileSize);
    EXPECT_EQ(1000u, CFakeUploadFileFactory::calls()[0].minMultipartSize);
}

TEST_F(CUploadGroupTest, TwoFailuresWithinTheGateAreBothReportedWhileProgressBetweenIsDropped) {
    auto group = makeGroup();
    auto files = descs({"a", "b"});
    group->initFiles(files);  // opens the gate for the next event
    ASSERT_FALSE(group->popFileForUpload().isNull());
    ASSERT_FALSE(group->popFileForUpload().isNull());
    m_callback.clear();
    CLogFileTail tail(CDbTestFolder::logFilePath());

    const auto start = std::chrono::steady_clock::now();
    report(*group, "a", CTransferManagerBase::FILE_STATUS_TRANSFERRING, 10, 10);
    report(*group, "b", CTransferManagerBase::FILE_STATUS_TRANSFERRING, 10, 10);
    report(*group, "a", CTransferManagerBase::FILE_STATUS_ERROR, 10);
    report(*group, "b", CTransferManagerBase::FILE_STATUS_TRANSFERRING, 20, 10);
    report(*group, "b", CTransferManagerBase::FILE_STATUS_ERROR, 20);
    const auto elapsed = std::chrono::steady_clock::now() - start;

    std::vector<std::string> errored;
    for (const auto& state : m_callback.fileStates()) {
        if (state.status == CTransferManagerBase::FILE_STATUS_ERROR) {
            errored.push_back(state.fileId);
            EXPECT_EQ(m_bucket.bucketId, state.bucketId);
        }
    }
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), errored);
    // Only a stalled machine lets the gate open again within the sequence.
    if (elapsed < std::chrono::milliseconds(250)) {
        ASSERT_EQ(3u, m_callback.fileStates().size());
        EXPECT_EQ(CTransferManagerBase::FILE_STATUS_TRANSFERRING,
                  m_callback.fileStates()[0].status);
        EXPECT_EQ("a", m_callback.fileStates()[0].fileId);
    }
    // The first failure left b running; the second settled the group in error.
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ERROR, m_callback.lastGroupState().status);
    EXPECT_EQ(1u, tail.countStartingWith("Information", kRegistered));
    EXPECT_EQ(30u, stateOf(*group).bytesTransferred);
}

TEST_F(CUploadGroupTest, CompletionIsSentAtMostTwiceAndAFailureLeavesTheGroupInError) {
    struct Case {
        int refusals;
        CTransferManagerBase::GroupStatus status;
        transfer_defs::GroupErrorType errorType;
        size_t requests;
        size_t rows;
        size_t registrations;
    };
    const Case cases[] = {
        {0, CTransferManagerBase::GROUP_STATUS_COMPLETED, transfer_defs::GROUP_ERROR_NONE, 1, 0, 0},
        {1, CTransferManagerBase::GROUP_STATUS_COMPLETED, transfer_defs::GROUP_ERROR_NONE, 2, 0, 0},
        {2, CTransferManagerBase::GROUP_STATUS_ERROR,
         transfer_defs::GROUP_ERROR_COMPLETION_NOT_SENT, 2, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("refusals: " + std::to_string(c.refusals));
        CDatabaseTestAccess::exec("DELETE FROM GroupsDictionary");
        m_bucket = service().control().createBucket();
        m_callback.clear();
        m_engine.clear();
        if (c.refusals > 0) {
            vxt_test::CServiceControlClient::Fault fault;
            fault.route = vxt_test::routes::kBucketStatusUpdate;
            fault.count = c.refusals;
            fault.status = 500;
            service().control().injectFault(fault);
        }
        auto group = makeGroup(c.refusals);
        CLogFileTail tail(CDbTestFolder::logFilePath());
        group->markQueue(false);  // empty: completes at once

        const auto last = m_callback.lastGroupState();
        EXPECT_EQ(c.status, last.status);
        EXPECT_EQ(c.errorType, last.errorType);
        EXPECT_TRUE(last.queueMarked);
        EXPECT_EQ(c.requests, serviceRequests(vxt_test::routes::kBucketStatusUpdate));
        EXPECT_EQ(c.rows, groupRowCount());
        EXPECT_EQ(c.registrations, tail.countStartingWith("Information", kRegistered));
        EXPECT_EQ(1u, m_engine.count(Kind::GroupRemove));
        service().control().clearFaults();
    }
}

TEST_F(CUploadGroupTest, CompletionNotSentIsSentAgainByTheNextResume) {
    auto group = makeGroup();
    vxt_test::CServiceControlClient::Fault fault;
    fault.route = vxt_test::routes::kBucketStatusUpdate;
    fault.count = 2;
    fault.status = 503;
    service().control().injectFault(fault);
    group->markQueue(false);
    ASSERT_EQ(transfer_defs::GROUP_ERROR_COMPLETION_NOT_SENT,
              m_callback.lastGroupState().errorType);

    group->resumeGroupAsync(true);  // as the restarter would have it
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_COMPLETED, m_callback.lastGroupState().status);
    EXPECT_EQ(3u, serviceRequests(vxt_test::routes::kBucketStatusUpdate));
    EXPECT_EQ("COMPLETED", service().control().bucket(m_bucket.bucketId).status);
    EXPECT_EQ(0u, groupRowCount());
}

TEST_F(CUploadGroupTest, TenthAutomaticRetryIsTheLastThenTheGroupPausesUntilResumedByHand) {
    auto group = makeGroup();
    auto probe = feed(*group, "f1", 100);
    group->setRetryCounter(9, true);
    EXPECT_EQ("9", groupColumn(0, "RetryCount"));
    {
        CLogFileTail tail(CDbTestFolder::logFilePath());
        report(*group, "f1", CTransferManagerBase::FILE_STATUS_ERROR, 0);
        EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ERROR, m_callback.lastGroupState().status);
        EXPECT_EQ(10u, m_callback.lastGroupState().retryCount);
        EXPECT_EQ("10", groupColumn(0, "RetryCount"));
        EXPECT_EQ(1u, tail.countStartingWith("Information", kRegistered));
    }

    // An automatic resume keeps the count and brings the file back.
    group->resumeGroupAsync(true);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ACTIVE, m_callback.lastGroupState().status);
    EXPECT_EQ(1, probe->resetErrorStateCalls.load());
    ASSERT_EQ(1u, m_engine.count(Kind::UploadResume));
    EXPECT_EQ(1u, m_engine.requests(Kind::UploadResume)[0].files.size());
    EXPECT_EQ("10", groupColumn(0, "RetryCount"));
    {
        CLogFileTail tail(CDbTestFolder::logFilePath());
        report(*group, "f1", CTransferManagerBase::FILE_STATUS_ERROR, 0);
        EXPECT_EQ(0u, tail.countStartingWith("Information", kRegistered));
        EXPECT_EQ(1u, tail.countStartingWith(
                          "Error", "[" + m_bucket.bucketId +
                                       "[0]] Group 0 has reached maximum number of auto retires "
                                       "(10). Not registering group in group restarter."));
    }
    auto state = stateOf(*group);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_PAUSED, state.status);
    EXPECT_TRUE(state.paused);
    EXPECT_EQ("1", groupColumn(0, "Paused"));
    EXPECT_TRUE(group->popFileForUpload().isNull());

    // By hand: the counter starts again, in memory and in the database.
    group->resumeGroupAsync(false);
    state = stateOf(*group);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ACTIVE, state.status);
    EXPECT_FALSE(state.paused);
    EXPECT_EQ(0u, state.retryCount);
    EXPECT_EQ("0", groupColumn(0, "RetryCount"));
    EXPECT_EQ("0", groupColumn(0, "Paused"));
    EXPECT_EQ(2, probe->resetErrorStateCalls.load());
}

TEST_F(CUploadGroupTest, ResumeOfAnExpiredBucketTouchesNoFileWhileAFailedStatusCallGoesOn) {
    struct Case {
        const char* name;
        const char* bucketStatus;  // null: the status call loses its connection
        bool expired;
    };
    const Case cases[] = {
        {"expired", "EXPIRED", true},
        {"deleted", "DELETED", true},
        {"alive", "INITIALIZED", false},
        {"no answer", nullptr, false},
    };
    int groupId = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        m_bucket = service().control().createBucket();
        m_engine.clear();
        auto group = makeGroup(groupId);
        auto probe = feed(*group, "f1", 100);
        report(*group, "f1", CTransferManagerBase::FILE_STATUS_ERROR, 0);
        group->setRetryCounter(3, true);
        if (c.bucketStatus != nullptr) {
            service().control().setBucketStatus(m_bucket.bucketId, c.bucketStatus);
        } else {
            vxt_test::CServiceControlClient::Fault fault;
            fault.route = vxt_test::routes::kBucketStatusGet;
            fault.action = vxt_test::CServiceControlClient::FaultAction::CloseBeforeHeaders;
            service().control().injectFault(fault);
        }
        m_callback.clear();
        group->resumeGroupAsync(false);

        const auto state = stateOf(*group);
        if (c.expired) {
            EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ERROR, state.status);
            EXPECT_EQ(transfer_defs::GROUP_ERROR_BUCKET_EXPIRED, state.errorType);
            EXPECT_EQ(0, probe->resetErrorStateCalls.load());
            EXPECT_EQ(0u, m_engine.count(Kind::UploadResume));
            EXPECT_EQ(std::to_string(3), groupColumn(groupId, "RetryCount"));
            EXPECT_TRUE(group->popFileForUpload().isNull());
        } else {
            EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ACTIVE, state.status);
            EXPECT_EQ(1, probe->resetErrorStateCalls.load());
            EXPECT_EQ(1u, m_engine.count(Kind::UploadResume));
            EXPECT_EQ("0", groupColumn(groupId, "RetryCount"));
        }
        service().control().clearFaults();
        ++groupId;
    }
}

TEST_F(CUploadGroupTest, DequeuedPendingFileGoesAtOnceWhileARunningOneWaitsForTheEngine) {
    auto group = makeGroup();
    auto files = descs({"a", "b", "c"});
    group->initFiles(files);
    FilePtr running = group->popFileForUpload();
    ASSERT_FALSE(running.isNull());
    auto probes = CFakeUploadFileFactory::probes();
    ASSERT_EQ(3u, probes.size());
    ASSERT_EQ("a", probes[0]->uid());

    std::vector<CUploadManager::FileDesc> dequeued{files[0], files[1]};
    group->dequeueFile(dequeued);
    // b, pending, is gone; a is only asked to stop.
    EXPECT_EQ(1, probes[1]->uninitializeCalls.load());
    EXPECT_GE(probes[1]->removeFromDbCalls.load(), 1);
    EXPECT_EQ(1, probes[0]->removeFromDbCalls.load());
    EXPECT_EQ(0, probes[0]->uninitializeCalls.load());
    ASSERT_EQ(1u, m_engine.count(Kind::UploadCancel));
    ASSERT_EQ(1u, m_engine.requests(Kind::UploadCancel)[0].files.size());
    EXPECT_EQ(running.get(), m_engine.requests(Kind::UploadCancel)[0].files.front().get());
    EXPECT_EQ(200u, stateOf(*group).bytesTotal);

    group->removeFileUploaded(running.get(), "");
    EXPECT_EQ(1, probes[0]->uninitializeCalls.load());
    EXPECT_EQ(100u, stateOf(*group).bytesTotal);
    FilePtr next = group->popFileForUpload();
    ASSERT_FALSE(next.isNull());
    EXPECT_EQ(probes[2].get(), static_cast<vxt_test::CFakeUploadFile*>(next.get())->probe().get());
}

TEST_F(CUploadGroupTest, CancelledGroupLosesItsRowsAndCancelsOnlyItsActiveFiles) {
    auto group = makeGroup();
    auto files = descs({"a", "b"});
    group->initFiles(files);
    FilePtr running = group->popFileForUpload();
    ASSERT_FALSE(running.isNull());
    auto probes = CFakeUploadFileFactory::probes();
    ASSERT_EQ(1u, groupRowCount());

    group->cancelGroup();
    ASSERT_EQ(1u, m_engine.count(Kind::UploadCancel));
    const auto cancel = m_engine.requests(Kind::UploadCancel)[0];
    ASSERT_EQ(1u, cancel.files.size());
    EXPECT_EQ(running.get(), cancel.files.front().get());
    EXPECT_EQ(0u, groupRowCount());
    EXPECT_GE(probes[0]->removeFromDbCalls.load(), 1);
    EXPECT_GE(probes[1]->removeFromDbCalls.load(), 1);
    EXPECT_TRUE(group->isCanceled());
    EXPECT_TRUE(group->popFileForUpload().isNull());
    EXPECT_EQ(100u, stateOf(*group).bytesTotal);  // the pending file left the ledger
    EXPECT_EQ(0u, serviceRequests(vxt_test::routes::kBucketStatusUpdate));
}

TEST_F(CUploadGroupTest, FailedPreparationIsReportedAndTheNextPendingFileIsHandedOut) {
    auto made = std::make_shared<int>(0);
    CFakeUploadFileFactory::setScript([made](const CFakeUploadFileFactory::Call&, Probe& probe) {
        // The first file fails its preparation, the second passes.
        probe.prepareRequired = true;
        probe.prepareResult = (*made)++ == 0 ? DT_MULTIPART_INIT_FAILED : DT_SUCCESS;
        return true;
    });
    auto group = makeGroup();
    auto files = descs({"a", "b"});
    group->initFiles(files);
    m_callback.clear();

    FilePtr file = group->popFileForUpload();
    ASSERT_FALSE(file.isNull());
    EXPECT_EQ("b", static_cast<vxt_test::CFakeUploadFile*>(file.get())->probe()->uid());
    bool reported = false;
    for (const auto& state : m_callback.fileStates()) {
        if (state.status == CTransferManagerBase::FILE_STATUS_ERROR) {
            EXPECT_EQ("a", state.fileId);
            EXPECT_EQ(transfer_defs::FILE_ERROR_MULTIPART_INIT, state.fileErrorType);
            reported = true;
        }
    }
    EXPECT_TRUE(reported);
    EXPECT_TRUE(group->popFileForUpload().isNull());
}

TEST_F(CUploadGroupTest, PausedGroupHandsOutNothingAndKeepsItsQueue) {
    auto group = makeGroup();
    auto files = descs({"a"});
    group->initFiles(files);
    group->pauseGroup();
    EXPECT_TRUE(group->isPaused());
    EXPECT_EQ("1", groupColumn(0, "Paused"));
    EXPECT_EQ(1u, m_engine.count(Kind::UploadPause));
    EXPECT_TRUE(group->popFileForUpload().isNull());

    group->resumeGroupAsync(false);
    EXPECT_FALSE(group->isPaused());
    EXPECT_FALSE(group->popFileForUpload().isNull());
}

TEST_F(CUploadGroupTest, FileChangedOnDiskIsRebuiltAsErroredAndMadeAnewAtResume) {
    auto group = makeGroup();
    auto files = descs({"a"});
    group->initFiles(files);
    FilePtr first = group->popFileForUpload();
    ASSERT_FALSE(first.isNull());
    auto firstProbe = CFakeUploadFileFactory::probes()[0];

    report(*group, "a", CTransferManagerBase::FILE_STATUS_ERROR, 0, 0, true);
    ASSERT_EQ(1u, m_engine.count(Kind::UploadCancel));
    group->removeFileUploaded(first.get(), "");
    EXPECT_EQ(1, firstProbe->uninitializeCalls.load());
    EXPECT_EQ(0, firstProbe->removeFromDbCalls.load());  // its rows serve the new file
    EXPECT_EQ(100u, stateOf(*group).bytesTotal);

    group->resumeGroupAsync(false);
    ASSERT_EQ(2u, CFakeUploadFileFactory::probes().size());
    auto secondProbe = CFakeUploadFileFactory::probes()[1];
    EXPECT_EQ(1, secondProbe->initializeCalls.load());
    EXPECT_EQ("a", secondProbe->uid());
    ASSERT_EQ(1u, m_engine.count(Kind::FileAddPaused));
    auto added = m_engine.requests(Kind::FileAddPaused)[0].files.front();
    EXPECT_EQ(secondProbe.get(),
              static_cast<vxt_test::CFakeUploadFile*>(added.get())->probe().get());
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ACTIVE, stateOf(*group).status);
}

TEST_F(CUploadGroupTest, ResumeWaitsForARebuildThatTheEngineFinishes) {
    auto group = makeGroup();
    auto files = descs({"a"});
    group->initFiles(files);
    FilePtr first = group->popFileForUpload();
    ASSERT_FALSE(first.isNull());
    report(*group, "a", CTransferManagerBase::FILE_STATUS_ERROR, 0, 0, true);

    // The resume may start before the engine has finished the changed file: it then waits on
    // the group's condition with the lock released, until removeFileUploaded signals.
    auto resume = std::async(std::launch::async, [&] { group->resumeGroupAsync(false); });
    group->removeFileUploaded(first.get(), "");
    ASSERT_EQ(std::future_status::ready, resume.wait_for(std::chrono::seconds(20)));
    EXPECT_EQ(1u, m_engine.count(Kind::FileAddPaused));
    EXPECT_EQ(2u, CFakeUploadFileFactory::probes().size());
}

TEST_F(CUploadGroupTest, MarkedQueueRefusesFilesUntilUnmarked) {
    auto group = makeGroup();
    feed(*group, "a", 100);
    auto more = descs({"b"});
    group->queueFiles(more);
    EXPECT_EQ(1u, m_engine.count(Kind::FilesInitialize));

    group->markQueue(true);  // only handed to the engine
    EXPECT_EQ(1u, m_engine.count(Kind::GroupMark));
    EXPECT_FALSE(group->isQueueMarked());

    group->markQueue(false);
    EXPECT_TRUE(group->isQueueMarked());
    EXPECT_EQ("1", groupColumn(0, "Marked"));
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_ACTIVE, stateOf(*group).status);
    group->queueFiles(more);
    EXPECT_EQ(1u, m_engine.count(Kind::FilesInitialize));
    group->initFiles(more);
    EXPECT_TRUE(CFakeUploadFileFactory::calls().empty());

    group->unmarkQueue();
    EXPECT_EQ("0", groupColumn(0, "Marked"));
    group->queueFiles(more);
    EXPECT_EQ(2u, m_engine.count(Kind::FilesInitialize));
}

TEST_F(CUploadGroupTest, FileQueuedAgainWhileInTheGroupIsIgnoredAndKeepsItsFileObject) {
    auto group = makeGroup();
    auto files = descs({"a"});
    group->initFiles(files);
    auto first = group->popFileForUpload();
    ASSERT_FALSE(first.isNull());
    const size_t made = CFakeUploadFileFactory::calls().size();
    const unsigned long long total = stateOf(*group).bytesTotal;

    // Replacing the running entry's file would destroy it under its channels.
    group->initFiles(files);
    EXPECT_EQ(made, CFakeUploadFileFactory::calls().size());
    EXPECT_EQ(total, stateOf(*group).bytesTotal);
    EXPECT_TRUE(group->popFileForUpload().isNull());
}

}  // namespace
}  // namespace vx_transfers
