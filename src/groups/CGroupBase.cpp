#include "groups/CGroupBase.h"

#include <exception>

#include "engines/ITransferEngineCallback.h"
#include "groups/CFailedGroupsRestarter.h"
#include "platform/Log.h"
#include "rest/CRestApiBucketStatusRetrieve.h"
#include "vx_transfers/CDownloadManager.h"
#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {

namespace {
// The logger's way of saying "no part": every bit of the part number set.
constexpr int kNoPart = -1;
}  // namespace

template <typename ICallback>
CGroupBase<ICallback>::CGroupBase(const GroupInitParams& params)
    : m_bucketId(params.bucketId),
      m_id(params.groupId),
      m_bucketToken(params.bucketToken),
      m_bucketType(params.bucketType),
      m_expirationDate(params.expirationDate),
      m_bucketExpired(false),
      m_retryCounter(0),
      m_logger(params.bucketId, static_cast<unsigned int>(params.groupId), std::string(), kNoPart),
      m_callback(static_cast<ICallback*>(params.callback)) {}

template <typename ICallback>
CGroupBase<ICallback>::~CGroupBase() = default;

template <typename ICallback>
void CGroupBase<ICallback>::pauseGroup() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    updateGroupState(CTransferManagerBase::GROUP_STATUS_PAUSED, transfer_defs::GROUP_ERROR_NONE);
    m_progress.Pause();
    onPause();
}

template <typename ICallback>
void CGroupBase<ICallback>::resumeGroup(bool autoRetry) {
    // No lock: the restarter's thread calls this and must never wait for a group.
    ITransferEngineCallback* engine = getEngineCallback();
    if (engine != nullptr) {
        engine->requestGroupResume(this, autoRetry);
    }
}

template <typename ICallback>
void CGroupBase<ICallback>::setCallback(void* callback) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_callback = static_cast<ICallback*>(callback);
}

template <typename ICallback>
void CGroupBase<ICallback>::getBucketId(std::string& bucketId) {
    bucketId = m_bucketId;
}

template <typename ICallback>
void CGroupBase<ICallback>::getBucketToken(std::string& bucketToken) {
    bucketToken = m_bucketToken;
}

template <typename ICallback>
int CGroupBase<ICallback>::getId() {
    return m_id;
}

template <typename ICallback>
void CGroupBase<ICallback>::resumeGroupAsync(bool autoRetry) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    try {
        updateGroupState(CTransferManagerBase::GROUP_STATUS_ACTIVE,
                         transfer_defs::GROUP_ERROR_NONE);
        // A group being resumed no longer waits for its automatic restart.
        unregisterAtRestarter();
        // A blocking REST call under the lock; the group is not running at this moment.
        updateExpiredFlag();
        if (!errorIfBucketExpiredFlagSet()) {
            return;
        }
        if (!autoRetry) {
            VXT_BLOG_WARNING(m_logger, "Group is manually resumed, resetting error counter");
            updateRetryCounter(0, true);
        }
        m_progress.Resume();
        onResume();
    } catch (const std::exception& e) {
        VXT_BLOG_ERROR(m_logger, "resumeGroupAsync"
                                     << ": exception: " << e.what());
    }
}

template <typename ICallback>
void CGroupBase<ICallback>::setRetryCounter(unsigned int value, bool updateDb) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    updateRetryCounter(value, updateDb);
}

template <typename ICallback>
void CGroupBase<ICallback>::updateRetryCounter(unsigned int value, bool updateDb) {
    VXT_BLOG_WARNING(m_logger, "Setting retry counter to " << value);
    m_retryCounter = value;
    if (updateDb) {
        onRetryCounterChanged();
    }
}

template <typename ICallback>
bool CGroupBase<ICallback>::isBucketExpired() {
    // Only an explicit answer of the service counts: a failed call means not expired.
    CRestApiBucketStatusRetrieve call;
    CRestApiBucketStatusRetrieve::RequestDetails request;
    request.bucketId = m_bucketId;
    request.token = m_bucketToken;
    if (call.sendRequest(request) != DT_SUCCESS) {
        return false;
    }
    CRestApiBucketStatusRetrieve::ResponseDetails details;
    if (call.receiveResponse(details) != DT_SUCCESS) {
        return false;
    }
    return details.status == CRestApiBucketStatusRetrieve::ResponseDetails::EXPIRED ||
           details.status == CRestApiBucketStatusRetrieve::ResponseDetails::DELETED;
}

template <typename ICallback>
void CGroupBase<ICallback>::updateExpiredFlag() {
    m_bucketExpired = isBucketExpired();
}

template <typename ICallback>
bool CGroupBase<ICallback>::errorIfBucketExpiredFlagSet() {
    if (!m_bucketExpired) {
        return true;
    }
    VXT_BLOG_ERROR(m_logger, "Group has expired! Bucket id: " << m_bucketId);
    updateGroupState(CTransferManagerBase::GROUP_STATUS_ERROR,
                     transfer_defs::GROUP_ERROR_BUCKET_EXPIRED);
    return false;
}

template <typename ICallback>
void CGroupBase<ICallback>::processError() {
    // Expiry is final: retrying cannot help.
    if (m_bucketExpired) {
        return;
    }
    m_progress.Pause();
    if (m_retryCounter < maxAutoRetries) {
        VXT_BLOG_INFO(m_logger, "Group " << m_id << ": error counter is: " << m_retryCounter);
        updateRetryCounter(m_retryCounter + 1, true);
        CFailedGroupsRestarter* restarter = CFailedGroupsRestarter::getInstance();
        if (restarter != nullptr) {
            restarter->registerFailedGroup(this);
        }
    } else {
        VXT_BLOG_ERROR(m_logger, "Group " << m_id << " has reached maximum number of auto retires ("
                                          << maxAutoRetries
                                          << "). Not registering group in group restarter. Group "
                                             "has to be restarted manually.");
        updateGroupState(CTransferManagerBase::GROUP_STATUS_PAUSED,
                         transfer_defs::GROUP_ERROR_NONE);
    }
}

template <typename ICallback>
void CGroupBase<ICallback>::unregisterAtRestarter() {
    CFailedGroupsRestarter* restarter = CFailedGroupsRestarter::getInstance();
    if (restarter != nullptr) {
        restarter->removeFailedGroup(this);
    }
}

template class CGroupBase<CUploadManager::ICallback>;
template class CGroupBase<CDownloadManager::ICallback>;

}  // namespace vx_transfers
