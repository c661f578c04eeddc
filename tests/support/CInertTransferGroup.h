#pragma once

#include <string>

#include "groups/ITransferGroup.h"

namespace vxt_test {

// A group on which every operation does nothing and answers "nothing to report": the base of
// the test groups that record the few operations a test looks at.
class CInertTransferGroup : public vx_transfers::ITransferGroup {
public:
    void pauseGroup() override {}
    void resumeGroup(bool) override {}
    void cancelGroup() override {}
    bool isPaused() override { return false; }
    void loadInfoFromDb() override {}
    void setCallback(void*) override {}
    void getBucketId(std::string& bucketId) override { bucketId.clear(); }
    void getBucketToken(std::string& token) override { token.clear(); }
    int getId() override { return 0; }
    void resumeGroupAsync(bool) override {}
    void setRetryCounter(unsigned int, bool) override {}
    void onResume() override {}
    void updateGroupState(vx_transfers::CTransferManagerBase::GroupStatus,
                          vx_transfers::transfer_defs::GroupErrorType) override {}
    void onPause() override {}
    vx_transfers::ITransferEngineCallback* getEngineCallback() override { return nullptr; }
    void onRetryCounterChanged() override {}
    bool isBucketExpired() override { return false; }
    void updateExpiredFlag() override {}
    void processError() override {}
    void unregisterAtRestarter() override {}
    bool errorIfBucketExpiredFlagSet() override { return true; }
};

}  // namespace vxt_test
