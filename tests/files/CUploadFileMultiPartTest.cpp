#include <gtest/gtest.h>

#include "CUploadFileFixture.h"
#include "files/CUploadFileMultiPart.h"
#include "support/md5Hex.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

class CUploadFileMultiPartTest : public CUploadFileFixture {
protected:
    static constexpr unsigned long long kPartSize = 64 * 1024;

    // A multipart file for `name` of `size` bytes; initialize's result in `result`.
    Poco::SharedPtr<IUploadFile> makeFile(const std::string& name, unsigned long long size,
                                          bool verify, dt_error& result) {
        m_content = writeLocalFile(name, size);
        m_desc = registerFile(name, size);
        m_desc.additionalHttpHeaders = {{"X-App-First", "one"}, {"X-App-Second", "two"}};
        Poco::SharedPtr<IUploadFile> file = new CUploadFileMultiPart(kPartSize);
        result = file->initialize(m_desc, m_group.get(), verify, 0);
        feed(file, m_desc);
        return file;
    }

    std::string m_content;
    CUploadManager::FileDesc m_desc;
};

TEST_F(CUploadFileMultiPartTest, VerifiedPartsLandAndAreCompletedWithTheirCount) {
    const unsigned long long size = 2 * kPartSize + 1000;
    dt_error result = DT_FAILURE;
    auto file = makeFile("multi.bin", size, true, result);
    ASSERT_EQ(DT_SUCCESS, result);

    const auto init = calls(routes::kMultipartInitialize, m_desc.fileUid);
    ASSERT_EQ(1u, init.size());
    EXPECT_TRUE(init[0].json["uploadId"].isNull());
    EXPECT_EQ(size, init[0].json["size"].asUInt64());
    EXPECT_EQ(vxt_test::md5Hex(m_content), init[0].json["md5Digest"].asString());
    const Json::Value& parts = init[0].json["parts"];
    ASSERT_EQ(3u, parts.size());
    const unsigned long long sizes[] = {kPartSize, kPartSize, 1000};
    for (Json::ArrayIndex i = 0; i < parts.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(i + 1, parts[i]["number"].asUInt());
        EXPECT_EQ(sizes[i], parts[i]["size"].asUInt64());
        EXPECT_EQ(vxt_test::md5Hex(m_content.substr(i * kPartSize, sizes[i])),
                  parts[i]["md5Digest"].asString());
    }
    ChannelList channels;
    file->getChannelVector(channels);
    ASSERT_EQ(3u, channels.size());
    unsigned long long expectedOffset = 0;
    for (auto& channel : channels) {
        EXPECT_EQ(expectedOffset, channel->getOffset());
        expectedOffset += kPartSize;
    }

    startChannels(*file);
    ASSERT_TRUE(m_callback.waitForStatus(m_desc.fileUid,
                                         CTransferManagerBase::FILE_STATUS_COMPLETED, kWait));
    const auto complete = calls(routes::kMultipartComplete, m_desc.fileUid);
    ASSERT_EQ(1u, complete.size());
    EXPECT_EQ(3u, complete[0].json["numberOfParts"].asUInt());
    EXPECT_EQ(control().file(m_bucket.bucketId, m_desc.fileUid).uploadIds.at(0),
              complete[0].json["uploadId"].asString());
    EXPECT_EQ(vxt_test::md5Hex(m_content), storedMd5(m_desc.fileUid));
    EXPECT_TRUE(calls(routes::kMultipartAbort, m_desc.fileUid).empty());

    // Each part's own headers come first, the application's behind them.
    const auto puts = control().requests(routes::kDataPut);
    ASSERT_EQ(3u, puts.size());
    for (const auto& put : puts) {
        std::vector<std::string> names;
        for (const auto& header : put.headers) {
            if (header.first.rfind("x-vx-", 0) == 0 || header.first.rfind("X-App-", 0) == 0) {
                names.push_back(header.first);
            }
        }
        ASSERT_EQ(4u, names.size());
        EXPECT_EQ(0u, names[0].rfind("x-vx-", 0));
        EXPECT_EQ(0u, names[1].rfind("x-vx-", 0));
        EXPECT_EQ("X-App-First", names[2]);
        EXPECT_EQ("X-App-Second", names[3]);
    }
}

TEST_F(CUploadFileMultiPartTest, WithoutVerificationEveryDigestIsNull) {
    dt_error result = DT_FAILURE;
    auto file = makeFile("unverified.bin", kPartSize + 1, false, result);
    ASSERT_EQ(DT_SUCCESS, result);
    const auto init = calls(routes::kMultipartInitialize, m_desc.fileUid);
    ASSERT_EQ(1u, init.size());
    EXPECT_TRUE(init[0].json["md5Digest"].isNull());
    ASSERT_EQ(2u, init[0].json["parts"].size());
    for (const auto& part : init[0].json["parts"]) {
        EXPECT_TRUE(part["md5Digest"].isNull());
    }
}

TEST_F(CUploadFileMultiPartTest, InitializeThatOnlyWorksTheSecondTimeStillFails) {
    for (int failures : {1, 2}) {
        SCOPED_TRACE(failures);
        control().clearFaults();
        CServiceControlClient::Fault fault;
        fault.route = routes::kMultipartInitialize;
        fault.status = 503;
        fault.count = failures;
        control().injectFault(fault);

        dt_error result = DT_SUCCESS;
        auto file = makeFile("init-fails-" + std::to_string(failures) + ".bin", 3 * kPartSize,
                             false, result);
        EXPECT_EQ(DT_MULTIPART_INIT_FAILED, result);
        ChannelList channels;
        file->getChannelVector(channels);
        EXPECT_TRUE(channels.empty());
        const auto init = calls(routes::kMultipartInitialize, m_desc.fileUid);
        ASSERT_EQ(2u, init.size());
        // No id is known before the first answer, so no attempt carries one.
        for (const auto& call : init) {
            if (call.json.isObject()) {
                EXPECT_TRUE(call.json["uploadId"].isNull());
            }
        }
        EXPECT_EQ(static_cast<std::size_t>(2 - failures),
                  control().file(m_bucket.bucketId, m_desc.fileUid).uploadIds.size());
    }
}

TEST_F(CUploadFileMultiPartTest, CancellingTwoPartsAbortsTheUploadOnce) {
    dt_error result = DT_FAILURE;
    auto file = makeFile("cancel.bin", 4 * kPartSize, false, result);
    ASSERT_EQ(DT_SUCCESS, result);
    ASSERT_EQ(DT_SUCCESS, file->prepareForUpload());
    ChannelList channels;
    file->getChannelsToTransfer(channels);
    ASSERT_EQ(4u, channels.size());
    // Paused before they start, the channels wait until they are ended (one may still get its
    // request out when the cancel overtakes the pause).
    for (auto& channel : channels) {
        channel->pause();
        ASSERT_EQ(DT_SUCCESS, channel->start());
    }
    auto it = channels.begin();
    (*it++)->cancel();
    (*it++)->cancel();
    for (; it != channels.end(); ++it) {
        (*it)->stop();
    }

    const auto aborts = calls(routes::kMultipartAbort, m_desc.fileUid);
    ASSERT_EQ(1u, aborts.size());
    EXPECT_EQ(control().file(m_bucket.bucketId, m_desc.fileUid).uploadIds.at(0),
              aborts[0].json["uploadId"].asString());
    EXPECT_TRUE(calls(routes::kMultipartComplete, m_desc.fileUid).empty());
}

}  // namespace
}  // namespace vx_transfers
