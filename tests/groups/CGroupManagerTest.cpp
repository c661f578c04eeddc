#include <gtest/gtest.h>

#include "CGroupTestBase.h"
#include "db/CDatabase.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "groups/CGroupManager.h"
#include "managers/startup/CSingleton.h"

namespace vx_transfers {
namespace {

using Kind = vxt_test::CRecordingUploadEngine::Kind;
using Probe = vxt_test::CFakeUploadFile::Probe;

class CGroupManagerTest : public CGroupTestBase {
protected:
    CGroupManagerTest() { m_manager.setTransferEngineCallback(&m_engine); }

    int create(const std::string& bucketId) {
        CUploadGroup::TransferGroupInitParams params = groupParams(-5);
        params.bucketId = bucketId;
        params.isNew = false;  // the registry decides
        return m_manager.createGroup(params);
    }

    CGroupsDbInfo::GroupInfo groupRow(const vxt_test::CServiceControlClient::BucketInfo& bucket,
                                      int groupId) {
        CGroupsDbInfo::GroupInfo row;
        row.bucketUid = bucket.bucketId;
        row.bucketToken = bucket.token;
        row.bucketType = "transfer";
        row.groupId = groupId;
        return row;
    }

    // What start-up does: load the dump, build the groups, drop the dump.
    void restore() {
        CDatabaseDumpAnalyzer* analyzer = CSingleton<CDatabaseDumpAnalyzer>::getInstance();
        analyzer->loadUploadData();
        m_manager.createGroupsFromDbInfo(static_cast<CUploadManager::ICallback*>(&m_callback), 1000,
                                         false);
        analyzer->unloadUploadData();
    }

    CUploadGroup* uploadGroup(int groupId) {
        return dynamic_cast<CUploadGroup*>(m_manager.getGroupById(groupId).get());
    }

    CGroupManager m_manager;
};

TEST_F(CGroupManagerTest, NewGroupsGetConsecutiveIdsAndAreFoundByIdAndBucket) {
    const auto second = service().control().createBucket();
    EXPECT_EQ(0, create(m_bucket.bucketId));
    EXPECT_EQ(1, create(second.bucketId));
    EXPECT_EQ(2u, m_manager.size());
    EXPECT_EQ(2u, groupRowCount());  // both are new, whatever the caller said

    EXPECT_EQ(1, m_manager.findGroupByBucketId(second.bucketId));
    EXPECT_EQ(-1, m_manager.findGroupByBucketId("no-such-bucket"));
    EXPECT_TRUE(m_manager.getGroupById(5).isNull());

    CGroupManagerBase::GroupList taken{m_manager.getGroupById(0)};
    EXPECT_EQ(m_manager.getGroupById(1).get(), m_manager.findGroupNotInList(taken).get());
    taken.push_back(m_manager.getGroupById(1));
    EXPECT_TRUE(m_manager.findGroupNotInList(taken).isNull());

    m_manager.removeGroup(42);
    EXPECT_EQ(2u, m_manager.size());
    ITransferGroup* first = m_manager.getGroupById(0).get();
    m_manager.removeGroup(0);
    EXPECT_EQ(1u, m_manager.size());
    EXPECT_FALSE(m_manager.isGroupInList(first));
    // Removed ids are not given again.
    EXPECT_EQ(2, create(m_bucket.bucketId));

    // The group reaches the registry's engine.
    m_manager.getGroupById(1)->resumeGroup(false);
    ASSERT_EQ(1u, m_engine.count(Kind::GroupResume));
    EXPECT_EQ(m_manager.getGroupById(1).get(), m_engine.requests(Kind::GroupResume)[0].group);
}

TEST_F(CGroupManagerTest, EmptyDatabaseLeavesIdsStartingAtZero) {
    restore();
    EXPECT_EQ(0u, m_manager.size());
    EXPECT_EQ(0, create(m_bucket.bucketId));
}

TEST_F(CGroupManagerTest, RestoredGroupsKeepTheirStateAndIdsContinueAboveTheHighest) {
    // Group 3: paused, four retries used, one file with no channels stored.
    // Group 7: marked, one file restored complete from its two channels.
    const auto second = service().control().createBucket();
    CGroupsDbInfo::GroupInfo paused = groupRow(m_bucket, 3);
    paused.paused = true;
    paused.retryCount = 4;
    CGroupsDbInfo::GroupInfo marked = groupRow(second, 7);
    marked.marked = true;
    CDatabase::getInstance()->getGroupsInfo()->insert(paused);
    CDatabase::getInstance()->getGroupsInfo()->insert(marked);

    CUploadManager::FileDesc looseFile = fileDesc("loose", makeLocalFile("loose.bin", 250));
    CUploadManager::FileDesc doneFile = fileDesc("done");
    CDatabase::getInstance()->getFilesInfo()->insert(looseFile, 3);
    CDatabase::getInstance()->getFilesInfo()->insert(doneFile, 7);
    for (unsigned long long offset : {0ULL, 50ULL}) {
        CChannelsDbInfo::ChannelInfo channel;
        channel.fileUid = "done";
        channel.url = "http://127.0.0.1:1/part";
        channel.offset = offset;
        channel.bytesToUpload = 50;
        channel.state = 2;
        channel.httpHeaders.push_back({"Content-Type", "application/octet-stream"});
        CDatabase::getInstance()->getChannelsInfo()->insert(channel);
    }
    CFakeUploadFileFactory::setScript([](const CFakeUploadFileFactory::Call& call, Probe& probe) {
        probe.state.bytesTotal = call.byChannelCount ? 100 : 250;
        probe.state.bytesTransferred = call.byChannelCount ? 100 : 50;
        probe.state.status = call.byChannelCount ? CTransferManagerBase::FILE_STATUS_COMPLETED
                                                 : CTransferManagerBase::FILE_STATUS_TRANSFERRING;
        return true;
    });

    restore();
    ASSERT_EQ(2u, m_manager.size());
    EXPECT_EQ(8, create(service().control().createBucket().bucketId));

    // The factory chose by size where no channels were stored, by channel count otherwise.
    const auto calls = CFakeUploadFileFactory::calls();
    ASSERT_EQ(2u, calls.size());
    EXPECT_FALSE(calls[0].byChannelCount);
    EXPECT_EQ(250u, calls[0].fileSize);
    EXPECT_EQ(1000u, calls[0].minMultipartSize);
    EXPECT_TRUE(calls[1].byChannelCount);
    EXPECT_EQ(2u, calls[1].channelCount);

    CUploadGroup* group3 = uploadGroup(3);
    ASSERT_NE(nullptr, group3);
    CUploadManager::GroupState state;
    group3->getGroupState(state);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_PAUSED, state.status);
    EXPECT_TRUE(state.paused);
    EXPECT_EQ(4u, state.retryCount);
    EXPECT_EQ(250u, state.bytesTotal);
    EXPECT_EQ(50u, state.bytesTransferred);
    EXPECT_FALSE(state.empty);
    EXPECT_EQ("4", groupColumn(3, "RetryCount"));
    auto probes = CFakeUploadFileFactory::probes();
    EXPECT_TRUE(probes[0]->restoredPaused());  // paused before its files came in
    EXPECT_EQ(group3, probes[0]->group());
    EXPECT_FALSE(probes[1]->restoredPaused());

    // The mark of group 7 goes through the engine, whose thread marks it: all its files are
    // done, so it completes.
    CUploadGroup* group7 = uploadGroup(7);
    ASSERT_NE(nullptr, group7);
    ASSERT_EQ(1u, m_engine.count(Kind::GroupMark));
    EXPECT_EQ(group7, m_engine.requests(Kind::GroupMark)[0].uploadGroup);
    EXPECT_FALSE(group7->isQueueMarked());
    group7->markQueue(false);
    group7->getGroupState(state);
    EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_COMPLETED, state.status);
    EXPECT_EQ("COMPLETED", service().control().bucket(second.bucketId).status);
    EXPECT_EQ("", groupColumn(7, "GroupId"));
    EXPECT_EQ("3", groupColumn(3, "GroupId"));
}

}  // namespace
}  // namespace vx_transfers
