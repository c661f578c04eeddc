#pragma once

#include <Poco/Mutex.h>

#include <string>

#include "groups/GroupInitParams.h"
#include "groups/ITransferGroup.h"
#include "memory/CTransferProgressTracker.h"
#include "platform/CBucketSpecificLogger.h"

namespace vx_transfers {

// What upload and download groups share: identity, lock, retry counter, the bucket-expired flag
// and the progress tracker, with the manual and automatic resume paths and the error handling
// that sends a failed group to the restarter. Instantiated (in CGroupBase.cpp) for
// CUploadManager::ICallback and CDownloadManager::ICallback.
template <typename ICallback>
class CGroupBase : public ITransferGroup {
public:
    // A group gets at most this many automatic restarts; then it pauses until resumed by hand.
    static constexpr unsigned int maxAutoRetries = 10;

    explicit CGroupBase(const GroupInitParams& params);
    ~CGroupBase() override;

    void pauseGroup() override;
    void resumeGroup(bool autoRetry) override;
    void cancelGroup() override {}
    void loadInfoFromDb() override {}
    void setCallback(void* callback) override;
    void getBucketId(std::string& bucketId) override;
    void getBucketToken(std::string& bucketToken) override;
    int getId() override;
    void resumeGroupAsync(bool autoRetry) override;
    void setRetryCounter(unsigned int value, bool updateDb) override;
    bool isBucketExpired() override;
    void updateExpiredFlag() override;
    void processError() override;
    void unregisterAtRestarter() override;
    bool errorIfBucketExpiredFlagSet() override;

protected:
    // Caller holds m_mutex.
    void updateRetryCounter(unsigned int value, bool updateDb);

    std::string m_bucketId;
    int m_id;
    std::string m_bucketToken;
    std::string m_bucketType;
    unsigned long long m_expirationDate;
    std::string m_reserved1;  // never set
    std::string m_reserved2;  // never set
    bool m_bucketExpired;
    unsigned int m_retryCounter;
    CBucketSpecificLogger m_logger;
    CTransferProgressTracker m_progress;
    ICallback* m_callback;
    Poco::FastMutex m_mutex;
};

}  // namespace vx_transfers
