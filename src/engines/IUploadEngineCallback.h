#pragma once

#include <Poco/SharedPtr.h>

#include <list>
#include <vector>

#include "engines/ITransferEngineCallback.h"
#include "files/IUploadFile.h"
#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {

class CUploadGroup;

// The upload engine as upload groups see it. Each request copies its arguments into a
// request on the engine's queue; the caller keeps its lists.
class IUploadEngineCallback : public virtual ITransferEngineCallback {
public:
    ~IUploadEngineCallback() override = default;

    virtual void requestUploadCancel(std::list<Poco::SharedPtr<IUploadFile>>& files) = 0;
    virtual void requestUploadPause(std::list<Poco::SharedPtr<IUploadFile>>& files) = 0;
    virtual void requestUploadResume(std::list<Poco::SharedPtr<IUploadFile>>& files) = 0;
    // A file whose channels are to wait in the paused list until the file is resumed.
    virtual void requestFileAddPaused(Poco::SharedPtr<IUploadFile>& file) = 0;
    virtual void requestGroupRemove(CUploadGroup* group) = 0;
    virtual void requestGroupMark(CUploadGroup* group) = 0;
    virtual void requestFilesInitialize(CUploadGroup* group,
                                        std::vector<CUploadManager::FileDesc>& files) = 0;
};

}  // namespace vx_transfers
