#pragma once

#include <string>

#include "vx_transfers/CTransferManagerBase.h"
#include "vx_transfers/transfer_defs.h"

namespace vx_transfers {

class ITransferEngineCallback;

// One group (one bucket), as the engines, the registry and the restarter of failed groups
// see it. Operations marked "caller's lock" expect the group's lock to be held.
class ITransferGroup {
public:
    virtual ~ITransferGroup() = default;

    virtual void pauseGroup() = 0;
    // Takes no lock: posts the resume to the engine, whose thread runs resumeGroupAsync().
    virtual void resumeGroup(bool autoRetry) = 0;
    virtual void cancelGroup() = 0;
    virtual bool isPaused() = 0;
    virtual void loadInfoFromDb() = 0;
    // The manager's ICallback of the group's direction.
    virtual void setCallback(void* callback) = 0;
    virtual void getBucketId(std::string& bucketId) = 0;
    virtual void getBucketToken(std::string& bucketToken) = 0;
    virtual int getId() = 0;
    // The resume itself, on the engine's thread. A manual resume (autoRetry false) resets the
    // retry counter.
    virtual void resumeGroupAsync(bool autoRetry) = 0;
    virtual void setRetryCounter(unsigned int value, bool updateDb) = 0;
    virtual void onResume() = 0;  // caller's lock
    virtual void updateGroupState(CTransferManagerBase::GroupStatus status,
                                  transfer_defs::GroupErrorType errorType) = 0;  // caller's lock
    virtual void onPause() = 0;                                                  // caller's lock
    // May be null when the group is not attached to an engine.
    virtual ITransferEngineCallback* getEngineCallback() = 0;
    virtual void onRetryCounterChanged() = 0;  // caller's lock
    // Asks the service; a failed call counts as not expired.
    virtual bool isBucketExpired() = 0;
    virtual void updateExpiredFlag() = 0;  // caller's lock
    virtual void processError() = 0;       // caller's lock
    virtual void unregisterAtRestarter() = 0;
    // False (and the group in error) when the bucket was found expired; true means go on.
    virtual bool errorIfBucketExpiredFlagSet() = 0;  // caller's lock
};

}  // namespace vx_transfers
