#include <Poco/File.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "db/db_query_helper.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

class CDatabaseTest : public CFreshDatabaseFixture {
protected:
    static std::string dbPath() { return CDbTestFolder::path() + "/vx_transfers_v4.db"; }

    static void writeFile(const std::string& path, const std::string& content) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << content;
    }

    static std::string readFile(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    // Files of the application folder whose names begin with `prefix`.
    static std::vector<std::string> filesStartingWith(const std::string& prefix) {
        std::vector<std::string> names;
        Poco::File(CDbTestFolder::path()).list(names);
        std::vector<std::string> found;
        for (const std::string& name : names) {
            if (name.compare(0, prefix.size(), prefix) == 0) {
                found.push_back(name);
            }
        }
        return found;
    }

    static void removeFilesStartingWith(const std::string& prefix) {
        for (const std::string& name : filesStartingWith(prefix)) {
            Poco::File(CDbTestFolder::path() + "/" + name).remove();
        }
    }

    void reopen() {
        CDatabaseTestAccess::close();
        m_db = CDatabase::getInstance();
    }

    void expectWorkingEmptyDatabase() {
        ASSERT_TRUE(CDatabaseTestAccess::hasSession());
        ASSERT_FALSE(m_db->getGroupsInfo().isNull());
        std::vector<CGroupsDbInfo::GroupInfo> groups;
        m_db->getGroupsInfo()->extractAll(groups);
        EXPECT_TRUE(groups.empty());
        CGroupsDbInfo::GroupInfo group;
        group.groupId = 1;
        m_db->getGroupsInfo()->insert(group);
        m_db->getGroupsInfo()->extractAll(groups);
        EXPECT_EQ(groups.size(), 1u);
    }
};

TEST_F(CDatabaseTest, SchemaIsCreatedWordForWord) {
    const std::vector<std::pair<std::string, std::string>> schema = {
        {"GroupsDictionary",
         "CREATE TABLE IF NOT EXISTS GroupsDictionary (BucketUid VARCHAR(40), BucketToken "
         "VARCHAR(40), BucketType VARCHAR, ExpirationDate UINTEGER64, GroupId UINTEGER16 PRIMARY "
         "KEY, Paused BOOLEAN, Marked BOOLEAN, RetryCount UINTEGER32)"},
        {"FilesDictionary",
         "CREATE TABLE IF NOT EXISTS FilesDictionary (FileUid VARCHAR(40) PRIMARY KEY, "
         "FileLocalUri VARCHAR, FileRemoteUri VARCHAR, ParentGroupId INTEGER, UploadId VARCHAR)"},
        {"ChannelsDictionary",
         "CREATE TABLE IF NOT EXISTS ChannelsDictionary (FileUid VARCHAR(40), Url VARCHAR, "
         "LocalOffset UINTEGER64, BytesToUpload UINTEGER64, State INTEGER8, HttpHeaderName "
         "VARCHAR, HttpHeaderValue VARCHAR, PRIMARY KEY(FileUid, LocalOffset, HttpHeaderName))"},
        {"DownloadGroupsDictionary",
         "CREATE TABLE IF NOT EXISTS DownloadGroupsDictionary (BucketUid VARCHAR(40), BucketToken "
         "VARCHAR(40), BucketType VARCHAR, ExpirationDate UINTEGER64, GroupId UINTEGER16 PRIMARY "
         "KEY, Paused BOOLEAN, DownloadPath VARCHAR, RetryCount UINTEGER32)"},
        {"DownloadFilesDictionary",
         "CREATE TABLE IF NOT EXISTS DownloadFilesDictionary (FileUid VARCHAR(40) PRIMARY KEY, "
         "FilePath VARCHAR, FileSize UINTEGER64, ModificationDate UINTEGER64, MD5digest VARCHAR, "
         "ParentGroupId INTEGER, TmpFileName VARCHAR)"},
        {"DownloadChannelsDictionary",
         "CREATE TABLE IF NOT EXISTS DownloadChannelsDictionary (FileUid VARCHAR(40), Offset "
         "UINTEGER64, BytesToTransfer UINTEGER64, State INTEGER8, PRIMARY KEY(FileUid, Offset))"},
    };
    EXPECT_EQ(CDatabaseTestAccess::query("SELECT count(*) FROM sqlite_master WHERE type='table'"),
              std::vector<std::string>{"6"});
    for (const auto& table : schema) {
        SCOPED_TRACE(table.first);
        // SQLite keeps the statement as given, less its IF NOT EXISTS.
        std::string expected = table.second;
        expected.erase(expected.find("IF NOT EXISTS "), 14);
        EXPECT_EQ(CDatabaseTestAccess::query("SELECT sql FROM sqlite_master WHERE name='" +
                                             table.first + "'"),
                  std::vector<std::string>{expected});
    }
}

TEST_F(CDatabaseTest, OpensInWalModeWithNormalSyncAndBusyTimeout) {
    EXPECT_EQ(CDatabaseTestAccess::query("PRAGMA journal_mode"), std::vector<std::string>{"wal"});
    EXPECT_EQ(CDatabaseTestAccess::query("PRAGMA synchronous"), std::vector<std::string>{"1"});
    EXPECT_EQ(CDatabaseTestAccess::query("PRAGMA busy_timeout"), std::vector<std::string>{"5000"});
}

TEST_F(CDatabaseTest, OldFilesAreDeletedAndCurrentOneIsUntouched) {
    CGroupsDbInfo::GroupInfo group;
    group.groupId = 77;
    m_db->getGroupsInfo()->insert(group);
    CDatabaseTestAccess::close();
    const std::vector<std::string> oldNames = {"vx_transfers.db", "vx_transfers_v2.db",
                                               "vx_transfers_v3.db"};
    for (const std::string& name : oldNames) {
        writeFile(CDbTestFolder::path() + "/" + name, "old schema");
    }

    m_db = CDatabase::getInstance();

    for (const std::string& name : oldNames) {
        EXPECT_FALSE(Poco::File(CDbTestFolder::path() + "/" + name).exists()) << name;
    }
    std::vector<CGroupsDbInfo::GroupInfo> groups;
    m_db->getGroupsInfo()->extractAll(groups);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].groupId, 77);
}

TEST_F(CDatabaseTest, DbFilePathFollowsTheApplicationFolder) {
    std::string path;
    CDatabase::getDbFilePath(path);
    EXPECT_EQ(path, dbPath());
    CDatabase::getDbFilePath(path, "other.db");
    EXPECT_EQ(path, CDbTestFolder::path() + "/other.db");

    CDbTestFolder::useAppFilesPath("");
    CDatabase::getDbFilePath(path);
    EXPECT_EQ(path, "vx_transfers_v4.db");
    CDatabase::getDbFilePath(path, "other.db");
    EXPECT_EQ(path, "other.db");
    CDbTestFolder::restoreAppFilesPath();
}

TEST_F(CDatabaseTest, UnwritableFolderGivesNullTablesAndOneErrorLine) {
    // A folder under a regular file can't be made, not even by root.
    writeFile(CDbTestFolder::path() + "/blocker", "a file, not a folder");
    CDbTestFolder::useAppFilesPath(CDbTestFolder::path() + "/blocker/app");
    CDatabaseTestAccess::close();
    CLogFileTail log(CDbTestFolder::logFilePath());

    CDatabase* db = nullptr;
    EXPECT_NO_THROW(db = CDatabase::getInstance());

    ASSERT_NE(db, nullptr);
    const std::vector<std::string> errors = log.texts("Error");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].rfind("Unable to connect to database. Exception is: ", 0), 0u) << errors[0];
    EXPECT_FALSE(CDatabaseTestAccess::hasSession());
    EXPECT_TRUE(db->getGroupsInfo().isNull());
    EXPECT_TRUE(db->getFilesInfo().isNull());
    EXPECT_TRUE(db->getChannelsInfo().isNull());
    EXPECT_TRUE(db->getDownloadGroupsInfo().isNull());
    EXPECT_TRUE(db->getDownloadFilesInfo().isNull());
    EXPECT_TRUE(db->getDownloadChannelsInfo().isNull());
    EXPECT_TRUE(db->getActiveFilesInfo().isNull());
    EXPECT_TRUE(db->getActiveChannelsInfo().isNull());
    CDatabaseTestAccess::close();
    CDbTestFolder::restoreAppFilesPath();
    Poco::File(CDbTestFolder::path() + "/blocker").remove();
}

TEST_F(CDatabaseTest, EveryActiveInfoCallGivesADistinctObject) {
    Poco::SharedPtr<CActiveFilesDbInfo> files1 = m_db->getActiveFilesInfo();
    Poco::SharedPtr<CActiveFilesDbInfo> files2 = m_db->getActiveFilesInfo();
    Poco::SharedPtr<CActiveChannelsDbInfo> channels1 = m_db->getActiveChannelsInfo();
    Poco::SharedPtr<CActiveChannelsDbInfo> channels2 = m_db->getActiveChannelsInfo();

    ASSERT_FALSE(files1.isNull());
    ASSERT_FALSE(channels1.isNull());
    EXPECT_NE(files1.get(), files2.get());
    EXPECT_NE(channels1.get(), channels2.get());
}

TEST_F(CDatabaseTest, FileThatIsNotADatabaseIsMovedAsideAndReplaced) {
    CDatabaseTestAccess::close();
    const std::string garbage(10000, 'x');
    writeFile(dbPath(), garbage);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_db = CDatabase::getInstance();

    const std::vector<std::string> moved = filesStartingWith("vx_transfers_v4.db.corrupt-");
    ASSERT_EQ(moved.size(), 1u);
    EXPECT_EQ(readFile(CDbTestFolder::path() + "/" + moved[0]), garbage);
    const std::vector<std::string> warnings = log.texts("Warning");
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].find(dbPath() + " "), std::string::npos) << warnings[0];
    EXPECT_NE(warnings[0].find(CDbTestFolder::path() + "/" + moved[0]), std::string::npos)
        << warnings[0];
    EXPECT_TRUE(log.texts("Error").empty());
    expectWorkingEmptyDatabase();
    removeFilesStartingWith("vx_transfers_v4.db.corrupt-");
}

TEST_F(CDatabaseTest, DatabaseFailingItsIntegrityCheckIsMovedAsideAndReplaced) {
    CUploadManager::FileDesc desc;
    desc.url = std::string(300, 'u');
    for (int i = 0; i < 400; ++i) {
        desc.fileUid = "file-" + std::to_string(i);
        m_db->getFilesInfo()->insert(desc, 1);
    }
    CDatabaseTestAccess::close();  // the last connection folds the log into the file
    ASSERT_FALSE(Poco::File(dbPath() + "-wal").exists());
    std::string image = readFile(dbPath());
    const size_t pageSize = 4096;
    ASSERT_GT(image.size(), 8 * pageSize);
    // Pages in the middle of the files table turn to noise; the header stays readable.
    for (size_t i = 4 * pageSize; i < 6 * pageSize; ++i) {
        image[i] = static_cast<char>(0xA5 ^ (i * 31));
    }
    writeFile(dbPath(), image);
    CLogFileTail log(CDbTestFolder::logFilePath());

    m_db = CDatabase::getInstance();

    EXPECT_EQ(filesStartingWith("vx_transfers_v4.db.corrupt-").size(), 1u);
    EXPECT_EQ(log.texts("Warning").size(), 1u);
    EXPECT_EQ(CDatabaseTestAccess::query("PRAGMA integrity_check"), std::vector<std::string>{"ok"});
    std::vector<CFilesDbInfo::FileInfo> files;
    m_db->getFilesInfo()->extractAll(files);
    EXPECT_TRUE(files.empty());
    expectWorkingEmptyDatabase();
    removeFilesStartingWith("vx_transfers_v4.db.corrupt-");
}

TEST_F(CDatabaseTest, SoundDatabaseIsReopenedWithItsRowsAndNoWarning) {
    CGroupsDbInfo::GroupInfo group;
    group.groupId = 5;
    m_db->getGroupsInfo()->insert(group);
    CLogFileTail log(CDbTestFolder::logFilePath());

    reopen();

    EXPECT_TRUE(log.texts("Warning").empty());
    EXPECT_TRUE(filesStartingWith("vx_transfers_v4.db.corrupt-").empty());
    std::vector<CGroupsDbInfo::GroupInfo> groups;
    m_db->getGroupsInfo()->extractAll(groups);
    EXPECT_EQ(groups.size(), 1u);
}

TEST(CombineDbStringFromListTest, QuotesEachIdInOrderWithCommasBetween) {
    struct Case {
        std::set<std::string> ids;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {{}, "left as it was"},
        {{"a"}, "\"a\""},
        {{"c", "a", "b"}, "\"a\",\"b\",\"c\""},
        {{"id-1", "id-10", "id-2"}, "\"id-1\",\"id-10\",\"id-2\""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        std::string out = "left as it was";
        db_query_helper::combineDbStringFromList(c.ids, out);
        EXPECT_EQ(out, c.expected);
    }
}

}  // namespace
}  // namespace vx_transfers
