// A stand-in for an upload file, for tests of the layers that hold files (groups, engines): it
// answers from a script and records what was asked of it. Script and records live in a Probe
// that the test keeps, so they can be read after the file object itself is gone.
#ifndef VXT_TESTS_SUPPORT_CFAKEUPLOADFILE_H
#define VXT_TESTS_SUPPORT_CFAKEUPLOADFILE_H

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "files/IUploadFile.h"

namespace vxt_test {

class CFakeUploadFile : public vx_transfers::IUploadFile {
public:
    struct Probe {
        // --- Script: set before the file is used ---
        unsigned long long fileSize = 0;
        vx_transfers::dt_error initializeResult = vx_transfers::DT_SUCCESS;
        bool prepareRequired = false;
        vx_transfers::dt_error prepareResult = vx_transfers::DT_SUCCESS;
        // What getFileState reports (a restored file's state).
        vx_transfers::CTransferManagerBase::FileState state;

        // --- Records ---
        std::atomic<int> initializeCalls{0};
        std::atomic<int> initFromDbCalls{0};
        std::atomic<int> prepareCalls{0};
        std::atomic<int> resetErrorStateCalls{0};
        std::atomic<int> removeFromDbCalls{0};
        std::atomic<int> uninitializeCalls{0};
        std::atomic<int> cancelUploadCalls{0};
        std::atomic<bool> destroyed{false};

        // The arguments of initialize / initFromDb.
        std::string uid() const;
        vx_transfers::CUploadManager::FileDesc desc() const;
        vx_transfers::CUploadGroup* group() const;
        std::string uploadId() const;
        bool restoredPaused() const;

    private:
        friend class CFakeUploadFile;
        mutable std::mutex m_mutex;
        vx_transfers::CUploadManager::FileDesc m_desc;
        vx_transfers::CUploadGroup* m_group = nullptr;
        std::string m_uploadId;
        bool m_restoredPaused = false;
    };

    explicit CFakeUploadFile(std::shared_ptr<Probe> probe = std::make_shared<Probe>());
    ~CFakeUploadFile() override;

    const std::shared_ptr<Probe>& probe() const { return m_probe; }

    void getUid(std::string& uid) override;
    void getBucketUid(std::string& bucketUid) override;
    int getGroupId() override { return 0; }

    vx_transfers::dt_error initialize(vx_transfers::CUploadManager::FileDesc& desc,
                                      vx_transfers::CUploadGroup* group, bool calculateMd5,
                                      unsigned long long bufferSize) override;
    void uninitialize() override;
    void initFromDb(vx_transfers::CUploadManager::FileDesc& desc, vx_transfers::CUploadGroup* group,
                    std::string& uploadId, bool paused, unsigned long long bufferSize) override;
    vx_transfers::dt_error prepareForUpload() override;
    bool isPrepareForUploadRequired() override { return m_probe->prepareRequired; }
    void cancelUpload() override { ++m_probe->cancelUploadCalls; }
    unsigned long long getFileSize() override { return m_probe->fileSize; }
    void getOriginalFileDesc(vx_transfers::CUploadManager::FileDesc& desc) override;
    void onProgress(const long long&) override {}
    void getChannelVector(
        std::list<Poco::SharedPtr<vx_transfers::ITransferChannel>>& channels) override;
    void getChannelsToTransfer(
        std::list<Poco::SharedPtr<vx_transfers::ITransferChannel>>& channels) override;
    vx_transfers::CUploadGroup* getParentGroup() override { return m_probe->group(); }
    void removeFromDb() override { ++m_probe->removeFromDbCalls; }
    void resetErrorState() override { ++m_probe->resetErrorStateCalls; }
    void getFileState(vx_transfers::CTransferManagerBase::FileState& state) override;

private:
    std::shared_ptr<Probe> m_probe;
};

}  // namespace vxt_test

#endif
