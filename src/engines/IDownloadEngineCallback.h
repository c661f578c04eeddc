#pragma once

#include <Poco/SharedPtr.h>

#include <list>
#include <vector>

#include "engines/ITransferEngineCallback.h"
#include "vx_transfers/CDownloadManager.h"

namespace vx_transfers {

class CDownloadFile;
class CDownloadGroup;

// The download engine as download groups see it. Each request copies its arguments into a
// request on the engine's queue; the caller keeps its lists.
class IDownloadEngineCallback : public virtual ITransferEngineCallback {
public:
    ~IDownloadEngineCallback() override = default;

    virtual void requestDownloadCancel(std::list<Poco::SharedPtr<CDownloadFile>>& files) = 0;
    virtual void requestDownloadPause(std::list<Poco::SharedPtr<CDownloadFile>>& files) = 0;
    virtual void requestDownloadResume(std::list<Poco::SharedPtr<CDownloadFile>>& files) = 0;
    // A file whose channels are to wait in the paused list until the file is resumed.
    virtual void requestFileAddPaused(Poco::SharedPtr<CDownloadFile>& file) = 0;
    virtual void requestGroupRemove(CDownloadGroup* group) = 0;
    virtual void requestFilesInit(CDownloadGroup* group,
                                  std::vector<CDownloadManager::FileDownloadDetails>& files) = 0;
};

}  // namespace vx_transfers
