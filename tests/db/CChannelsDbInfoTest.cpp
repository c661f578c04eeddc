#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "CDbTestFolder.h"
#include "CFreshDatabaseFixture.h"
#include "support/CLogFileTail.h"

namespace vx_transfers {
namespace {

class CChannelsDbInfoTest : public CFreshDatabaseFixture {};

using Headers = std::vector<std::pair<std::string, std::string>>;

CChannelsDbInfo::ChannelInfo uploadChannel(const std::string& uid, unsigned long long offset,
                                           const Headers& headers) {
    CChannelsDbInfo::ChannelInfo channel;
    channel.fileUid = uid;
    channel.url = "https://upload.example/" + uid + "?part=" + std::to_string(offset);
    channel.offset = offset;
    channel.bytesToUpload = 5ULL * 1024 * 1024 * 1024;  // above 2^32
    channel.state = 5;                                  // StateStopped
    channel.httpHeaders = headers;
    return channel;
}

CDownloadChannelsDbInfo::ChannelInfo downloadChannel(const std::string& uid,
                                                     unsigned long long offset) {
    CDownloadChannelsDbInfo::ChannelInfo channel;
    channel.fileUid = uid;
    channel.offset = offset;
    channel.bytesToTransfer = 1048576;
    channel.state = 0;
    return channel;
}

std::vector<CChannelsDbInfo::ChannelInfo> extractUpload(CDatabase& db) {
    std::vector<CChannelsDbInfo::ChannelInfo> channels;
    db.getChannelsInfo()->extractAll(channels);
    return channels;
}

std::vector<CDownloadChannelsDbInfo::ChannelInfo> extractDownload(CDatabase& db) {
    std::vector<CDownloadChannelsDbInfo::ChannelInfo> channels;
    db.getDownloadChannelsInfo()->extractAll(channels);
    return channels;
}

TEST_F(CChannelsDbInfoTest, ChannelWithTwoHeadersIsTwoRowsAndFoldsBackIntoOne) {
    const Headers headers = {{"Content-Type", "application/octet-stream"},
                             {"x-amz-acl", "private"}};
    const CChannelsDbInfo::ChannelInfo stored = uploadChannel("f", 0x100000000ULL, headers);
    m_db->getChannelsInfo()->insert(stored);

    EXPECT_EQ(CDatabaseTestAccess::query("SELECT count(*) FROM ChannelsDictionary"),
              std::vector<std::string>{"2"});
    const auto channels = extractUpload(*m_db);
    ASSERT_EQ(channels.size(), 1u);
    EXPECT_EQ(channels[0].fileUid, "f");
    EXPECT_EQ(channels[0].url, stored.url);
    EXPECT_EQ(channels[0].offset, 0x100000000ULL);
    EXPECT_EQ(channels[0].bytesToUpload, stored.bytesToUpload);
    EXPECT_EQ(channels[0].state, 5u);
    EXPECT_EQ(channels[0].httpHeaders, headers);
}

TEST_F(CChannelsDbInfoTest, TwoOffsetsOfOneFileStayTwoChannels) {
    m_db->getChannelsInfo()->insert(uploadChannel("f", 0, {{"h", "0"}}));
    m_db->getChannelsInfo()->insert(uploadChannel("f", 1048576, {{"h", "1"}, {"g", "1"}}));

    const auto channels = extractUpload(*m_db);

    ASSERT_EQ(channels.size(), 2u);
    for (const auto& channel : channels) {
        SCOPED_TRACE(channel.offset);
        EXPECT_EQ(channel.httpHeaders.size(), channel.offset == 0 ? 1u : 2u);
    }
}

TEST_F(CChannelsDbInfoTest, ChannelWithoutHeadersWritesNothing) {
    m_db->getChannelsInfo()->insert(uploadChannel("f", 0, {}));

    EXPECT_TRUE(extractUpload(*m_db).empty());
}

TEST_F(CChannelsDbInfoTest, FoldKeepsTheFirstRowsFieldsAndExtendsExistingRecords) {
    CDatabaseTestAccess::exec(
        "INSERT INTO ChannelsDictionary VALUES('f', 'u1', 0, 10, 1, 'a', '1'), "
        "('f', 'u2', 0, 20, 2, 'b', '2')");
    std::vector<CChannelsDbInfo::ChannelInfo> channels(1);
    channels[0].fileUid = "f";
    channels[0].url = "held";

    m_db->getChannelsInfo()->extractAll(channels);

    ASSERT_EQ(channels.size(), 1u);
    EXPECT_EQ(channels[0].url, "held");
    EXPECT_EQ(channels[0].httpHeaders, (Headers{{"a", "1"}, {"b", "2"}}));
}

TEST_F(CChannelsDbInfoTest, ModifyStateChangesEveryRowOfThatChannelOnly) {
    m_db->getChannelsInfo()->insert(uploadChannel("f", 0, {{"a", "1"}, {"b", "2"}, {"c", "3"}}));
    m_db->getChannelsInfo()->insert(uploadChannel("f", 4096, {{"a", "1"}}));

    m_db->getChannelsInfo()->modifyState("f", 0, 2);

    EXPECT_EQ(CDatabaseTestAccess::query(
                  "SELECT State FROM ChannelsDictionary ORDER BY LocalOffset, HttpHeaderName"),
              (std::vector<std::string>{"2", "2", "2", "5"}));
}

TEST_F(CChannelsDbInfoTest, DownloadChannelSurvivesRoundTripAndModifyState) {
    m_db->getDownloadChannelsInfo()->insert(downloadChannel("d", 0));
    m_db->getDownloadChannelsInfo()->insert(downloadChannel("d", 0x200000000ULL));

    m_db->getDownloadChannelsInfo()->modifyState("d", 0x200000000ULL, 4);

    const auto channels = extractDownload(*m_db);
    ASSERT_EQ(channels.size(), 2u);
    for (const auto& channel : channels) {
        SCOPED_TRACE(channel.offset);
        EXPECT_EQ(channel.fileUid, "d");
        EXPECT_EQ(channel.bytesToTransfer, 1048576u);
        EXPECT_EQ(channel.state, channel.offset == 0x200000000ULL ? 4u : 0u);
    }
}

TEST_F(CChannelsDbInfoTest, PrimaryKeyCollisionsAreLoggedOnceEachAndFirstRowsStand) {
    m_db->getChannelsInfo()->insert(uploadChannel("f", 0, {{"a", "first"}}));
    m_db->getDownloadChannelsInfo()->insert(downloadChannel("d", 0));
    CLogFileTail log(CDbTestFolder::logFilePath());

    // The second upload channel collides on header "a" only; header "b" still goes in.
    EXPECT_NO_THROW(
        m_db->getChannelsInfo()->insert(uploadChannel("f", 0, {{"a", "x"}, {"b", "y"}})));
    CDownloadChannelsDbInfo::ChannelInfo again = downloadChannel("d", 0);
    again.state = 3;
    EXPECT_NO_THROW(m_db->getDownloadChannelsInfo()->insert(again));

    EXPECT_EQ(log.texts("Error").size(), 2u);
    EXPECT_EQ(log.countStartingWith(
                  "Error", "Exception when trying to insert into ChannelsDictionary table. "),
              2u);
    const auto channels = extractUpload(*m_db);
    ASSERT_EQ(channels.size(), 1u);
    EXPECT_EQ(channels[0].httpHeaders, (Headers{{"a", "first"}, {"b", "y"}}));
    const auto downloads = extractDownload(*m_db);
    ASSERT_EQ(downloads.size(), 1u);
    EXPECT_EQ(downloads[0].state, 0u);
}

TEST_F(CChannelsDbInfoTest, RemovesDeleteEveryChannelOfTheNamedFilesOnly) {
    struct Case {
        const char* name;
        std::set<std::string> removed;
        std::set<std::string> left;
    };
    const std::vector<Case> cases = {
        {"empty set", {}, {"a", "b", "c"}},
        {"one file", {"a"}, {"b", "c"}},
        {"two files", {"a", "c"}, {"b"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CDatabaseTestAccess::exec("DELETE FROM ChannelsDictionary");
        CDatabaseTestAccess::exec("DELETE FROM DownloadChannelsDictionary");
        for (const char* uid : {"a", "b", "c"}) {
            for (unsigned long long offset : {0ULL, 1048576ULL}) {
                m_db->getChannelsInfo()->insert(uploadChannel(uid, offset, {{"h", "v"}}));
                m_db->getDownloadChannelsInfo()->insert(downloadChannel(uid, offset));
            }
        }

        m_db->getChannelsInfo()->remove(c.removed);
        m_db->getDownloadChannelsInfo()->remove(c.removed);

        std::set<std::string> uploadLeft;
        std::set<std::string> downloadLeft;
        for (const auto& channel : extractUpload(*m_db)) {
            uploadLeft.insert(channel.fileUid);
        }
        for (const auto& channel : extractDownload(*m_db)) {
            downloadLeft.insert(channel.fileUid);
        }
        EXPECT_EQ(uploadLeft, c.left);
        EXPECT_EQ(downloadLeft, c.left);
        EXPECT_EQ(extractUpload(*m_db).size(), 2 * c.left.size());
    }

    m_db->getChannelsInfo()->remove(std::string("b"));
    m_db->getDownloadChannelsInfo()->remove(std::string("b"));
    EXPECT_TRUE(extractUpload(*m_db).empty());
    EXPECT_TRUE(extractDownload(*m_db).empty());
}

}  // namespace
}  // namespace vx_transfers
