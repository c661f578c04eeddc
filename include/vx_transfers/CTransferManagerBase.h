#pragma once

#include <string>

#include "vx_transfers/export.h"
#include "vx_transfers/transfer_defs.h"

namespace vx_transfers {

// Common base of CUploadManager and CDownloadManager and home of the records that both
// report to the application. All records are plain values: they are copied wherever they
// cross a layer, and a record handed to a callback is valid only during that call.
class VX_TRANSFERS_API CTransferManagerBase {
public:
    // State of one file in a FileState event. The numbers are stable; 3 is left free.
    enum FileStatus : int {
        FILE_STATUS_TRANSFERRING = 0,  // queued or moving data
        FILE_STATUS_COMPLETED = 1,     // done
        FILE_STATUS_ERROR = 2,         // failed; FileState::fileErrorType tells how
        FILE_STATUS_REMOVED = 4,       // internal: a group's files changed; never reported
    };

    // State of one group in a GroupState event. The numbers are stable.
    enum GroupStatus : int {
        GROUP_STATUS_NEW = 0,        // created, nothing reported yet
        GROUP_STATUS_ACTIVE = 1,     // running
        GROUP_STATUS_ERROR = 2,      // failed; GroupState::errorType tells how
        GROUP_STATUS_COMPLETED = 3,  // every file is done and the service was told
        GROUP_STATUS_PAUSED = 4,     // paused by the application, or after too many retries
    };

    // Settings shared by both managers. A default-constructed value holds the library's
    // defaults, so an application changes only the fields it cares about.
    struct VX_TRANSFERS_API Configuration {
        Configuration();

        unsigned int maxConcurrentTransfers;     // parts moving at once, over all groups; 2
        unsigned long long minMultipartSize;     // bytes; larger files go in parts; 50 MiB
        unsigned int maxTransferRetries;         // attempts per part before it fails; 3
        bool verifyUploads;                      // false
        bool preventSleep;                       // keep the machine awake while working; true
        unsigned long long throttleBytesPerSec;  // 0 means no limit; only 32 bits take effect
        unsigned long long reservedLimit;        // stored and returned, no effect; 0
        std::string restEndPoint;                // informational; REST calls use the global
                                                 // configuration's end-point
    };

    // One file event. groupId, bucketId and fileId say which file it is.
    struct FileState {
        int groupId = 0;
        std::string bucketId;
        std::string fileId;
        FileStatus status = FILE_STATUS_TRANSFERRING;
        transfer_defs::FileErrorType fileErrorType = transfer_defs::FILE_ERROR_NONE;
        unsigned long long bytesTransferred = 0;
        unsigned long long bytesTotal = 0;
        unsigned int speed = 0;        // bytes per second
        float percent = 0.0f;          // 100.0 for a file of size 0
        unsigned long long etaMs = 0;  // moment of completion, ms since the epoch; 0 unknown
    };

    // One group event.
    struct GroupState {
        GroupStatus status = GROUP_STATUS_NEW;
        transfer_defs::GroupErrorType errorType = transfer_defs::GROUP_ERROR_NONE;
        std::string bucketType;
        int groupId = 0;
        std::string bucketId;
        unsigned long long bytesTransferred = 0;  // sum over the group's files
        unsigned long long bytesTotal = 0;        // sum over the group's files
        unsigned int speed = 0;                   // bytes per second
        float percent = 0.0f;
        unsigned long long etaMs = 0;  // moment of completion, ms since the epoch
        bool empty = true;             // nothing pending or working; then speed
                                       // and etaMs are reported as 0
        bool paused = false;
        unsigned int retryCount = 0;  // automatic restarts used so far
    };

    virtual ~CTransferManagerBase();

    // Starts the manager's worker; restored and queued work begins.
    virtual void startup() = 0;
    // Stops the worker and every running transfer; their progress is kept for startup().
    virtual void shutdown() = 0;
};

}  // namespace vx_transfers
