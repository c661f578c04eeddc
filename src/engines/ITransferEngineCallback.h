#pragma once

#include <Poco/SharedPtr.h>

#include "channels/ITransferChannel.h"

namespace vx_transfers {

class ITransferGroup;

// How groups speak to an engine. Every request is only posted on the engine's queue and
// carried out later on the engine's worker thread, so it may be made under any lock.
//
// The engines derive from this interface virtually (through their common base and through
// IUploadEngineCallback / IDownloadEngineCallback), so that one implementation of
// requestGroupResume serves both paths.
class ITransferEngineCallback {
public:
    // A channel handed to the engine, with the state restored for it.
    struct ChannelInfo {
        Poco::SharedPtr<ITransferChannel> channel;
        ITransferChannel::State state = ITransferChannel::StateStarted;
    };

    // Payload of a group resume request.
    struct GroupResumeInfo {
        ITransferGroup* group = nullptr;
        bool autoRetry = false;  // passed on to ITransferGroup::resumeGroupAsync
    };

    virtual ~ITransferEngineCallback() = default;

    virtual void requestGroupResume(ITransferGroup* group, bool autoRetry) = 0;
};

}  // namespace vx_transfers
