#include <gtest/gtest.h>

#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

class CGroupsDbInfoTest : public CFreshDatabaseFixture {};

CGroupsDbInfo::GroupInfo uploadGroup(int groupId) {
    CGroupsDbInfo::GroupInfo group;
    group.bucketUid = "bucket-" + std::to_string(groupId);
    group.bucketToken = "token-" + std::to_string(groupId);
    group.bucketType = "share";
    group.expirationDate = 0x1234567890ULL + groupId;  // above 2^32
    group.groupId = groupId;
    group.paused = true;
    group.marked = false;
    group.retryCount = 4000000000u;  // above 2^31
    return group;
}

CDownloadGroupsDbInfo::GroupInfo downloadGroup(int groupId) {
    CDownloadGroupsDbInfo::GroupInfo group;
    group.bucketUid = "bucket-" + std::to_string(groupId);
    group.bucketToken = "token-" + std::to_string(groupId);
    group.bucketType = "share";
    group.expirationDate = 0xFFFFFFFFFFFFFFFFULL;  // the largest value survives too
    group.groupId = groupId;
    group.paused = false;
    group.downloadPath = L"/home/\u00e9l\u00e8ve/T\u00e9l\u00e9chargements/\u6587\u4ef6";
    group.retryCount = 3;
    return group;
}

void expectSameGroup(const CGroupsDbInfoBase::GroupInfo& a, const CGroupsDbInfoBase::GroupInfo& b) {
    EXPECT_EQ(a.bucketUid, b.bucketUid);
    EXPECT_EQ(a.bucketToken, b.bucketToken);
    EXPECT_EQ(a.bucketType, b.bucketType);
    EXPECT_EQ(a.expirationDate, b.expirationDate);
    EXPECT_EQ(a.groupId, b.groupId);
    EXPECT_EQ(a.paused, b.paused);
    EXPECT_EQ(a.retryCount, b.retryCount);
}

TEST_F(CGroupsDbInfoTest, UploadGroupSurvivesRoundTripWithLargeValues) {
    const CGroupsDbInfo::GroupInfo stored = uploadGroup(7);
    m_db->getGroupsInfo()->insert(stored);

    std::vector<CGroupsDbInfo::GroupInfo> groups;
    m_db->getGroupsInfo()->extractAll(groups);

    ASSERT_EQ(groups.size(), 1u);
    expectSameGroup(groups[0], stored);
    EXPECT_EQ(groups[0].marked, stored.marked);
}

TEST_F(CGroupsDbInfoTest, DownloadGroupSurvivesRoundTripWithNonAsciiPath) {
    const CDownloadGroupsDbInfo::GroupInfo stored = downloadGroup(9);
    m_db->getDownloadGroupsInfo()->insert(stored);

    std::vector<CDownloadGroupsDbInfo::GroupInfo> groups;
    m_db->getDownloadGroupsInfo()->extractAll(groups);

    ASSERT_EQ(groups.size(), 1u);
    expectSameGroup(groups[0], stored);
    EXPECT_EQ(groups[0].downloadPath, stored.downloadPath);
}

TEST_F(CGroupsDbInfoTest, UpdatesChangeOnlyTheirGroupAndField) {
    Poco::SharedPtr<CGroupsDbInfo> table = m_db->getGroupsInfo();
    table->insert(uploadGroup(1));
    table->insert(uploadGroup(2));

    table->setPaused(1, false);
    table->setMarked(1, true);
    table->setRetryCount(1, 17);

    std::vector<CGroupsDbInfo::GroupInfo> groups;
    table->extractAll(groups);
    ASSERT_EQ(groups.size(), 2u);
    const CGroupsDbInfo::GroupInfo& changed = groups[0].groupId == 1 ? groups[0] : groups[1];
    const CGroupsDbInfo::GroupInfo& untouched = groups[0].groupId == 1 ? groups[1] : groups[0];
    EXPECT_FALSE(changed.paused);
    EXPECT_TRUE(changed.marked);
    EXPECT_EQ(changed.retryCount, 17u);
    EXPECT_EQ(changed.bucketUid, "bucket-1");
    expectSameGroup(untouched, uploadGroup(2));
    EXPECT_FALSE(untouched.marked);
}

TEST_F(CGroupsDbInfoTest, DownloadUpdatesAndRemoveTouchOnlyTheirGroup) {
    Poco::SharedPtr<CDownloadGroupsDbInfo> table = m_db->getDownloadGroupsInfo();
    table->insert(downloadGroup(1));
    table->insert(downloadGroup(2));

    table->setPaused(2, true);
    table->setRetryCount(2, 8);
    table->remove(1);

    std::vector<CDownloadGroupsDbInfo::GroupInfo> groups;
    table->extractAll(groups);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].groupId, 2);
    EXPECT_TRUE(groups[0].paused);
    EXPECT_EQ(groups[0].retryCount, 8u);
}

TEST_F(CGroupsDbInfoTest, RemoveDeletesOnlyThatUploadGroup) {
    Poco::SharedPtr<CGroupsDbInfo> table = m_db->getGroupsInfo();
    table->insert(uploadGroup(1));
    table->insert(uploadGroup(2));

    table->remove(2);

    std::vector<CGroupsDbInfo::GroupInfo> groups;
    table->extractAll(groups);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].groupId, 1);
}

TEST_F(CGroupsDbInfoTest, SecondGroupWithSameIdIsLoggedOnceAndFirstStands) {
    CGroupsDbInfo::GroupInfo first = uploadGroup(3);
    CGroupsDbInfo::GroupInfo second = uploadGroup(3);
    second.bucketUid = "other";
    CDownloadGroupsDbInfo::GroupInfo firstDownload = downloadGroup(3);
    CDownloadGroupsDbInfo::GroupInfo secondDownload = downloadGroup(3);
    secondDownload.bucketUid = "other";
    m_db->getGroupsInfo()->insert(first);
    m_db->getDownloadGroupsInfo()->insert(firstDownload);

    CLogFileTail log(CDbTestFolder::logFilePath());
    EXPECT_NO_THROW(m_db->getGroupsInfo()->insert(second));
    EXPECT_NO_THROW(m_db->getDownloadGroupsInfo()->insert(secondDownload));

    EXPECT_EQ(log.texts("Error").size(), 2u);
    EXPECT_EQ(log.countStartingWith(
                  "Error", "Exception when trying to insert into GroupsDictionary table. "),
              2u);
    std::vector<CGroupsDbInfo::GroupInfo> groups;
    m_db->getGroupsInfo()->extractAll(groups);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].bucketUid, "bucket-3");
    std::vector<CDownloadGroupsDbInfo::GroupInfo> downloadGroups;
    m_db->getDownloadGroupsInfo()->extractAll(downloadGroups);
    ASSERT_EQ(downloadGroups.size(), 1u);
    EXPECT_EQ(downloadGroups[0].bucketUid, "bucket-3");
}

TEST_F(CGroupsDbInfoTest, ExtractAllAppendsToWhatTheVectorHolds) {
    m_db->getGroupsInfo()->insert(uploadGroup(5));
    std::vector<CGroupsDbInfo::GroupInfo> groups(1);

    m_db->getGroupsInfo()->extractAll(groups);

    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[1].groupId, 5);
}

TEST_F(CGroupsDbInfoTest, NullColumnsComeBackAsRecordDefaults) {
    CDatabaseTestAccess::exec("INSERT INTO GroupsDictionary (GroupId) VALUES (11)");

    std::vector<CGroupsDbInfo::GroupInfo> groups;
    m_db->getGroupsInfo()->extractAll(groups);

    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].groupId, 11);
    EXPECT_EQ(groups[0].bucketUid, "");
    EXPECT_EQ(groups[0].expirationDate, 0u);
    EXPECT_FALSE(groups[0].paused);
    EXPECT_FALSE(groups[0].marked);
    EXPECT_EQ(groups[0].retryCount, 0u);
}

}  // namespace
}  // namespace vx_transfers
