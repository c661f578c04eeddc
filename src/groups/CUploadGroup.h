#pragma once

#include <Poco/Condition.h>
#include <Poco/SharedPtr.h>
#include <Poco/Timestamp.h>

#include <string>
#include <vector>

#include "db/CGroupsDbInfo.h"
#include "files/IUploadFile.h"
#include "groups/CFileStatsList.h"
#include "groups/CGroupBase.h"
#include "rest/CFileProgressSenderHelper.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/dt_error.h"

namespace vx_transfers {

class CDatabase;
class IUploadEngineCallback;

// The upload side of a bucket: the ledger of its files, the state derived from them, the hand-over
// of files to the engine, marking, completion, pause, resume and cancel. Every public operation
// takes the group's lock; the engine is reached only by posting requests.
class CUploadGroup : public CGroupBase<CUploadManager::ICallback> {
public:
    struct TransferGroupInitParams : GroupInitParams {
        unsigned long long minMultipartSize = 0;
        IUploadEngineCallback* engineCallback = nullptr;
        bool verifyUploads = false;
    };

    using FileList = CFileStatsList<IUploadFile, CTransferManagerBase::FileStatus, CUploadManager,
                                    CUploadManager::FileDesc>;
    using FilePtr = Poco::SharedPtr<IUploadFile>;

    explicit CUploadGroup(TransferGroupInitParams& params);
    ~CUploadGroup() override;

    // ITransferGroup / CGroupBase
    void loadInfoFromDb() override;
    void cancelGroup() override;
    bool isPaused() override;
    void onResume() override;  // caller's lock
    void onPause() override;   // caller's lock
    void updateGroupState(CTransferManagerBase::GroupStatus status,
                          transfer_defs::GroupErrorType error) override;  // caller's lock
    ITransferEngineCallback* getEngineCallback() override;
    void onRetryCounterChanged() override;  // caller's lock

    // Only posts the files to the engine, whose thread calls initFiles(): a markQueue() right
    // after can find the group still empty.
    void queueFiles(std::vector<CUploadManager::FileDesc>& files);
    // Engine thread.
    void initFiles(std::vector<CUploadManager::FileDesc>& files);
    void dequeueFile(std::vector<CUploadManager::FileDesc>& files);
    // Engine thread: the next file to start, prepared; null when the group has none to give.
    FilePtr popFileForUpload();
    // Engine thread: every channel of `file` has left the engine.
    void removeFileUploaded(IUploadFile* file, const std::string& fileUid);
    // File and channel threads.
    void onUploadProgress(std::string& fileUid, long long delta,
                          CTransferManagerBase::FileState& state, bool fileChanged);
    int getGroupState(CUploadManager::GroupState& state);
    bool isEmpty();
    bool isCanceled();
    bool isQueueMarked();
    // With viaEngine the marking is handed to the engine's thread (used at restore, before the
    // files are loaded); otherwise it happens now, under the lock.
    void markQueue(bool viaEngine);
    void unmarkQueue();
    // Adds a ready-made file; nothing in the library calls it.
    void feedFile(FilePtr file, CUploadManager::FileDesc& desc,
                  CTransferManagerBase::FileState& state, bool error);

private:
    // All of these run under the lock that the caller holds.
    static unsigned long long getSizeOfFileByUrl(const std::wstring& url);
    bool initNewFileWithErrorEvent(CUploadManager::FileDesc& desc, bool viaProgress, bool sendEvent,
                                   bool addToList, FilePtr* out);
    dt_error initNewFileInQueue(CUploadManager::FileDesc& desc, bool addToList, FilePtr* out);
    void sendEventDueToFileError(CUploadManager::FileDesc& desc, long long size, bool viaProgress,
                                 dt_error error);
    void onUploadProgressNoLock(std::string& fileUid, long long delta,
                                CTransferManagerBase::FileState& state, bool fileChanged);
    bool checkLastEventTime();
    void updateGroupState(bool sendAlways, CTransferManagerBase::FileStatus fileStatus);
    void updateGroupEmptyFlag();
    dt_error prepareFileForUpload(FilePtr& file, CUploadManager::FileDesc& desc, bool viaProgress);
    void removeFileUploadedNoLock(IUploadFile* file, const std::string& fileUid);
    void markQueueNoLock();
    void markGroupAsCompleted();
    bool completeGroup();
    bool sendCompletionStatusToServer();
    void prepareErroredUploadsToResume();
    void removeFromDb();
    // Every valid entry completed and nothing pending.
    bool areAllFilesDoneNoLock();

    bool m_verifyUploads;
    bool m_canceled;
    unsigned long long m_minMultipartSize;
    FileList m_files;
    CUploadManager::GroupState m_state;
    IUploadEngineCallback* m_engine;
    Poco::Condition m_fileRemoved;
    CDatabase* m_database;
    Poco::SharedPtr<CGroupsDbInfo> m_groupsInfo;
    Poco::Timestamp m_lastEventTime;
    CFileProgressSenderHelper m_progressSender;
};

}  // namespace vx_transfers
