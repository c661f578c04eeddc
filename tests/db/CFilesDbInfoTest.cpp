#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

class CFilesDbInfoTest : public CFreshDatabaseFixture {};

CUploadManager::FileDesc uploadDesc(const std::string& uid) {
    CUploadManager::FileDesc desc;
    desc.fileUid = uid;
    desc.fileUrl = L"/Users/j\u00fcrgen/\u00c9t\u00e9 \u65e5\u672c/\U0001F4F7 photo.jpg";
    desc.url = "https://upload.example/" + uid;
    desc.additionalHttpHeaders = {{"x-a", "1"}};
    return desc;
}

CDownloadManager::FileDownloadDetails downloadDetails(const std::string& uid) {
    CDownloadManager::FileDownloadDetails details;
    details.fileId = uid;
    details.path = L"sous-dossier/\u0444\u0430\u0439\u043b \u00e0 t\u00e9l\u00e9charger.bin";
    details.fileSize = 6ULL * 1024 * 1024 * 1024;  // 6 GiB, above 2^32
    details.modificationDate = 1700000000123ULL;
    details.md5 = "0123456789abcdef0123456789abcdef";
    return details;
}

std::set<std::string> uploadUids(CFilesDbInfo& table) {
    std::vector<CFilesDbInfo::FileInfo> files;
    table.extractAll(files);
    std::set<std::string> uids;
    for (const auto& file : files) {
        uids.insert(file.fileUid);
    }
    return uids;
}

std::set<std::string> downloadUids(CDownloadFilesDbInfo& table) {
    std::vector<CDownloadFilesDbInfo::FileInfo> files;
    table.extractAll(files);
    std::set<std::string> uids;
    for (const auto& file : files) {
        uids.insert(file.fileId);
    }
    return uids;
}

TEST_F(CFilesDbInfoTest, UploadFileSurvivesRoundTripWithNonAsciiPath) {
    const CUploadManager::FileDesc desc = uploadDesc("f1");
    m_db->getFilesInfo()->insert(desc, 42);

    std::vector<CFilesDbInfo::FileInfo> files;
    m_db->getFilesInfo()->extractAll(files);

    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].fileUid, "f1");
    EXPECT_EQ(files[0].fileUrl, desc.fileUrl);
    EXPECT_EQ(files[0].url, desc.url);
    EXPECT_EQ(files[0].parentGroupId, 42);
    EXPECT_EQ(files[0].uploadId, "");
    EXPECT_TRUE(files[0].additionalHttpHeaders.empty());
}

TEST_F(CFilesDbInfoTest, LocalPathIsStoredAsUtf8Text) {
    CUploadManager::FileDesc desc = uploadDesc("f1");
    desc.fileUrl = L"/tmp/\u00e9";
    m_db->getFilesInfo()->insert(desc, 1);

    EXPECT_EQ(CDatabaseTestAccess::query("SELECT hex(FileLocalUri) FROM FilesDictionary"),
              std::vector<std::string>{"2F746D702FC3A9"});
}

TEST_F(CFilesDbInfoTest, SetUploadIdChangesOnlyThatFile) {
    Poco::SharedPtr<CFilesDbInfo> table = m_db->getFilesInfo();
    table->insert(uploadDesc("f1"), 1);
    table->insert(uploadDesc("f2"), 1);

    table->setUploadId("f2", "upload-xyz");

    std::vector<CFilesDbInfo::FileInfo> files;
    table->extractAll(files);
    ASSERT_EQ(files.size(), 2u);
    for (const auto& file : files) {
        EXPECT_EQ(file.uploadId, file.fileUid == "f2" ? "upload-xyz" : "") << file.fileUid;
    }
}

TEST_F(CFilesDbInfoTest, IsFileWithIdInDbAnswersWithoutLogging) {
    m_db->getFilesInfo()->insert(uploadDesc("present"), 1);
    CLogFileTail log(CDbTestFolder::logFilePath());

    EXPECT_TRUE(m_db->getFilesInfo()->isFileWithIdInDb("present"));
    EXPECT_FALSE(m_db->getFilesInfo()->isFileWithIdInDb("absent"));

    EXPECT_TRUE(log.lines().empty());
}

TEST_F(CFilesDbInfoTest, SecondFileWithSameUidIsLoggedOnceAndFirstStands) {
    m_db->getFilesInfo()->insert(uploadDesc("dup"), 1);
    m_db->getDownloadFilesInfo()->insert(downloadDetails("dup"), 1, L"a.dl");
    CLogFileTail log(CDbTestFolder::logFilePath());

    EXPECT_NO_THROW(m_db->getFilesInfo()->insert(uploadDesc("dup"), 2));
    EXPECT_NO_THROW(m_db->getDownloadFilesInfo()->insert(downloadDetails("dup"), 2, L"b.dl"));

    EXPECT_EQ(log.texts("Error").size(), 2u);
    EXPECT_EQ(log.countStartingWith("Error",
                                    "Exception when trying to insert into FilesDictionary table. "),
              2u);
    std::vector<CFilesDbInfo::FileInfo> files;
    m_db->getFilesInfo()->extractAll(files);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].parentGroupId, 1);
    std::vector<CDownloadFilesDbInfo::FileInfo> downloads;
    m_db->getDownloadFilesInfo()->extractAll(downloads);
    ASSERT_EQ(downloads.size(), 1u);
    EXPECT_EQ(downloads[0].tmpFileName, L"a.dl");
}

TEST_F(CFilesDbInfoTest, DownloadFileSurvivesRoundTripWithNonAsciiNamesAndLargeSizes) {
    const CDownloadManager::FileDownloadDetails details = downloadDetails("d1");
    const std::wstring tmpName = L"\u0444\u0430\u0439\u043b \u00e0 t\u00e9l\u00e9charger.bin.dl";
    m_db->getDownloadFilesInfo()->insert(details, -3, tmpName);

    std::vector<CDownloadFilesDbInfo::FileInfo> files;
    m_db->getDownloadFilesInfo()->extractAll(files);

    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].fileId, "d1");
    EXPECT_EQ(files[0].path, details.path);
    EXPECT_EQ(files[0].fileSize, details.fileSize);
    EXPECT_EQ(files[0].modificationDate, details.modificationDate);
    EXPECT_EQ(files[0].md5, details.md5);
    EXPECT_EQ(files[0].parentGroupId, -3);
    EXPECT_EQ(files[0].tmpFileName, tmpName);
}

struct BulkRemoveCase {
    const char* name;
    std::set<std::string> removed;
    std::set<std::string> left;
};

TEST_F(CFilesDbInfoTest, BulkRemoveDeletesExactlyTheListedFilesOfBothDirections) {
    const std::vector<BulkRemoveCase> cases = {
        {"empty set", {}, {"a", "b", "c"}},
        {"one id", {"b"}, {"a", "c"}},
        {"several ids and an unknown one", {"a", "c", "zz"}, {"b"}},
        {"all ids", {"a", "b", "c"}, {}},
    };
    for (const BulkRemoveCase& c : cases) {
        SCOPED_TRACE(c.name);
        CDatabaseTestAccess::exec("DELETE FROM FilesDictionary");
        CDatabaseTestAccess::exec("DELETE FROM DownloadFilesDictionary");
        for (const char* uid : {"a", "b", "c"}) {
            m_db->getFilesInfo()->insert(uploadDesc(uid), 1);
            m_db->getDownloadFilesInfo()->insert(downloadDetails(uid), 1, L"t");
        }
        CLogFileTail log(CDbTestFolder::logFilePath());

        m_db->getFilesInfo()->remove(c.removed);
        m_db->getDownloadFilesInfo()->remove(c.removed);

        EXPECT_EQ(uploadUids(*m_db->getFilesInfo()), c.left);
        EXPECT_EQ(downloadUids(*m_db->getDownloadFilesInfo()), c.left);
        EXPECT_TRUE(log.texts("Error").empty());
    }
}

TEST_F(CFilesDbInfoTest, SingleRemoveDeletesOnlyThatFile) {
    for (const char* uid : {"a", "b"}) {
        m_db->getFilesInfo()->insert(uploadDesc(uid), 1);
        m_db->getDownloadFilesInfo()->insert(downloadDetails(uid), 1, L"t");
    }

    m_db->getFilesInfo()->remove(std::string("a"));
    m_db->getDownloadFilesInfo()->remove(std::string("b"));

    EXPECT_EQ(uploadUids(*m_db->getFilesInfo()), std::set<std::string>{"b"});
    EXPECT_EQ(downloadUids(*m_db->getDownloadFilesInfo()), std::set<std::string>{"a"});
}

}  // namespace
}  // namespace vx_transfers
