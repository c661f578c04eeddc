#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

const char* const kUploadValidationLines[] = {
    "There are no upload files and upload parts in DB, skipping data validation...",
    "Starting upload data validation",
    "All upload files in DB are valid",
    "No zombie upload channels found",
};

class CDatabaseDumpAnalyzerTest : public CFreshDatabaseFixture {
protected:
    // Made after the fresh database, which it keeps a pointer to.
    void SetUp() override {
        CFreshDatabaseFixture::SetUp();
        m_analyzer.reset(new CDatabaseDumpAnalyzer());
    }

    void addUploadGroup(int groupId) {
        CGroupsDbInfo::GroupInfo group;
        group.groupId = groupId;
        m_db->getGroupsInfo()->insert(group);
    }

    void addUploadFile(const std::string& uid, int groupId) {
        CUploadManager::FileDesc desc;
        desc.fileUid = uid;
        m_db->getFilesInfo()->insert(desc, groupId);
    }

    void addUploadChannel(const std::string& uid, unsigned long long offset) {
        CChannelsDbInfo::ChannelInfo channel;
        channel.fileUid = uid;
        channel.offset = offset;
        channel.httpHeaders = {{"a", "1"}, {"b", "2"}};
        m_db->getChannelsInfo()->insert(channel);
    }

    void addDownloadGroup(int groupId) {
        CDownloadGroupsDbInfo::GroupInfo group;
        group.groupId = groupId;
        m_db->getDownloadGroupsInfo()->insert(group);
    }

    void addDownloadFile(const std::string& uid, int groupId) {
        CDownloadManager::FileDownloadDetails details;
        details.fileId = uid;
        m_db->getDownloadFilesInfo()->insert(details, groupId, L"tmp");
    }

    void addDownloadChannel(const std::string& uid, unsigned long long offset) {
        CDownloadChannelsDbInfo::ChannelInfo channel;
        channel.fileUid = uid;
        channel.offset = offset;
        m_db->getDownloadChannelsInfo()->insert(channel);
    }

    static std::set<std::string> column(const std::string& sql) {
        const std::vector<std::string> rows = CDatabaseTestAccess::query(sql);
        return std::set<std::string>(rows.begin(), rows.end());
    }

    static std::vector<std::string> validationLines(const CLogFileTail& log) {
        std::vector<std::string> found;
        for (const auto& line : log.lines()) {
            for (const char* text : kUploadValidationLines) {
                if (line.text == text) {
                    found.push_back(line.text);
                }
            }
        }
        return found;
    }

    std::unique_ptr<CDatabaseDumpAnalyzer> m_analyzer;
};

TEST_F(CDatabaseDumpAnalyzerTest, EmptyDatabaseSkipsValidationWithOneLine) {
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_analyzer->loadUploadData();

    EXPECT_EQ(validationLines(log), std::vector<std::string>{kUploadValidationLines[0]});
    EXPECT_EQ(log.texts("Information"),
              (std::vector<std::string>{
                  "Extracted 0 upload groups from DB", "Extracted 0 upload files from DB",
                  "Extracted 0 upload channels from DB", kUploadValidationLines[0]}));
}

TEST_F(CDatabaseDumpAnalyzerTest, GroupsAloneSkipValidationAndSurvive) {
    addUploadGroup(1);
    addUploadGroup(2);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_analyzer->loadUploadData();

    EXPECT_EQ(validationLines(log), std::vector<std::string>{kUploadValidationLines[0]});
    EXPECT_EQ(m_analyzer->getUploadGroups().size(), 2u);
}

TEST_F(CDatabaseDumpAnalyzerTest, FileOfMissingGroupGoesWithItsChannelsInOneStart) {
    addUploadGroup(1);
    addUploadGroup(2);  // a group without files survives
    addUploadFile("good", 1);
    addUploadFile("zombie", 5);
    addUploadChannel("good", 0);
    addUploadChannel("zombie", 0);
    addUploadChannel("zombie", 4096);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_analyzer->loadUploadData();

    EXPECT_EQ(column("SELECT FileUid FROM FilesDictionary"), std::set<std::string>{"good"});
    EXPECT_EQ(column("SELECT FileUid FROM ChannelsDictionary"), std::set<std::string>{"good"});
    EXPECT_EQ(column("SELECT GroupId FROM GroupsDictionary"), (std::set<std::string>{"1", "2"}));
    EXPECT_EQ(log.texts("Warning"),
              std::vector<std::string>{"Found zombie file in DB. File id: zombie. It belong to "
                                       "group 5 which does not exist"});
    const std::vector<std::string> info = log.texts("Information");
    EXPECT_NE(std::find(info.begin(), info.end(), "Extracted 3 upload channels from DB"),
              info.end());
    EXPECT_NE(std::find(info.begin(), info.end(), "1 upload files should be removed from DB"),
              info.end());
    EXPECT_NE(std::find(info.begin(), info.end(), "No zombie upload channels found"), info.end());
    std::vector<CChannelsDbInfo::ChannelInfo> channels;
    m_analyzer->getChannelsForUploadFile("zombie", channels);
    EXPECT_TRUE(channels.empty());
    std::vector<CFilesDbInfo::FileInfo> files;
    m_analyzer->getFilesForUploadGroup(1, files);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].fileUid, "good");
}

TEST_F(CDatabaseDumpAnalyzerTest, OrphanChannelsAreDeletedWhileGoodOnesStay) {
    addUploadGroup(1);
    addUploadFile("good", 1);
    addUploadChannel("good", 0);
    addUploadChannel("good", 1048576);
    addUploadChannel("orphan", 0);
    addUploadChannel("orphan", 1048576);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_analyzer->loadUploadData();

    EXPECT_EQ(column("SELECT FileUid FROM ChannelsDictionary"), std::set<std::string>{"good"});
    EXPECT_EQ(column("SELECT count(*) FROM ChannelsDictionary"), std::set<std::string>{"4"});
    const std::vector<std::string> warnings = log.texts("Warning");
    EXPECT_EQ(warnings,
              (std::vector<std::string>{
                  "Found zombie channel in DB. File id: orphan",
                  "Found zombie channel in DB. File id: orphan",
                  "1 zombie file ids extracted from upload channels DB table. Removing..."}));
    std::vector<CChannelsDbInfo::ChannelInfo> channels;
    m_analyzer->getChannelsForUploadFile("good", channels);
    EXPECT_EQ(channels.size(), 2u);
}

TEST_F(CDatabaseDumpAnalyzerTest, DownloadZombiesGoAndGoodRowsStay) {
    addDownloadGroup(1);
    addDownloadFile("good", 1);
    addDownloadFile("zombie", 9);
    addDownloadChannel("good", 0);
    addDownloadChannel("zombie", 0);
    addDownloadChannel("orphan", 0);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_analyzer->loadDownloadData();

    EXPECT_EQ(column("SELECT FileUid FROM DownloadFilesDictionary"), std::set<std::string>{"good"});
    EXPECT_EQ(column("SELECT FileUid FROM DownloadChannelsDictionary"),
              std::set<std::string>{"good"});
    EXPECT_EQ(log.texts("Warning"),
              (std::vector<std::string>{
                  "Found zombie file in DB. File id: zombie. It belong to group 9 which does not "
                  "exist",
                  "Found zombie channel in DB. File id: orphan",
                  "1 zombie file ids extracted from download channels DB table. Removing..."}));
    const std::vector<std::string> info = log.texts("Information");
    for (const char* expected :
         {"Download Manager: Extracted 1 groups from DB",
          "Download Manager: Extracted 2 files from DB",
          "Download Manager: Extracted 3 channels from DB", "Starting download data validation",
          "1 download files should be removed from DB"}) {
        EXPECT_NE(std::find(info.begin(), info.end(), expected), info.end()) << expected;
    }
    std::vector<CDownloadFilesDbInfo::FileInfo> files;
    m_analyzer->getFilesForDownloadGroup(1, files);
    ASSERT_EQ(files.size(), 1u);
    std::vector<CDownloadChannelsDbInfo::ChannelInfo> channels;
    m_analyzer->getChannelsForDownloadFile("good", channels);
    EXPECT_EQ(channels.size(), 1u);
}

TEST_F(CDatabaseDumpAnalyzerTest, ValidDataLogsThatAllIsValid) {
    addUploadGroup(1);
    addUploadFile("a", 1);
    addUploadChannel("a", 0);
    addDownloadGroup(1);
    addDownloadFile("b", 1);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_analyzer->loadUploadData();
    m_analyzer->loadDownloadData();

    EXPECT_EQ(validationLines(log),
              (std::vector<std::string>{kUploadValidationLines[1], kUploadValidationLines[2],
                                        kUploadValidationLines[3]}));
    const std::vector<std::string> info = log.texts("Information");
    EXPECT_NE(std::find(info.begin(), info.end(), "All download files in DB are valid"),
              info.end());
    EXPECT_NE(std::find(info.begin(), info.end(), "No zombie download channels found"), info.end());
    EXPECT_TRUE(log.texts("Warning").empty());
}

TEST_F(CDatabaseDumpAnalyzerTest, LookupsReplaceTheOutputAndUnloadEmpties) {
    addUploadGroup(1);
    addUploadFile("a", 1);
    addDownloadGroup(1);
    addDownloadFile("b", 1);
    m_analyzer->loadUploadData();
    m_analyzer->loadDownloadData();

    std::vector<CFilesDbInfo::FileInfo> files(3);
    m_analyzer->getFilesForUploadGroup(99, files);
    EXPECT_TRUE(files.empty());
    std::vector<CDownloadFilesDbInfo::FileInfo> downloads(2);
    m_analyzer->getFilesForDownloadGroup(99, downloads);
    EXPECT_TRUE(downloads.empty());

    m_analyzer->loadUploadData();  // a second load appends
    EXPECT_EQ(m_analyzer->getUploadGroups().size(), 2u);

    m_analyzer->unloadUploadData();
    EXPECT_TRUE(m_analyzer->getUploadGroups().empty());
    m_analyzer->getFilesForUploadGroup(1, files);
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(m_analyzer->getDownloadGroups().size(), 1u);
    m_analyzer->unloadDownloadData();
    EXPECT_TRUE(m_analyzer->getDownloadGroups().empty());
}

}  // namespace
}  // namespace vx_transfers
