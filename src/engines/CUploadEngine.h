#pragma once

#include <Poco/Any.h>
#include <Poco/Runnable.h>
#include <Poco/SharedPtr.h>

#include <list>
#include <vector>

#include "engines/CTransferEngineBase.h"
#include "engines/IUploadEngineCallback.h"
#include "files/IUploadFile.h"
#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {

class CGroupManager;
class CUploadGroup;

// The worker of the upload side: one thread that takes requests from the queue and acts on the
// channel lists, and the IUploadEngineCallback through which upload groups and files ask for
// things to happen on that thread. It owns no file and no group: files belong to their group,
// groups to the registry. Lock order: the engine's m_mutex, then a group's.
class CUploadEngine : public Poco::Runnable,
                      public IUploadEngineCallback,
                      public virtual CTransferEngineBase {
public:
    // Payload of REQUEST_FILES_INITIALIZE.
    struct FileInitInfo {
        CUploadGroup* group = nullptr;
        std::vector<CUploadManager::FileDesc> files;
    };

    CUploadEngine(CGroupManager& groupManager, unsigned int maxConcurrentTransfers,
                  unsigned int maxRetries, unsigned int maxSpeed);
    // Stops the worker if it still runs.
    ~CUploadEngine() override;

    // The worker's body: one request at a time until REQUEST_STOP.
    void run() override;

    // IUploadEngineCallback: each posts one request and returns at once.
    void requestUploadCancel(std::list<Poco::SharedPtr<IUploadFile>>& files) override;
    void requestUploadPause(std::list<Poco::SharedPtr<IUploadFile>>& files) override;
    void requestUploadResume(std::list<Poco::SharedPtr<IUploadFile>>& files) override;
    void requestFileAddPaused(Poco::SharedPtr<IUploadFile>& file) override;
    void requestGroupRemove(CUploadGroup* group) override;
    void requestGroupMark(CUploadGroup* group) override;
    void requestFilesInitialize(CUploadGroup* group,
                                std::vector<CUploadManager::FileDesc>& files) override;
    // A channel restored from the database, with the state it had.
    void requestChannelAdd(ChannelInfo& info);

    // Starts the worker unless it runs already. Requests posted before are served from now on.
    void init();
    // Posts REQUEST_STOP behind everything already queued and joins the worker if it runs.
    void uninit();
    // Work was queued: run the scheduler.
    void filesAdded();

    // 0 is ignored. The limits take effect on the next scheduling pass and the next start of a
    // channel; running channels keep their retry limit.
    void setMaxConcurrentTransfers(unsigned int maxConcurrentTransfers);
    void setMaxTransferRetries(unsigned int maxRetries);
    void setMaxUploadSpeed(unsigned int maxSpeed);
    unsigned int getMaxConcurrentTransfers() const { return m_maxConcurrentTransfers; }
    unsigned int getMaxTransferRetries() const { return m_maxRetries; }
    unsigned int getMaxUploadSpeed() const { return m_maxSpeed; }

protected:
    // First come, first served over whole files: the first active group that gives a file.
    ChannelPtr popChannelFromActiveGroup(ChannelList& pendingChannels,
                                         GroupList& activeGroups) override;

private:
    using FilePtr = Poco::SharedPtr<IUploadFile>;
    using FileList = std::list<FilePtr>;

    // True for REQUEST_STOP only.
    bool handleRequest(CTransferEngineRequestQueue::RequestType type, Poco::Any& payload);

    // The handlers, on the worker thread. Each first checks the payload's type.
    void initiateTransfers();
    void handleChannelAdd(Poco::Any& payload);
    void handleFilesCancel(Poco::Any& payload);
    void handlePauseRequest(Poco::Any& payload);
    void handleChannelPause(Poco::Any& payload);
    void handleResume(Poco::Any& payload);
    void handleUploadComplete(Poco::Any& payload);
    void handleUploadError(Poco::Any& payload);
    void handleFileAddPaused(Poco::Any& payload);
    void handleFilesInitialize(Poco::Any& payload);
    void handleGroupMark(Poco::Any& payload);

    // Cancels the file's channels without the lock (cancel joins their threads), then removes
    // them under it.
    void cancelFileUpload(FilePtr& file);
    void pauseFileUpload(FilePtr& file);
    void pauseFileUploadNoLock(const ITransferFile* file);
    // Caller holds m_mutex.
    void resumeFileUpload(FilePtr& file);
    // The one way out of the engine; hands a finished file back to its group and drops a
    // finished group. Caller holds m_mutex.
    void removeChannel(ChannelPtr channel);
};

}  // namespace vx_transfers
