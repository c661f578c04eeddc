#include <Poco/Data/SQLite/Utility.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

class CDatabaseConcurrencyTest : public CFreshDatabaseFixture {};

using Headers = std::vector<std::pair<std::string, std::string>>;

// What one writer thread leaves behind, kept in memory as it goes.
struct Expected {
    std::map<int, std::tuple<bool, bool, unsigned int>> uploadGroups;  // paused, marked, retries
    std::map<std::string, std::string> uploadFiles;                    // uid -> upload id
    std::map<std::string, unsigned int> uploadChannels;                // uid -> state
    std::map<int, std::tuple<bool, unsigned int>> downloadGroups;      // paused, retries
    std::set<std::string> downloadFiles;
    std::map<std::string, unsigned int> downloadChannels;  // uid -> state
    int rounds = 0;
    int missedFiles = 0;
};

const unsigned long long kHighOffset = 0x300000000ULL;  // above 2^32

// One writer: every round writes a group, a file and a channel in each direction through all
// six tables, updates them, and every third round removes what the round before wrote.
void writeRounds(CDatabase& db, int worker, const std::atomic<bool>& stop, Expected& expected) {
    for (int round = 0; !stop.load(); ++round) {
        const int groupId = worker * 1000000 + round;
        const std::string uid = std::to_string(worker) + "-" + std::to_string(round);

        CGroupsDbInfo::GroupInfo group;
        group.groupId = groupId;
        db.getGroupsInfo()->insert(group);
        CUploadManager::FileDesc desc;
        desc.fileUid = uid;
        desc.fileUrl = L"/tmp/\u00e9/" + std::wstring(uid.begin(), uid.end());
        db.getFilesInfo()->insert(desc, groupId);
        CChannelsDbInfo::ChannelInfo channel;
        channel.fileUid = uid;
        channel.offset = kHighOffset;
        channel.httpHeaders = {{"a", uid}, {"b", uid}};
        db.getChannelsInfo()->insert(channel);
        db.getGroupsInfo()->setPaused(groupId, true);
        db.getGroupsInfo()->setMarked(groupId, round % 2 == 0);
        db.getGroupsInfo()->setRetryCount(groupId, round);
        db.getFilesInfo()->setUploadId(uid, "up-" + uid);
        db.getChannelsInfo()->modifyState(uid, kHighOffset, 2);
        if (!db.getFilesInfo()->isFileWithIdInDb(uid)) {
            ++expected.missedFiles;
        }

        CDownloadGroupsDbInfo::GroupInfo downloadGroup;
        downloadGroup.groupId = groupId;
        db.getDownloadGroupsInfo()->insert(downloadGroup);
        db.getDownloadGroupsInfo()->setPaused(groupId, round % 2 == 1);
        db.getDownloadGroupsInfo()->setRetryCount(groupId, round + 1);
        CDownloadManager::FileDownloadDetails details;
        details.fileId = uid;
        db.getDownloadFilesInfo()->insert(details, groupId, L"t.dl");
        CDownloadChannelsDbInfo::ChannelInfo downloadChannel;
        downloadChannel.fileUid = uid;
        downloadChannel.offset = kHighOffset;
        db.getDownloadChannelsInfo()->insert(downloadChannel);
        db.getDownloadChannelsInfo()->modifyState(uid, kHighOffset, 5);

        expected.uploadGroups[groupId] = std::make_tuple(true, round % 2 == 0, round);
        expected.uploadFiles[uid] = "up-" + uid;
        expected.uploadChannels[uid] = 2;
        expected.downloadGroups[groupId] = std::make_tuple(round % 2 == 1, round + 1);
        expected.downloadFiles.insert(uid);
        expected.downloadChannels[uid] = 5;

        if (round % 3 == 2) {
            const int oldGroup = groupId - 1;
            const std::string oldUid = std::to_string(worker) + "-" + std::to_string(round - 1);
            db.getGroupsInfo()->remove(oldGroup);
            db.getFilesInfo()->remove(oldUid);
            db.getChannelsInfo()->remove(std::set<std::string>{oldUid});
            db.getDownloadGroupsInfo()->remove(oldGroup);
            db.getDownloadFilesInfo()->remove(std::set<std::string>{oldUid});
            db.getDownloadChannelsInfo()->remove(oldUid);
            expected.uploadGroups.erase(oldGroup);
            expected.uploadFiles.erase(oldUid);
            expected.uploadChannels.erase(oldUid);
            expected.downloadGroups.erase(oldGroup);
            expected.downloadFiles.erase(oldUid);
            expected.downloadChannels.erase(oldUid);
        }
        expected.rounds = round + 1;
    }
}

// A reader that must never see half of an operation: an upload channel always has both of
// its header rows, because insert and extractAll hold the same table mutex.
void readUntilStopped(CDatabase& db, const std::atomic<bool>& stop, int& halfChannels, int& reads) {
    while (!stop.load()) {
        std::vector<CChannelsDbInfo::ChannelInfo> channels;
        db.getChannelsInfo()->extractAll(channels);
        for (const auto& channel : channels) {
            halfChannels += channel.httpHeaders.size() == 2 ? 0 : 1;
        }
        std::vector<CGroupsDbInfo::GroupInfo> groups;
        db.getGroupsInfo()->extractAll(groups);
        std::vector<CDownloadFilesDbInfo::FileInfo> files;
        db.getDownloadFilesInfo()->extractAll(files);
        ++reads;
    }
}

TEST_F(CDatabaseConcurrencyTest, ConnectionRunsInSerializedMode) {
    sqlite3* handle = Poco::Data::SQLite::Utility::dbHandle(CDatabaseTestAccess::session());
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(sqlite3_threadsafe(), 0);
    // A connection has a mutex of its own only in serialized mode.
    EXPECT_NE(sqlite3_db_mutex(handle), nullptr);
}

TEST_F(CDatabaseConcurrencyTest, SixTablesHammeredFromManyThreadsStayConsistent) {
    const int kWriters = 4;
    std::atomic<bool> stop(false);
    std::vector<Expected> expected(kWriters);
    int halfChannels = 0;
    int reads = 0;
    CLogFileTail log(CDbTestFolder::logFilePath());

    std::vector<std::thread> threads;
    for (int worker = 0; worker < kWriters; ++worker) {
        threads.emplace_back(writeRounds, std::ref(*m_db), worker, std::cref(stop),
                             std::ref(expected[worker]));
    }
    threads.emplace_back(readUntilStopped, std::ref(*m_db), std::cref(stop), std::ref(halfChannels),
                         std::ref(reads));
    std::this_thread::sleep_for(std::chrono::seconds(2));  // the length of the run, not a wait
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::vector<std::string> errors = log.texts("Error");
    EXPECT_TRUE(errors.empty()) << (errors.empty() ? std::string() : errors.front());
    EXPECT_EQ(halfChannels, 0);
    EXPECT_GT(reads, 0);
    EXPECT_EQ(CDatabaseTestAccess::query("PRAGMA integrity_check"), std::vector<std::string>{"ok"});

    Expected all;
    for (int worker = 0; worker < kWriters; ++worker) {
        SCOPED_TRACE(worker);
        EXPECT_GE(expected[worker].rounds, 3);
        EXPECT_EQ(expected[worker].missedFiles, 0);
        const Expected& e = expected[worker];
        all.uploadGroups.insert(e.uploadGroups.begin(), e.uploadGroups.end());
        all.uploadFiles.insert(e.uploadFiles.begin(), e.uploadFiles.end());
        all.uploadChannels.insert(e.uploadChannels.begin(), e.uploadChannels.end());
        all.downloadGroups.insert(e.downloadGroups.begin(), e.downloadGroups.end());
        all.downloadFiles.insert(e.downloadFiles.begin(), e.downloadFiles.end());
        all.downloadChannels.insert(e.downloadChannels.begin(), e.downloadChannels.end());
    }

    Expected stored;
    std::vector<CGroupsDbInfo::GroupInfo> groups;
    m_db->getGroupsInfo()->extractAll(groups);
    for (const auto& g : groups) {
        stored.uploadGroups[g.groupId] = std::make_tuple(g.paused, g.marked, g.retryCount);
    }
    std::vector<CFilesDbInfo::FileInfo> files;
    m_db->getFilesInfo()->extractAll(files);
    for (const auto& f : files) {
        stored.uploadFiles[f.fileUid] = f.uploadId;
    }
    std::vector<CChannelsDbInfo::ChannelInfo> channels;
    m_db->getChannelsInfo()->extractAll(channels);
    for (const auto& c : channels) {
        EXPECT_EQ(c.httpHeaders, (Headers{{"a", c.fileUid}, {"b", c.fileUid}}));
        EXPECT_EQ(c.offset, kHighOffset);
        stored.uploadChannels[c.fileUid] = c.state;
    }
    std::vector<CDownloadGroupsDbInfo::GroupInfo> downloadGroups;
    m_db->getDownloadGroupsInfo()->extractAll(downloadGroups);
    for (const auto& g : downloadGroups) {
        stored.downloadGroups[g.groupId] = std::make_tuple(g.paused, g.retryCount);
    }
    std::vector<CDownloadFilesDbInfo::FileInfo> downloadFiles;
    m_db->getDownloadFilesInfo()->extractAll(downloadFiles);
    for (const auto& f : downloadFiles) {
        stored.downloadFiles.insert(f.fileId);
    }
    std::vector<CDownloadChannelsDbInfo::ChannelInfo> downloadChannels;
    m_db->getDownloadChannelsInfo()->extractAll(downloadChannels);
    for (const auto& c : downloadChannels) {
        stored.downloadChannels[c.fileUid] = c.state;
    }

    EXPECT_EQ(stored.uploadGroups, all.uploadGroups);
    EXPECT_EQ(stored.uploadFiles, all.uploadFiles);
    EXPECT_EQ(stored.uploadChannels, all.uploadChannels);
    EXPECT_EQ(stored.downloadGroups, all.downloadGroups);
    EXPECT_EQ(stored.downloadFiles, all.downloadFiles);
    EXPECT_EQ(stored.downloadChannels, all.downloadChannels);
    EXPECT_EQ(files.size(), all.uploadFiles.size());
    EXPECT_EQ(channels.size(), all.uploadChannels.size());
}

}  // namespace
}  // namespace vx_transfers
