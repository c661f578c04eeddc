#pragma once

#include <Poco/SharedPtr.h>

#include <list>
#include <string>

#include "channels/ITransferChannel.h"
#include "files/ITransferFile.h"
#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/dt_error.h"

namespace vx_transfers {

class CUploadGroup;

// One file of an upload group, as its group and the upload engine see it. The group owns it;
// the pointer to the group is plain and cleared by uninitialize().
class IUploadFile : public ITransferFile {
public:
    // A file new to the group: records it in the database and creates its channels.
    virtual dt_error initialize(CUploadManager::FileDesc& desc, CUploadGroup* group,
                                bool calculateMd5, unsigned long long bufferSize) = 0;
    // Lets go of the group and of the channels' pointers back to this file.
    virtual void uninitialize() = 0;
    // A file restored from the database, with the multipart upload id it had.
    virtual void initFromDb(CUploadManager::FileDesc& desc, CUploadGroup* group,
                            std::string& uploadId, bool paused, unsigned long long bufferSize) = 0;
    // Checks a restored file and makes what its channels need; run when
    // isPrepareForUploadRequired() says so, before the channels start.
    virtual dt_error prepareForUpload() = 0;
    virtual bool isPrepareForUploadRequired() = 0;
    virtual void cancelUpload() = 0;
    virtual unsigned long long getFileSize() = 0;
    virtual void getOriginalFileDesc(CUploadManager::FileDesc& desc) = 0;
    // Delegate of the channels' progress events.
    virtual void onProgress(const long long& delta) = 0;
    // All channels of the file.
    virtual void getChannelVector(std::list<Poco::SharedPtr<ITransferChannel>>& channels) = 0;
    // The channels that still have to run.
    virtual void getChannelsToTransfer(std::list<Poco::SharedPtr<ITransferChannel>>& channels) = 0;
    virtual CUploadGroup* getParentGroup() = 0;
    virtual void removeFromDb() = 0;
    // Makes a failed file work again when its group is retried.
    virtual void resetErrorState() = 0;
    virtual void getFileState(CTransferManagerBase::FileState& state) = 0;
};

}  // namespace vx_transfers
