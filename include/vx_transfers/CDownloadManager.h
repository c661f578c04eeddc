#pragma once

#include <string>

#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/export.h"

namespace vx_transfers {

// Downloads the files of buckets of the service into local folders; one group per bucket.
// Uses CTransferManagerBase::Configuration as it stands.
//
// Lifecycle: call CVxTransfersInitializer::initialize() and set the application files path
// of CVxTransfersGlobalConfig first. Constructing the manager restores the groups and files
// of an earlier run from the database but starts nothing. Then set the configuration,
// subscribe an ICallback and call startup(); call shutdown() before destroying the manager.
// A file is written under its final name plus ".dl" and renamed when complete. Failures of
// transfers never come back as results: they arrive as ICallback events.
class VX_TRANSFERS_API CDownloadManager : public CTransferManagerBase {
public:
    struct GroupState : CTransferManagerBase::GroupState {
        std::wstring downloadPath;  // the folder that the group's files go into
    };

    // One file to download.
    struct FileDownloadDetails {
        std::string fileId;                       // the service's id of the file
        std::wstring path;                        // relative to the group's download folder
        unsigned long long fileSize = 0;          // bytes
        unsigned long long modificationDate = 0;  // set on the finished file
        std::string md5;                          // digest as given by the service
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
};

}  // namespace vx_transfers
