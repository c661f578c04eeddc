#include <gtest/gtest.h>

#include <string>

#include "groups/CFileStatsList.h"
#include "vx_transfers/CTransferManagerBase.h"

namespace vx_transfers {
namespace {

using FileStatus = CTransferManagerBase::FileStatus;

struct TestFile {
    explicit TestFile(int id) : id(id) {}
    int id;
};

// Shaped like the upload description: the uid is `fileUid`.
struct TestUploadDesc {
    std::string fileUid;
    std::string url;
};

// Shaped like the download details: the uid is `fileId`.
struct TestDownloadDesc {
    std::string fileId;
    unsigned long long fileSize = 0;
};

struct TestManager {};

using UploadList = CFileStatsList<TestFile, FileStatus, TestManager, TestUploadDesc>;
using DownloadList = CFileStatsList<TestFile, FileStatus, TestManager, TestDownloadDesc>;
using FilePtr = Poco::SharedPtr<TestFile>;

class CFileStatsListTest : public ::testing::Test {
protected:
    static TestUploadDesc desc(const std::string& uid) { return TestUploadDesc{uid, "u-" + uid}; }

    // Adds an entry that has been taken up: not pending, with a file.
    FilePtr addActive(const std::string& uid, FileStatus status) {
        FilePtr file(new TestFile(static_cast<int>(m_list.size())));
        m_list.AddPending(desc(uid), 10, file);
        m_list.SetTransfering(uid, file);
        m_list.FindByFileId(uid)->second.status = status;
        return file;
    }

    UploadList m_list;
};

TEST_F(CFileStatsListTest, NewEntryIsQueuedWithItsDescriptionAndSize) {
    m_list.totalBytes = 500;
    m_list.AddPending(desc("a"), 123);
    EXPECT_EQ(0u, m_list.totalBytes);
    ASSERT_EQ(1u, m_list.size());
    const auto& entry = m_list.front();
    EXPECT_EQ("a", entry.first);
    EXPECT_EQ("u-a", entry.second.desc.url);
    EXPECT_EQ(123u, entry.second.bytesTotal);
    EXPECT_EQ(0u, entry.second.bytesTransferred);
    EXPECT_EQ(CTransferManagerBase::FILE_STATUS_TRANSFERRING, entry.second.status);
    EXPECT_TRUE(entry.second.pending);
    EXPECT_TRUE(entry.second.valid);
    EXPECT_FALSE(entry.second.reinitOnRemoval);
    EXPECT_TRUE(entry.second.file.isNull());
}

TEST_F(CFileStatsListTest, DownloadDetailsAreKeyedByTheirFileId) {
    DownloadList list;
    FilePtr file(new TestFile(7));
    list.AddPending(TestDownloadDesc{"d1", 9}, 9, file);
    EXPECT_EQ(file.get(), list.GetFileWithId("d1").get());
    EXPECT_TRUE(list.isAnyPendingInList());
    list.SetTransfering("d1", file);
    EXPECT_FALSE(list.isAnyPendingInList());
}

TEST_F(CFileStatsListTest, FileGivenOnAddGoesToTheFirstEntryWithThatUid) {
    m_list.AddPending(desc("a"), 1);
    FilePtr file(new TestFile(1));
    m_list.AddPending(desc("a"), 2, file);
    ASSERT_EQ(2u, m_list.size());
    EXPECT_EQ(file.get(), m_list.front().second.file.get());
    EXPECT_TRUE(m_list.back().second.file.isNull());
    EXPECT_EQ(1u, m_list.FindByFileId("a")->second.bytesTotal);
}

TEST_F(CFileStatsListTest, FindsReturnTheEndWhenNothingMatches) {
    EXPECT_EQ(m_list.end(), m_list.FindPending());
    EXPECT_FALSE(m_list.isAnyPendingInList());
    EXPECT_EQ(m_list.end(), m_list.FindByFileId("x"));
    EXPECT_TRUE(m_list.GetFileWithId("x").isNull());

    FilePtr file = addActive("a", CTransferManagerBase::FILE_STATUS_TRANSFERRING);
    TestFile stranger(99);
    EXPECT_EQ(m_list.end(), m_list.FindPending());
    EXPECT_EQ(m_list.end(), m_list.FindByFilePtr(&stranger));
    EXPECT_EQ(m_list.begin(), m_list.FindByFilePtr(file.get()));
}

TEST_F(CFileStatsListTest, FirstPendingIsTheEarliestQueuedEntry) {
    addActive("done", CTransferManagerBase::FILE_STATUS_COMPLETED);
    FilePtr second(new TestFile(2));
    m_list.AddPending(desc("second"), 1, second);
    m_list.AddPending(desc("third"), 1);

    TestUploadDesc out;
    FilePtr outFile;
    m_list.GetFirstPending(out, outFile);
    EXPECT_EQ("second", out.fileUid);
    EXPECT_EQ(second.get(), outFile.get());
    // Reading it does not take it out of the queue.
    EXPECT_EQ("second", m_list.FindPending()->first);

    m_list.FindPending()->second.pending = false;
    m_list.GetFirstPending(out, outFile);
    EXPECT_EQ("third", out.fileUid);
    EXPECT_TRUE(outFile.isNull());
}

TEST_F(CFileStatsListTest, FirstPendingLeavesTheArgumentsAloneWhenNoneIsPending) {
    addActive("a", CTransferManagerBase::FILE_STATUS_TRANSFERRING);
    TestUploadDesc out{"mine", "keep"};
    FilePtr outFile(new TestFile(5));
    TestFile* before = outFile.get();
    m_list.GetFirstPending(out, outFile);
    EXPECT_EQ("mine", out.fileUid);
    EXPECT_EQ("keep", out.url);
    EXPECT_EQ(before, outFile.get());
}

TEST_F(CFileStatsListTest, SetTransferingRestartsAFailedEntryAndIgnoresUnknownUids) {
    addActive("a", CTransferManagerBase::FILE_STATUS_ERROR);
    FilePtr fresh(new TestFile(3));
    m_list.SetTransfering("a", fresh);
    m_list.SetTransfering("unknown", fresh);
    ASSERT_EQ(1u, m_list.size());
    const auto& entry = m_list.front().second;
    EXPECT_EQ(CTransferManagerBase::FILE_STATUS_TRANSFERRING, entry.status);
    EXPECT_FALSE(entry.pending);
    EXPECT_EQ(fresh.get(), entry.file.get());
}

TEST_F(CFileStatsListTest, RemoveErasesTheEntryAndAlwaysForgetsTheTotal) {
    m_list.AddPending(desc("a"), 1);
    m_list.AddPending(desc("b"), 2);

    m_list.totalBytes = 3;
    m_list.Remove("unknown");
    EXPECT_EQ(0u, m_list.totalBytes);
    EXPECT_EQ(2u, m_list.size());

    m_list.totalBytes = 3;
    m_list.Remove("a");
    EXPECT_EQ(0u, m_list.totalBytes);
    ASSERT_EQ(1u, m_list.size());
    EXPECT_EQ("b", m_list.front().first);
}

TEST_F(CFileStatsListTest, RemoveAllPendingKeepsTheEntriesTakenUp) {
    m_list.AddPending(desc("p1"), 1);
    addActive("active", CTransferManagerBase::FILE_STATUS_TRANSFERRING);
    m_list.AddPending(desc("p2"), 1);
    addActive("failed", CTransferManagerBase::FILE_STATUS_ERROR);
    m_list.AddPending(desc("p3"), 1);
    m_list.totalBytes = 5;

    m_list.RemoveAllPending();
    EXPECT_EQ(0u, m_list.totalBytes);
    ASSERT_EQ(2u, m_list.size());
    EXPECT_EQ("active", m_list.front().first);
    EXPECT_EQ("failed", m_list.back().first);

    m_list.RemoveAllPending();
    EXPECT_EQ(2u, m_list.size());
}

TEST_F(CFileStatsListTest, FileListsSelectByPendingValidAndStatus) {
    m_list.AddPending(desc("queued-with-file"), 1, FilePtr(new TestFile(0)));
    m_list.AddPending(desc("queued-without-file"), 1);
    FilePtr working = addActive("working", CTransferManagerBase::FILE_STATUS_TRANSFERRING);
    FilePtr done = addActive("done", CTransferManagerBase::FILE_STATUS_COMPLETED);
    FilePtr failed = addActive("failed", CTransferManagerBase::FILE_STATUS_ERROR);
    FilePtr removing = addActive("removing", CTransferManagerBase::FILE_STATUS_TRANSFERRING);
    m_list.FindByFileId("removing")->second.valid = false;
    // Taken up, but its file failed to be made.
    m_list.AddPending(desc("taken-no-file"), 1);
    m_list.FindByFileId("taken-no-file")->second.pending = false;

    auto uidsOf = [this](const std::list<FilePtr>& files) {
        std::string uids;
        for (const FilePtr& file : files) {
            for (const auto& entry : m_list) {
                if (entry.second.file.get() == file.get()) {
                    uids += entry.first + " ";
                }
            }
        }
        return uids;
    };

    struct Case {
        const char* name;
        void (UploadList::*collect)(std::list<FilePtr>&);
        const char* expected;
    };
    const Case cases[] = {
        {"all", &UploadList::GetAllFilePtrs, "queued-with-file working done failed removing "},
        {"active", &UploadList::GetListOfActiveFilePtrs, "working done failed "},
        {"active transferring", &UploadList::GetListOfActiveTransferingFilePtrs, "working "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::list<FilePtr> files{FilePtr(new TestFile(-1))};  // appended to, not replaced
        (m_list.*c.collect)(files);
        ASSERT_FALSE(files.empty());
        EXPECT_EQ(-1, files.front()->id);
        files.pop_front();
        EXPECT_EQ(c.expected, uidsOf(files));
    }
}

TEST_F(CFileStatsListTest, AnyInvalidLooksAtEveryEntryIncludingThoseWithoutAFile) {
    m_list.AddPending(desc("a"), 1);
    addActive("b", CTransferManagerBase::FILE_STATUS_TRANSFERRING);
    EXPECT_FALSE(m_list.isAnyInvalid());
    m_list.FindByFileId("a")->second.valid = false;
    EXPECT_TRUE(m_list.isAnyInvalid());
}

}  // namespace
}  // namespace vx_transfers
