#pragma once

#include <Poco/ActiveMethod.h>
#include <Poco/ActiveResult.h>
#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>

#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "channels/ITransferChannel.h"
#include "files/CFileChannelsInfo.h"
#include "files/FileSystemEvent.h"
#include "files/IUploadFile.h"
#include "memory/CTransferProgressTracker.h"
#include "platform/CBucketSpecificLogger.h"
#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/dt_error.h"

namespace vx_transfers {

class CFilesDbInfo;
class CUploadGroup;
class IOSResource;
class ITransferBufferManager;

// One file of an upload group: owns the file's channels, adds up their progress, decides from
// their state events when the file is finished or failed, makes the closing REST call and hands
// each result to its group. The subclasses differ only in how they create channels and in their
// closing calls.
class CUploadFileBase : public IUploadFile {
public:
    using HeaderList = std::vector<std::pair<std::string, std::string>>;
    using ChannelList = std::list<Poco::SharedPtr<ITransferChannel>>;

    CUploadFileBase();
    ~CUploadFileBase() override;

    CUploadFileBase(const CUploadFileBase&) = delete;
    CUploadFileBase& operator=(const CUploadFileBase&) = delete;

    // ITransferFile
    void getUid(std::string& uid) override;
    void getBucketUid(std::string& bucketUid) override;
    int getGroupId() override;

    // IUploadFile
    dt_error initialize(CUploadManager::FileDesc& desc, CUploadGroup* group, bool calculateMd5,
                        unsigned long long bufferSize) override;
    void uninitialize() override;
    void initFromDb(CUploadManager::FileDesc& desc, CUploadGroup* group, std::string& uploadId,
                    bool paused, unsigned long long bufferSize) override;
    dt_error prepareForUpload() override;
    bool isPrepareForUploadRequired() override;
    // Cancelling goes through the channels and comes back through onChannelStateChanged.
    void cancelUpload() override {}
    unsigned long long getFileSize() override;
    void getOriginalFileDesc(CUploadManager::FileDesc& desc) override;
    void onProgress(const long long& delta) override;
    void getChannelVector(ChannelList& channels) override;
    void getChannelsToTransfer(ChannelList& channels) override;
    CUploadGroup* getParentGroup() override;
    void removeFromDb() override;
    void resetErrorState() override;
    void getFileState(CTransferManagerBase::FileState& state) override;

    // Delegate of the channels' state events; runs on the channel's thread.
    virtual void onChannelStateChanged(const void* sender,
                                       const ITransferChannel::StateEventData& event);
    // The closing call, once every channel is complete; false when it failed.
    virtual bool onComplete() { return true; }
    // Tells the service that the upload was given up; once per file.
    virtual void onCancel() {}
    virtual void onError() {}
    virtual void onChange() {}
    // The local file changed under a running upload: the file fails for good.
    virtual void fileChangeDetected(files_watch::FileSystemEvent& event);

    // Reports a state to the group on a pool thread, for callers that hold the group's lock.
    Poco::ActiveMethod<void, CTransferManagerBase::FileState, CUploadFileBase> sendAsyncProgress;

protected:
    // Keeps the group and a copy of the description and reads the file's size.
    dt_error initializeNoDb(CUploadManager::FileDesc& desc, CUploadGroup* group);
    dt_error initializeNoDb();
    void loggerConfigure(CUploadGroup* group, const std::string& uid);
    void convertFileDescUrlToPath();
    bool createBufferManager(unsigned long long bufferSize);
    Poco::SharedPtr<ITransferChannel> createChannel(const std::string& url,
                                                    unsigned long long offset,
                                                    unsigned long long size, HeaderList& headers,
                                                    unsigned int channelIndex, bool addToDb);
    // The size of the local file, or all bits set when it cannot be read.
    unsigned long long getFileSizeInternal();
    // m_mutex held.
    void getFileStateInternal(CTransferManagerBase::FileState& state);
    void changeFileWatcherStateIfRequired(ITransferChannel::State state);
    // Runs the closing call and reports the outcome; m_mutex held.
    void completeFile(CTransferManagerBase::FileState& state, bool async);
    void sendAsyncProgressImpl(const CTransferManagerBase::FileState& state);

    // Every REST call of a file goes through these: a second attempt on the same call object
    // when the first failed. The result is the first attempt's: a call that only worked the
    // second time reached the service, but the file does not count on it, so that a retry of the
    // group repeats the call.
    template <typename Call, typename RequestDetails>
    static dt_error sendRestRequest(RequestDetails& details) {
        Call call;
        dt_error first = call.sendRequest(details);
        if (first == DT_SUCCESS) {
            first = call.receiveResponse();
            if (first == DT_SUCCESS) {
                return DT_SUCCESS;
            }
        }
        if (call.sendRequest(details) == DT_SUCCESS) {
            call.receiveResponse();
        }
        return first;
    }

    template <typename Call, typename RequestDetails, typename Response>
    static dt_error sendRestRequest(RequestDetails& details, Response& response) {
        Call call;
        dt_error first = call.sendRequest(details);
        if (first == DT_SUCCESS) {
            first = call.receiveResponse(response);
            if (first == DT_SUCCESS) {
                return DT_SUCCESS;
            }
        }
        if (call.sendRequest(details) == DT_SUCCESS) {
            call.receiveResponse(response);
        }
        return first;
    }

    CUploadGroup* m_parentGroup;
    unsigned long long m_fileSize;
    CUploadManager::FileDesc m_fileDesc;
    std::wstring m_filePath;
    CFileChannelsInfo m_channelsInfo;
    long long m_bytesUploaded;
    Poco::FastMutex m_mutex;
    CTransferProgressTracker m_progressTracker;
    unsigned int m_completedChannels;
    bool m_bCancelled;
    bool m_bDiscardAllEvents;
    bool m_bPrepareRequired;
    Poco::SharedPtr<CFilesDbInfo> m_filesDb;
    std::string m_uploadId;
    std::unique_ptr<IOSResource> m_osResource;
    CBucketSpecificLogger m_logger;
    Poco::SharedPtr<ITransferBufferManager> m_bufferManager;

private:
    // Reports started on the pool and not yet known to be finished; the destructor waits for
    // them, since they run on this object. Guarded by m_mutex.
    std::vector<Poco::ActiveResult<void>> m_asyncReports;
};

}  // namespace vx_transfers
