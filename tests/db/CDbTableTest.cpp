#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

// Every statement of the six tables, run against a database whose tables are gone: each one
// logs its own words once at error level and returns normally.
class CDbTableTest : public CFreshDatabaseFixture {
protected:
    void SetUp() override {
        CFreshDatabaseFixture::SetUp();
        for (const char* table : {"GroupsDictionary", "FilesDictionary", "ChannelsDictionary",
                                  "DownloadGroupsDictionary", "DownloadFilesDictionary",
                                  "DownloadChannelsDictionary"}) {
            CDatabaseTestAccess::exec(std::string("DROP TABLE ") + table);
        }
    }
};

struct FailureCase {
    const char* words;
    std::function<void(CDatabase&)> action;
};

TEST_F(CDbTableTest, EveryFailedStatementLogsItsWordsOnceAndReturns) {
    const std::string uid = "f";
    const std::set<std::string> uids = {"f", "g"};
    const std::vector<FailureCase> cases = {
        {"Exception when trying to insert into GroupsDictionary table. ",
         [](CDatabase& db) { db.getGroupsInfo()->insert(CGroupsDbInfo::GroupInfo()); }},
        {"Exception when trying to select from GroupsDictionary table. ",
         [](CDatabase& db) {
             std::vector<CGroupsDbInfo::GroupInfo> out;
             db.getGroupsInfo()->extractAll(out);
         }},
        {"Exception when trying to delete from GroupsDictionary table. ",
         [](CDatabase& db) { db.getGroupsInfo()->remove(1); }},
        {"Exception when trying to update paused field in GroupsDictionary table. ",
         [](CDatabase& db) { db.getGroupsInfo()->setPaused(1, true); }},
        {"Exception when trying to update marked field in GroupsDictionary table. ",
         [](CDatabase& db) { db.getGroupsInfo()->setMarked(1, true); }},
        {"Exception when trying to update RetryCount field in GroupsDictionary table. ",
         [](CDatabase& db) { db.getGroupsInfo()->setRetryCount(1, 2); }},
        {"Exception when trying to insert into FilesDictionary table. ",
         [](CDatabase& db) { db.getFilesInfo()->insert(CUploadManager::FileDesc(), 1); }},
        {"Exception when trying to select from FilesDictionary table. ",
         [](CDatabase& db) {
             std::vector<CFilesDbInfo::FileInfo> out;
             db.getFilesInfo()->extractAll(out);
         }},
        {"Exception when trying to delete from FilesDictionary table. ",
         [&](CDatabase& db) { db.getFilesInfo()->remove(uid); }},
        {"Exception when trying to delete from FilesDictionary table. ",
         [&](CDatabase& db) { db.getFilesInfo()->remove(uids); }},
        {"Exception when trying to update FilesDictionary table. ",
         [&](CDatabase& db) { db.getFilesInfo()->setUploadId(uid, "u"); }},
        {"Exception when trying to select FilesDictionary table. ",
         [&](CDatabase& db) { EXPECT_FALSE(db.getFilesInfo()->isFileWithIdInDb(uid)); }},
        {"Exception when trying to insert into ChannelsDictionary table. ",
         [](CDatabase& db) {
             CChannelsDbInfo::ChannelInfo channel;
             channel.httpHeaders = {{"a", "1"}};
             db.getChannelsInfo()->insert(channel);
         }},
        {"Exception when trying to select from ChannelsDictionary table. ",
         [](CDatabase& db) {
             std::vector<CChannelsDbInfo::ChannelInfo> out;
             db.getChannelsInfo()->extractAll(out);
         }},
        {"Exception when trying to delete from ChannelsDictionary table. ",
         [&](CDatabase& db) { db.getChannelsInfo()->remove(uid); }},
        {"Exception when trying to delete from ChannelsDictionary table. ",
         [&](CDatabase& db) { db.getChannelsInfo()->remove(uids); }},
        {"Exception when trying to update ChannelsDictionary table. ",
         [&](CDatabase& db) { db.getChannelsInfo()->modifyState(uid, 0, 1); }},
        // The download tables keep the words that name the upload tables where they always had.
        {"Exception when trying to insert into GroupsDictionary table. ",
         [](CDatabase& db) {
             db.getDownloadGroupsInfo()->insert(CDownloadGroupsDbInfo::GroupInfo());
         }},
        {"Exception when trying to select from DownloadGroupsDictionary table. ",
         [](CDatabase& db) {
             std::vector<CDownloadGroupsDbInfo::GroupInfo> out;
             db.getDownloadGroupsInfo()->extractAll(out);
         }},
        {"Exception when trying to delete from GroupsDictionary table. ",
         [](CDatabase& db) { db.getDownloadGroupsInfo()->remove(1); }},
        {"Exception when trying to update paused field in GroupsDictionary table. ",
         [](CDatabase& db) { db.getDownloadGroupsInfo()->setPaused(1, false); }},
        {"Exception when trying to update RetryCount field in DownloadGroupsDictionary table. ",
         [](CDatabase& db) { db.getDownloadGroupsInfo()->setRetryCount(1, 2); }},
        {"Exception when trying to insert into FilesDictionary table. ",
         [](CDatabase& db) {
             db.getDownloadFilesInfo()->insert(CDownloadManager::FileDownloadDetails(), 1, L"t");
         }},
        {"Exception when trying to select from FilesDictionary table. ",
         [](CDatabase& db) {
             std::vector<CDownloadFilesDbInfo::FileInfo> out;
             db.getDownloadFilesInfo()->extractAll(out);
         }},
        {"Exception when trying to delete from DownloadFilesDictionary table. ",
         [&](CDatabase& db) { db.getDownloadFilesInfo()->remove(uid); }},
        {"Exception when trying to delete from FilesDictionary table. ",
         [&](CDatabase& db) { db.getDownloadFilesInfo()->remove(uids); }},
        {"Exception when trying to insert into ChannelsDictionary table. ",
         [](CDatabase& db) {
             db.getDownloadChannelsInfo()->insert(CDownloadChannelsDbInfo::ChannelInfo());
         }},
        {"Exception when trying to select from ChannelsDictionary table. ",
         [](CDatabase& db) {
             std::vector<CDownloadChannelsDbInfo::ChannelInfo> out;
             db.getDownloadChannelsInfo()->extractAll(out);
         }},
        {"Exception when trying to delete from ChannelsDictionary table. ",
         [&](CDatabase& db) { db.getDownloadChannelsInfo()->remove(uid); }},
        {"Exception when trying to delete from DownloadChannelsDictionary table. ",
         [&](CDatabase& db) { db.getDownloadChannelsInfo()->remove(uids); }},
        {"Exception when trying to update ChannelsDictionary table. ",
         [&](CDatabase& db) { db.getDownloadChannelsInfo()->modifyState(uid, 0, 1); }},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(std::to_string(i) + ": " + cases[i].words);
        CLogFileTail log(CDbTestFolder::logFilePath());

        EXPECT_NO_THROW(cases[i].action(*m_db));

        const std::vector<std::string> errors = log.texts("Error");
        ASSERT_EQ(errors.size(), 1u);
        // The words, then the exception's what().
        EXPECT_EQ(errors[0].compare(0, std::string(cases[i].words).size(), cases[i].words), 0)
            << errors[0];
        EXPECT_GT(errors[0].size(), std::string(cases[i].words).size());
    }
}

TEST_F(CDbTableTest, BulkRemovesOfAnEmptySetRunNoStatement) {
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_db->getFilesInfo()->remove(std::set<std::string>());
    m_db->getChannelsInfo()->remove(std::set<std::string>());
    m_db->getDownloadFilesInfo()->remove(std::set<std::string>());
    m_db->getDownloadChannelsInfo()->remove(std::set<std::string>());

    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CDbTableTest, FailedExtractLeavesTheVectorAsItWas) {
    std::vector<CGroupsDbInfo::GroupInfo> groups(2);
    groups[1].groupId = 12;

    m_db->getGroupsInfo()->extractAll(groups);

    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[1].groupId, 12);
}

}  // namespace
}  // namespace vx_transfers
