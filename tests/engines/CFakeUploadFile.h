#pragma once

#include <Poco/SharedPtr.h>

#include <list>
#include <mutex>
#include <string>

#include "files/IUploadFile.h"

namespace vx_transfers {

// An upload file that is only a list of channels and a pointer to its group, for engine tests.
// What the engine does not call does nothing.
class CFakeUploadFile : public IUploadFile {
public:
    using ChannelList = std::list<Poco::SharedPtr<ITransferChannel>>;

    CFakeUploadFile(const std::string& uid, CUploadGroup* group) : m_uid(uid), m_group(group) {}

    void addChannel(const Poco::SharedPtr<ITransferChannel>& channel);
    int uninitializeCount();

    void getUid(std::string& uid) override { uid = m_uid; }
    void getBucketUid(std::string& bucketUid) override { bucketUid = "bucket"; }
    int getGroupId() override { return 0; }

    void getChannelVector(ChannelList& channels) override;
    void getChannelsToTransfer(ChannelList& channels) override;
    CUploadGroup* getParentGroup() override { return m_group; }
    void uninitialize() override;

    dt_error initialize(CUploadManager::FileDesc&, CUploadGroup*, bool,
                        unsigned long long) override {
        return DT_SUCCESS;
    }
    void initFromDb(CUploadManager::FileDesc&, CUploadGroup*, std::string&, bool,
                    unsigned long long) override {}
    dt_error prepareForUpload() override { return DT_SUCCESS; }
    bool isPrepareForUploadRequired() override { return false; }
    void cancelUpload() override {}
    unsigned long long getFileSize() override { return 0; }
    void getOriginalFileDesc(CUploadManager::FileDesc& desc) override { desc.fileUid = m_uid; }
    void onProgress(const long long&) override {}
    void removeFromDb() override {}
    void resetErrorState() override {}
    void getFileState(CTransferManagerBase::FileState& state) override { state.fileId = m_uid; }

private:
    const std::string m_uid;
    CUploadGroup* const m_group;
    std::mutex m_mutex;
    ChannelList m_channels;
    int m_uninitialized = 0;
};

}  // namespace vx_transfers
