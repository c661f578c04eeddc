#include <gtest/gtest.h>

#include "CUploadFileFixture.h"
#include "files/CUploadFileSinglePart.h"
#include "support/md5Hex.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

class CUploadFileSinglePartTest : public CUploadFileFixture {
protected:
    // A single-part file initialised for `name` of `size` bytes and handed to the group.
    Poco::SharedPtr<IUploadFile> makeFile(const std::string& name, unsigned long long size) {
        m_content = writeLocalFile(name, size);
        m_desc = registerFile(name, size);
        Poco::SharedPtr<IUploadFile> file = new CUploadFileSinglePart();
        EXPECT_EQ(DT_SUCCESS, file->initialize(m_desc, m_group.get(), false, 0));
        feed(file, m_desc);
        return file;
    }

    // The status words of the file status calls for the test's file, in order; "-" for a
    // call that a fault answered unread.
    std::vector<std::string> statusWords() {
        std::vector<std::string> words;
        for (const auto& call : calls(routes::kFileStatus, m_desc.fileUid)) {
            words.push_back(call.json.isObject() ? call.json["status"].asString() : "-");
        }
        return words;
    }

    std::string m_content;
    CUploadManager::FileDesc m_desc;
};

TEST_F(CUploadFileSinglePartTest, WholeFileLandsAndIsClosedWithItsByteCount) {
    const unsigned long long size = 300 * 1024 + 7;
    auto file = makeFile("single.bin", size);
    ChannelList all;
    file->getChannelVector(all);
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ(0u, all.front()->getOffset());

    startChannels(*file);
    ASSERT_TRUE(m_callback.waitForStatus(m_desc.fileUid,
                                         CTransferManagerBase::FILE_STATUS_COMPLETED, kWait));

    EXPECT_EQ(vxt_test::md5Hex(m_content), storedMd5(m_desc.fileUid));
    const auto closing = calls(routes::kFileStatus, m_desc.fileUid);
    ASSERT_EQ(1u, closing.size());
    EXPECT_EQ("COMPLETED", closing[0].json["status"].asString());
    EXPECT_EQ(size, closing[0].json["progress"].asUInt64());
    // The application's headers went out on the PUT unchanged.
    const auto puts = control().requests(routes::kDataPut);
    ASSERT_EQ(1u, puts.size());
    for (const auto& header : m_desc.additionalHttpHeaders) {
        EXPECT_EQ(header.second, puts[0].header(header.first)) << header.first;
    }
    CTransferManagerBase::FileState state;
    file->getFileState(state);
    EXPECT_EQ(CTransferManagerBase::FILE_STATUS_COMPLETED, state.status);
    EXPECT_EQ(size, state.bytesTransferred);
    EXPECT_FLOAT_EQ(100.0f, state.percent);
    // The file's outcome is settled: nothing is handed out again.
    ChannelList again;
    file->getChannelsToTransfer(again);
    EXPECT_TRUE(again.empty());
}

TEST_F(CUploadFileSinglePartTest, EmptyFileStillGetsOneChannelAndCompletes) {
    auto file = makeFile("empty.bin", 0);
    ChannelList all;
    file->getChannelVector(all);
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ(0u, all.front()->getOffset());
    startChannels(*file);
    ASSERT_TRUE(m_callback.waitForStatus(m_desc.fileUid,
                                         CTransferManagerBase::FILE_STATUS_COMPLETED, kWait));
    EXPECT_EQ(std::vector<std::string>{"COMPLETED"}, statusWords());
    EXPECT_TRUE(control().file(m_bucket.bucketId, m_desc.fileUid).stored);
}

TEST_F(CUploadFileSinglePartTest, ClosingCallThatOnlyWorksTheSecondTimeFailsTheFileUntilRetried) {
    auto file = makeFile("close-retry.bin", 64 * 1024);
    CServiceControlClient::Fault fault;
    fault.route = routes::kFileStatus;
    fault.status = 500;
    control().injectFault(fault);

    startChannels(*file);
    ASSERT_TRUE(
        m_callback.waitForStatus(m_desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR, kWait));
    const auto failed =
        m_callback.statesOf(m_desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR);
    ASSERT_EQ(1u, failed.size());
    EXPECT_EQ(transfer_defs::FILE_ERROR_MULTIPART_INIT, failed[0].fileErrorType);
    // The second attempt reached the service, which took it.
    const auto closing = calls(routes::kFileStatus, m_desc.fileUid);
    ASSERT_EQ(2u, closing.size());
    EXPECT_EQ(500, closing[0].status);
    EXPECT_EQ(200, closing[1].status);
    EXPECT_EQ("COMPLETED", closing[1].json["status"].asString());
    EXPECT_TRUE(
        m_callback.statesOf(m_desc.fileUid, CTransferManagerBase::FILE_STATUS_COMPLETED).empty());

    // A retry of the group repeats only the closing call, and reports from a pool thread.
    file->resetErrorState();
    ASSERT_TRUE(m_callback.waitForStatus(m_desc.fileUid,
                                         CTransferManagerBase::FILE_STATUS_COMPLETED, kWait));
    EXPECT_EQ((std::vector<std::string>{"-", "COMPLETED", "COMPLETED"}), statusWords());
    EXPECT_EQ(1u, control().requests(routes::kDataPut).size());
    EXPECT_EQ(vxt_test::md5Hex(m_content), storedMd5(m_desc.fileUid));
}

TEST_F(CUploadFileSinglePartTest, CancelledChannelTellsTheServiceTheFileIsCancelled) {
    auto file = makeFile("cancel.bin", 512 * 1024);
    ASSERT_EQ(DT_SUCCESS, file->prepareForUpload());
    ChannelList channels;
    file->getChannelsToTransfer(channels);
    ASSERT_EQ(1u, channels.size());
    // Paused before it starts, the channel waits without connecting until it is cancelled.
    channels.front()->pause();
    ASSERT_EQ(DT_SUCCESS, channels.front()->start());
    channels.front()->cancel();
    EXPECT_EQ(std::vector<std::string>{"CANCELLED"}, statusWords());
    // Cancelling is not an error of the file.
    EXPECT_TRUE(
        m_callback.statesOf(m_desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR).empty());
}

}  // namespace
}  // namespace vx_transfers
