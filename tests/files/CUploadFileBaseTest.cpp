#include <gtest/gtest.h>

#include "CUploadFileFixture.h"
#include "db/CChannelsDbInfo.h"
#include "db/CDatabase.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "db/CFilesDbInfo.h"
#include "files/CUploadFileBase.h"
#include "files/CUploadFileFactory.h"
#include "files/CUploadFileMultiPart.h"
#include "managers/startup/CSingleton.h"
#include "support/md5Hex.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

class CUploadFileBaseTest : public CUploadFileFixture {
protected:
    static constexpr unsigned long long kPartSize = 64 * 1024;

    static CDatabaseDumpAnalyzer& analyzer() {
        return *CSingleton<CDatabaseDumpAnalyzer>::getInstance();
    }

    // What a restart does for one stored file: read the tables, pick the class by the stored
    // channels, restore the file into `group` and hand it over.
    Poco::SharedPtr<IUploadFile> restore(const std::string& fileUid, CUploadGroup& group) {
        analyzer().unloadUploadData();
        analyzer().loadUploadData();
        std::vector<CFilesDbInfo::FileInfo> files;
        analyzer().getFilesForUploadGroup(group.getId(), files);
        std::vector<CChannelsDbInfo::ChannelInfo> channels;
        analyzer().getChannelsForUploadFile(fileUid, channels);
        Poco::SharedPtr<IUploadFile> file;
        for (auto& info : files) {
            if (info.fileUid == fileUid) {
                file = CUploadFileFactory::create(static_cast<unsigned int>(channels.size()));
                file->initFromDb(info, &group, info.uploadId, false, 0);
                CTransferManagerBase::FileState state;
                file->getFileState(state);
                group.feedFile(file, info, state, false);
            }
        }
        analyzer().unloadUploadData();
        return file;
    }

    // Stores a file of the test's group with one channel per entry of `parts` (size, state),
    // as an earlier run would have left it.
    void storeFile(
        CUploadManager::FileDesc& desc,
        const std::vector<std::pair<unsigned long long, ITransferChannel::State>>& parts) {
        CDatabase* database = CDatabase::getInstance();
        database->getFilesInfo()->insert(desc, m_groupId);
        database->getFilesInfo()->setUploadId(desc.fileUid, "stored-upload-id");
        unsigned long long offset = 0;
        for (const auto& part : parts) {
            CChannelsDbInfo::ChannelInfo channel;
            channel.fileUid = desc.fileUid;
            channel.url = "http://127.0.0.1:1/part";
            channel.offset = offset;
            channel.bytesToUpload = part.first;
            channel.state = part.second;
            channel.httpHeaders = {{"x-vx-part", std::to_string(offset)}};
            database->getChannelsInfo()->insert(channel);
            offset += part.first;
        }
    }
};

TEST_F(CUploadFileBaseTest, RestoredFileWithAllPartsDoneOnlyRepeatsTheClosingCall) {
    const unsigned long long size = kPartSize + 500;
    const std::string content = writeLocalFile("restored.bin", size);
    CUploadManager::FileDesc desc = registerFile("restored.bin", size);
    desc.additionalHttpHeaders.clear();  // those are for a single PUT of the whole file
    {
        // First run: every part lands, but the closing call fails at both attempts.
        CServiceControlClient::Fault fault;
        fault.route = routes::kMultipartComplete;
        fault.status = 500;
        fault.count = 2;
        control().injectFault(fault);
        Poco::SharedPtr<IUploadFile> file = new CUploadFileMultiPart(kPartSize);
        ASSERT_EQ(DT_SUCCESS, file->initialize(desc, m_group.get(), false, 0));
        feed(file, desc);
        startChannels(*file);
        ASSERT_TRUE(
            m_callback.waitForStatus(desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR, kWait));
        EXPECT_EQ(transfer_defs::FILE_ERROR_MULTIPART_INIT,
                  m_callback.statesOf(desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR)[0]
                      .fileErrorType);
        ChannelList channels;
        file->getChannelVector(channels);
        for (auto& channel : channels) {
            channel->stop();  // reaps the finished threads
        }
        m_group.reset();
    }
    EXPECT_FALSE(control().file(m_bucket.bucketId, desc.fileUid).stored);

    m_group = makeGroup(m_groupId, false);
    auto file = restore(desc.fileUid, *m_group);
    ASSERT_FALSE(file.isNull());
    ChannelList all, pending;
    file->getChannelVector(all);
    file->getChannelsToTransfer(pending);
    EXPECT_EQ(2u, all.size());
    EXPECT_TRUE(pending.empty());
    CTransferManagerBase::FileState state;
    file->getFileState(state);
    EXPECT_EQ(CTransferManagerBase::FILE_STATUS_COMPLETED, state.status);
    EXPECT_EQ(size, state.bytesTotal);
    EXPECT_EQ(size, state.bytesTransferred);
    EXPECT_TRUE(file->isPrepareForUploadRequired());
    EXPECT_EQ(DT_SUCCESS, file->prepareForUpload());

    // The group's retry: the closing call runs again, with the upload id of the first run.
    file->resetErrorState();
    ASSERT_TRUE(
        m_callback.waitForStatus(desc.fileUid, CTransferManagerBase::FILE_STATUS_COMPLETED, kWait));
    const auto complete = calls(routes::kMultipartComplete, desc.fileUid);
    ASSERT_EQ(3u, complete.size());
    EXPECT_EQ(control().file(m_bucket.bucketId, desc.fileUid).uploadIds.at(0),
              complete[2].json["uploadId"].asString());
    EXPECT_EQ(2u, complete[2].json["numberOfParts"].asUInt());
    EXPECT_EQ(vxt_test::md5Hex(content), storedMd5(desc.fileUid));
    EXPECT_EQ(2u, control().requests(routes::kDataPut).size());
    EXPECT_EQ(1u, calls(routes::kMultipartInitialize, desc.fileUid).size());
}

TEST_F(CUploadFileBaseTest, RestoredFileIsCheckedAgainstTheSizeItsPartsCover) {
    using State = ITransferChannel::State;
    struct Case {
        const char* name;
        unsigned long long localSize;
        dt_error expected;
    };
    const unsigned long long stored = 3000 + 2000;
    for (const Case& c :
         {Case{"same", stored, DT_SUCCESS}, Case{"grown", stored + 1, DT_FILE_CHANGED},
          Case{"shrunk", stored - 1, DT_FILE_CHANGED}}) {
        SCOPED_TRACE(c.name);
        const std::string name = std::string("sized-") + c.name + ".bin";
        writeLocalFile(name, c.localSize);
        CUploadManager::FileDesc desc;
        desc.fileUid = name;
        desc.fileUrl = fileUrlOf(name);
        storeFile(desc, {{3000, ITransferChannel::StateCompleted}, {2000, State::StateStarted}});

        auto file = restore(desc.fileUid, *m_group);
        ASSERT_FALSE(file.isNull());
        EXPECT_EQ(stored, file->getFileSize());
        CTransferManagerBase::FileState state;
        file->getFileState(state);
        EXPECT_EQ(CTransferManagerBase::FILE_STATUS_TRANSFERRING, state.status);
        EXPECT_EQ(3000u, state.bytesTransferred);
        ChannelList pending;
        file->getChannelsToTransfer(pending);
        ASSERT_EQ(1u, pending.size());
        EXPECT_EQ(3000u, pending.front()->getOffset());

        EXPECT_EQ(c.expected, file->prepareForUpload());
        // A refused file is checked again at its next preparation, and refused again.
        EXPECT_EQ(c.expected != DT_SUCCESS, file->isPrepareForUploadRequired());
        EXPECT_EQ(c.expected, file->prepareForUpload());
        EXPECT_EQ(stored, file->getFileSize());
        file->removeFromDb();
    }
}

TEST_F(CUploadFileBaseTest, FirstFailedPartFailsTheFileAndLaterEventsAreDropped) {
    const unsigned long long size = 2 * kPartSize;
    writeLocalFile("failing.bin", size);
    CUploadManager::FileDesc desc = registerFile("failing.bin", size);
    desc.additionalHttpHeaders.clear();  // those are for a single PUT of the whole file
    Poco::SharedPtr<IUploadFile> file = new CUploadFileMultiPart(kPartSize);
    ASSERT_EQ(DT_SUCCESS, file->initialize(desc, m_group.get(), false, 0));
    feed(file, desc);
    CServiceControlClient::Fault fault;
    fault.route = routes::kDataPut;
    fault.status = 500;
    fault.count = -1;
    control().injectFault(fault);

    auto channels = startChannels(*file, 1);
    ASSERT_TRUE(
        m_callback.waitForStatus(desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR, kWait));
    for (auto& channel : channels) {
        channel->stop();  // returns once the channel's final event has been handled
    }
    control().clearFaults();
    const auto failed = m_callback.statesOf(desc.fileUid, CTransferManagerBase::FILE_STATUS_ERROR);
    ASSERT_EQ(1u, failed.size());
    EXPECT_NE(transfer_defs::FILE_ERROR_NONE, failed[0].fileErrorType);
    EXPECT_EQ(2u, control().requests(routes::kDataPut).size());
    EXPECT_TRUE(calls(routes::kMultipartComplete, desc.fileUid).empty());
    EXPECT_TRUE(calls(routes::kMultipartAbort, desc.fileUid).empty());

    // A retry of the group lets the same channels run again.
    file->resetErrorState();
    ASSERT_TRUE(file->isPrepareForUploadRequired());  // the failure gave the memory back
    ASSERT_EQ(DT_SUCCESS, file->prepareForUpload());
    channels.clear();
    file->getChannelsToTransfer(channels);
    EXPECT_EQ(2u, channels.size());
    for (auto& channel : channels) {
        ASSERT_EQ(DT_SUCCESS, channel->start());
    }
    ASSERT_TRUE(
        m_callback.waitForStatus(desc.fileUid, CTransferManagerBase::FILE_STATUS_COMPLETED, kWait));
    EXPECT_EQ(1u, calls(routes::kMultipartComplete, desc.fileUid).size());
}

}  // namespace
}  // namespace vx_transfers
