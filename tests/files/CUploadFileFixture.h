// Base of the upload file tests: a bucket on the local service, a real CUploadGroup for it
// (no engine: the tests start the file's channels themselves) whose application callback
// records the file states, and local source files of known bytes.
#ifndef VXT_TESTS_FILES_CUPLOADFILEFIXTURE_H
#define VXT_TESTS_FILES_CUPLOADFILEFIXTURE_H

#include <Poco/SharedPtr.h>
#include <gtest/gtest.h>

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "CFilesTestEnvironment.h"
#include "CRecordingUploadCallback.h"
#include "channels/ITransferChannel.h"
#include "files/IUploadFile.h"
#include "groups/CUploadGroup.h"
#include "support/CServiceControlClient.h"

namespace vx_transfers {

class CUploadFileFixture : public ::testing::Test {
protected:
    using FileStatus = CTransferManagerBase::FileStatus;
    using ChannelList = std::list<Poco::SharedPtr<ITransferChannel>>;

    static constexpr std::chrono::milliseconds kWait{20000};

    void SetUp() override;
    void TearDown() override;

    static vxt_test::CServiceControlClient& control();

    // A group of the test's bucket; `groupId` 0 picks a fresh one.
    std::unique_ptr<CUploadGroup> makeGroup(int groupId = 0, bool isNew = true);
    // Writes `size` bytes of a pattern that differs from file to file; gives the bytes.
    std::string writeLocalFile(const std::string& name, unsigned long long size);
    std::wstring fileUrlOf(const std::string& name) const;
    // The description of `name` registered for upload to the test's bucket.
    CUploadManager::FileDesc registerFile(const std::string& name, unsigned long long size);
    // Hands a file made by the test to the group, as a file the group had initialised.
    void feed(Poco::SharedPtr<IUploadFile> file, CUploadManager::FileDesc& desc);
    // prepareForUpload, then starts the channels still to transfer.
    ChannelList startChannels(IUploadFile& file, unsigned int maxRetries = 3);
    // The REST calls of `route` for `fileId`, in order, once the last has been answered (a call
    // that a fault answered has no body).
    std::vector<vxt_test::CServiceControlClient::RequestRecord> calls(const std::string& route,
                                                                      const std::string& fileId);
    std::string storedMd5(const std::string& fileId);

    vxt_test::CServiceControlClient::BucketInfo m_bucket;
    CRecordingUploadCallback m_callback;
    std::unique_ptr<CUploadGroup> m_group;
    int m_groupId = 0;
};

}  // namespace vx_transfers

#endif
