#pragma once

#include <string>
#include <utility>
#include <vector>

#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/export.h"

namespace vx_transfers {

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
};

}  // namespace vx_transfers
