#include "vx_transfers/CUploadManager.h"

#include <Poco/Exception.h>

#include <exception>
#include <new>

#include "managers/CUploadManagerProxy.h"
#include "platform/Log.h"

namespace vx_transfers {

namespace {

void logException(const char* method, const std::exception& e) {
    VXT_LOG_ERROR("Exception when executing method " << method << ": " << e.what());
}

// The proxy, or an exception for the fence when it could not be allocated.
CUploadManagerProxy& proxyOf(const std::unique_ptr<CUploadManagerProxy>& proxy) {
    if (!proxy) {
        throw Poco::NullPointerException("upload manager proxy");
    }
    return *proxy;
}

}  // namespace

CUploadManager::CUploadManager() : m_proxy(new (std::nothrow) CUploadManagerProxy()) {}

// The proxy's engine stops its worker if shutdown() was forgotten.
CUploadManager::~CUploadManager() = default;

CUploadManager::Configuration& CUploadManager::getConfiguration() {
    try {
        return proxyOf(m_proxy).getConfiguration();
    } catch (const std::exception& e) {
        logException("getConfiguration", e);
    }
    // The caller gets a reference it does not own; without a proxy there is nothing that could
    // own it, so this default record is never freed.
    return *new Configuration();
}

dt_error CUploadManager::setConfiguration(Configuration& configuration) {
    try {
        return proxyOf(m_proxy).setConfiguration(configuration);
    } catch (const std::exception& e) {
        logException("setConfiguration", e);
    }
    return DT_FAILURE;
}

int CUploadManager::createGroup(std::string& bucketId, std::string& bucketType,
                                std::string& bucketToken, unsigned long long expirationDate) {
    try {
        return proxyOf(m_proxy).createGroup(bucketId, bucketType, bucketToken, expirationDate);
    } catch (const std::exception& e) {
        logException("createGroup", e);
    }
    return -1;
}

int CUploadManager::findGroupByBucketId(std::string& bucketId) {
    try {
        return proxyOf(m_proxy).findGroupByBucketId(bucketId);
    } catch (const std::exception& e) {
        logException("findGroupByBucketId", e);
    }
    return -1;
}

void CUploadManager::subscribeToEvents(ICallback* callback) {
    try {
        proxyOf(m_proxy).subscribeToEvents(callback);
    } catch (const std::exception& e) {
        logException("subscribeToEvents", e);
    }
}

void CUploadManager::queueFiles(int groupId, std::vector<FileDesc>& files) {
    try {
        proxyOf(m_proxy).queueFiles(groupId, files);
    } catch (const std::exception& e) {
        logException("queueFiles", e);
    }
}

void CUploadManager::dequeueFile(int groupId, std::vector<FileDesc>& files) {
    try {
        proxyOf(m_proxy).dequeueFile(groupId, files);
    } catch (const std::exception& e) {
        logException("dequeueFile", e);
    }
}

void CUploadManager::markQueue(int groupId) {
    try {
        proxyOf(m_proxy).markQueue(groupId);
    } catch (const std::exception& e) {
        logException("markQueue", e);
    }
}

void CUploadManager::unmarkQueue(int groupId) {
    try {
        proxyOf(m_proxy).unmarkQueue(groupId);
    } catch (const std::exception& e) {
        logException("unmarkQueue", e);
    }
}

bool CUploadManager::isQueueMarked(int groupId) {
    try {
        return proxyOf(m_proxy).isQueueMarked(groupId);
    } catch (const std::exception& e) {
        logException("isQueueMarked", e);
    }
    return false;
}

dt_error CUploadManager::getGroupState(int groupId, GroupState& state) {
    try {
        return proxyOf(m_proxy).getGroupState(groupId, state);
    } catch (const std::exception& e) {
        logException("getGroupState", e);
    }
    return DT_FAILURE;
}

void CUploadManager::pauseGroup(int groupId) {
    try {
        proxyOf(m_proxy).pauseGroup(groupId);
    } catch (const std::exception& e) {
        logException("pauseGroup", e);
    }
}

void CUploadManager::resumeGroup(int groupId) {
    try {
        proxyOf(m_proxy).resumeGroup(groupId);
    } catch (const std::exception& e) {
        logException("resumeGroup", e);
    }
}

void CUploadManager::cancelGroup(int groupId) {
    try {
        proxyOf(m_proxy).cancelGroup(groupId);
    } catch (const std::exception& e) {
        logException("cancelGroup", e);
    }
}

void CUploadManager::startup() {
    try {
        proxyOf(m_proxy).startup();
    } catch (const std::exception& e) {
        logException("startup", e);
    }
}

void CUploadManager::shutdown() {
    try {
        proxyOf(m_proxy).shutdown();
    } catch (const std::exception& e) {
        logException("shutdown", e);
    }
}

bool CUploadManager::hasActiveTransfers() {
    try {
        return proxyOf(m_proxy).hasActiveTransfers();
    } catch (const std::exception& e) {
        logException("hasActiveTransfers", e);
    }
    return false;
}

void CUploadManager::fetchGroupsInfo(std::vector<GroupState>& states) {
    try {
        proxyOf(m_proxy).fetchGroupsInfo(states);
    } catch (const std::exception& e) {
        logException("fetchGroupsInfo", e);
    }
}

unsigned int CUploadManager::getGroupsCount() {
    try {
        return proxyOf(m_proxy).getGroupsCount();
    } catch (const std::exception& e) {
        logException("getGroupsCount", e);
    }
    return 0;
}

}  // namespace vx_transfers
