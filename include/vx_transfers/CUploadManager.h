#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/dt_error.h"
#include "vx_transfers/export.h"

namespace vx_transfers {

class CUploadManagerProxy;

// Uploads files into buckets of the service; one group per bucket.
//
// Lifecycle: call CVxTransfersInitializer::initialize() and set the application files path
// of CVxTransfersGlobalConfig first. Constructing the manager restores the groups and files
// of an earlier run from the database but starts nothing. Then set the configuration,
// subscribe an ICallback and call startup(); call shutdown() before destroying the manager.
// Failures of transfers never come back as results: they arrive as ICallback events.
class VX_TRANSFERS_API CUploadManager : public CTransferManagerBase {
public:
    // The shared settings plus how often the service is told about upload progress.
    struct Configuration : CTransferManagerBase::Configuration {
        unsigned int serverTransferProgressInterval = 300000;  // milliseconds
    };

    struct GroupState : CTransferManagerBase::GroupState {
        bool queueMarked = false;  // the application said that no more files will come
    };

    // One file to upload.
    struct FileDesc {
        std::string fileUid;   // the service's id of the file
        std::wstring fileUrl;  // local location of the file
        std::string url;       // where a single-part upload sends the bytes
        std::vector<std::pair<std::string, std::string>> additionalHttpHeaders;  // for url
    };

    // Implemented by the application. Called on the library's threads, usually with a group's
    // lock held: return quickly and never call back into the manager from here.
    class VX_TRANSFERS_API ICallback {
    public:
        virtual ~ICallback() = default;
        // A group's state changed, or startup() is reporting the groups it holds.
        virtual void onGroupStateChanged(GroupState& state) = 0;
        // A file progressed, completed or failed. Progress is rate-limited; other statuses
        // always arrive.
        virtual void onFileStateChanged(CTransferManagerBase::FileState& state) = 0;
    };

    // Restores the groups and files of an earlier run from the database; starts nothing.
    // Exceptions from the set-up reach the caller.
    CUploadManager();
    // Shuts the manager down if the application forgot to.
    ~CUploadManager() override;

    CUploadManager(const CUploadManager&) = delete;
    CUploadManager& operator=(const CUploadManager&) = delete;

    // Every operation below may be called from any thread, but never from inside an ICallback
    // operation. None of them throws; failures are logged and a default result comes back.

    // The live configuration.
    Configuration& getConfiguration();
    // minMultipartSize 0 means the default; maxConcurrentTransfers 0 keeps the running limit.
    // minMultipartSize and verifyUploads apply to groups created afterwards.
    dt_error setConfiguration(Configuration& configuration);
    // The new group's id, or -1.
    int createGroup(std::string& bucketId, std::string& bucketType, std::string& bucketToken,
                    unsigned long long expirationDate);
    // The id of the group of this bucket, or -1.
    int findGroupByBucketId(std::string& bucketId);
    // Also hands the callback to the groups restored from the database.
    void subscribeToEvents(ICallback* callback);

    // Adds files to a group. This only posts them to the manager's worker thread, which opens
    // them later; markQueue() acts at once. Calling markQueue() right after queueFiles() can
    // therefore mark a group that is still empty: it completes, and the files are refused.
    // Wait for the group's onGroupStateChanged that follows the files' initialisation (status
    // GROUP_STATUS_ACTIVE with empty false, or getGroupState() showing the files' bytesTotal)
    // before marking.
    void queueFiles(int groupId, std::vector<FileDesc>& files);
    // Removes files; a file that is moving is removed once its transfers have stopped.
    void dequeueFile(int groupId, std::vector<FileDesc>& files);
    // Says that no more files will come; only a marked group completes, and it then tells the
    // service that the bucket is complete. See queueFiles() for the order of calls.
    void markQueue(int groupId);
    void unmarkQueue(int groupId);
    bool isQueueMarked(int groupId);
    // DT_INVALID_ARGUMENT for an unknown group.
    dt_error getGroupState(int groupId, GroupState& state);
    void pauseGroup(int groupId);
    // Also the manual retry of a group in error; it resets the count of automatic restarts.
    void resumeGroup(int groupId);
    // Stops the group's transfers, aborts them on the service and forgets the group.
    void cancelGroup(int groupId);

    // Starts the worker: restored and queued work begins, and every group is reported once
    // through onGroupStateChanged.
    void startup() override;
    // Stops the worker and the running transfers; their progress is kept for startup().
    void shutdown() override;
    // A hint: transfers are running or waiting for a place.
    bool hasActiveTransfers();
    void fetchGroupsInfo(std::vector<GroupState>& states);
    unsigned int getGroupsCount();

private:
    std::unique_ptr<CUploadManagerProxy> m_proxy;
};

}  // namespace vx_transfers
