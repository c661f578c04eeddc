#include "managers/CUploadManagerProxy.h"

#include <Poco/Delegate.h>

#include "db/CDatabaseDumpAnalyzer.h"
#include "groups/CUploadGroup.h"
#include "managers/CSleepPreventerCounterProxy.h"
#include "managers/startup/CSingleton.h"
#include "managers/startup/CVersionInfo.h"
#include "platform/Log.h"
#include "platform/porting/string_convert.h"
#include "rest/CFileProgressSender.h"

namespace vx_transfers {

namespace {

const unsigned long long kDefaultMinMultipartSize = 52428800ULL;

}  // namespace

CUploadManagerProxy::CUploadManagerProxy()
    : m_config(),
      m_groupManager(),
      m_callback(nullptr),
      m_engine(m_groupManager, m_config.maxConcurrentTransfers, m_config.maxTransferRetries,
               static_cast<unsigned int>(m_config.throttleBytesPerSec)),
      m_sslInitializer() {
    std::string selfVersion;
    std::string osVersion;
    if (CVersionInfo* versionInfo = CVersionInfo::getInstance()) {
        versionInfo->getSelfVersion(selfVersion);
        versionInfo->getOsVersion(osVersion);
    }
    VXT_LOG_INFO("");
    VXT_LOG_INFO("----- Initializing Upload Manager: " << selfVersion << " -----");
    VXT_LOG_INFO("***** OS Info: " << osVersion << " *****");
    VXT_LOG_INFO("");
    VXT_LOG_INFO("Default configuration:");

    m_groupManager.setTransferEngineCallback(&m_engine);
    logConfiguration();
    updateProgressSenderConfig();

    // The callback is still null here: subscribeToEvents hands the real one to the restored
    // groups.
    if (CDatabaseDumpAnalyzer* analyzer = CSingleton<CDatabaseDumpAnalyzer>::getInstance()) {
        analyzer->loadUploadData();
        m_groupManager.createGroupsFromDbInfo(m_callback, m_config.minMultipartSize,
                                              m_config.verifyUploads);
        analyzer->unloadUploadData();
    }

    if (m_config.preventSleep) {
        subscribeActiveTransfers();
    }
}

CUploadManagerProxy::~CUploadManagerProxy() {
    if (m_config.preventSleep) {
        unsubscribeActiveTransfers();
    }
}

CUploadManager::Configuration& CUploadManagerProxy::getConfiguration() { return m_config; }

dt_error CUploadManagerProxy::setConfiguration(CUploadManager::Configuration& newConfiguration) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (!m_config.preventSleep && newConfiguration.preventSleep) {
        subscribeActiveTransfers();
    } else if (m_config.preventSleep && !newConfiguration.preventSleep) {
        unsubscribeActiveTransfers();
    }

    m_config = newConfiguration;
    if (m_config.minMultipartSize == 0) {
        m_config.minMultipartSize = kDefaultMinMultipartSize;
    }

    m_engine.setMaxConcurrentTransfers(m_config.maxConcurrentTransfers);
    m_engine.setMaxTransferRetries(m_config.maxTransferRetries);
    // The engine works in 32 bits: only the low half of the setting takes effect.
    m_engine.setMaxUploadSpeed(static_cast<unsigned int>(m_config.throttleBytesPerSec));

    VXT_LOG_INFO("Upload manager configuration changed. New configuration:");
    logConfiguration();
    updateProgressSenderConfig();
    return DT_SUCCESS;
}

int CUploadManagerProxy::createGroup(std::string& bucketId, std::string& bucketType,
                                     std::string& bucketToken, unsigned long long expirationDate) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CUploadGroup::TransferGroupInitParams params;
    params.bucketId = bucketId;
    params.bucketType = bucketType;
    params.bucketToken = bucketToken;
    params.expirationDate = expirationDate;
    params.callback = m_callback;
    params.minMultipartSize = m_config.minMultipartSize;
    params.verifyUploads = m_config.verifyUploads;
    const int id = m_groupManager.createGroup(params);
    VXT_LOG_INFO("Created group with id: " << id << ". Bucket id: " << bucketId
                                           << ". Bucket token: " << bucketToken);
    return id;
}

int CUploadManagerProxy::findGroupByBucketId(std::string& bucketId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    const int id = m_groupManager.findGroupByBucketId(bucketId);
    if (id == -1) {
        VXT_LOG_WARNING("findGroupByBucketId"
                        << ": Unable to find group associated with bucked id " << bucketId);
    }
    return id;
}

void CUploadManagerProxy::subscribeToEvents(CUploadManager::ICallback* callback) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_callback = callback;
    m_groupManager.passCallbackToGroups(callback);
}

CUploadGroup* CUploadManagerProxy::findUploadGroup(int groupId, const char* operation,
                                                   CGroupManagerBase::GroupPtr& holder) {
    holder = m_groupManager.getGroupById(groupId);
    CUploadGroup* group = dynamic_cast<CUploadGroup*>(holder.get());
    if (group == nullptr) {
        VXT_LOG_WARNING(operation << ": Unable to find group with id " << groupId);
    }
    return group;
}

void CUploadManagerProxy::queueFiles(int groupId, std::vector<CUploadManager::FileDesc>& files) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr holder;
    CUploadGroup* group = findUploadGroup(groupId, "queueFiles", holder);
    if (group == nullptr) {
        return;
    }
    group->queueFiles(files);
    m_engine.filesAdded();
    VXT_LOG_INFO("Adding the following files to group with id " << groupId << ": ");
    logFileDescVector(files);
}

void CUploadManagerProxy::dequeueFile(int groupId, std::vector<CUploadManager::FileDesc>& files) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr holder;
    CUploadGroup* group = findUploadGroup(groupId, "dequeueFile", holder);
    if (group == nullptr) {
        return;
    }
    group->dequeueFile(files);
    VXT_LOG_INFO("Removing the following files from group with id " << groupId << ": ");
    logFileDescVector(files);
}

void CUploadManagerProxy::markQueue(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr holder;
    CUploadGroup* group = findUploadGroup(groupId, "markQueue", holder);
    if (group == nullptr) {
        return;
    }
    group->markQueue(false);
    VXT_LOG_INFO("Marked group with id " << groupId);
}

void CUploadManagerProxy::unmarkQueue(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr holder;
    CUploadGroup* group = findUploadGroup(groupId, "unmarkQueue", holder);
    if (group == nullptr) {
        return;
    }
    group->unmarkQueue();
    VXT_LOG_INFO("Unmarked group with id " << groupId);
}

bool CUploadManagerProxy::isQueueMarked(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr holder;
    CUploadGroup* group = findUploadGroup(groupId, "isQueueMarked", holder);
    return group != nullptr && group->isQueueMarked();
}

dt_error CUploadManagerProxy::getGroupState(int groupId, CUploadManager::GroupState& state) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr holder = m_groupManager.getGroupById(groupId);
    CUploadGroup* group = dynamic_cast<CUploadGroup*>(holder.get());
    if (group == nullptr) {
        // Reported to the caller through the result only.
        return DT_INVALID_ARGUMENT;
    }
    group->getGroupState(state);
    return DT_SUCCESS;
}

void CUploadManagerProxy::pauseGroup(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr group = m_groupManager.getGroupById(groupId);
    if (group.isNull()) {
        VXT_LOG_WARNING("pauseGroup"
                        << ": Unable to find group with id " << groupId);
        return;
    }
    group->pauseGroup();
    VXT_LOG_INFO("Pausing group with id " << groupId);
}

void CUploadManagerProxy::resumeGroup(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr group = m_groupManager.getGroupById(groupId);
    if (group.isNull()) {
        VXT_LOG_WARNING("resumeGroup"
                        << ": Unable to find group with id " << groupId);
        return;
    }
    group->resumeGroup(false);
    VXT_LOG_INFO("Resuming group with id " << groupId);
}

void CUploadManagerProxy::cancelGroup(int groupId) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    CGroupManagerBase::GroupPtr group = m_groupManager.getGroupById(groupId);
    if (group.isNull()) {
        VXT_LOG_WARNING("cancelGroup"
                        << ": Unable to find group with id " << groupId);
        return;
    }
    group->cancelGroup();
    VXT_LOG_INFO("Canceling group with id " << groupId);
}

void CUploadManagerProxy::startup() {
    VXT_LOG_INFO("Starting up upload engine!");
    m_engine.init();
    m_engine.filesAdded();
    publishGroupState();
}

void CUploadManagerProxy::shutdown() {
    VXT_LOG_INFO("Shutting down upload engine!");
    m_engine.uninit();
}

bool CUploadManagerProxy::hasActiveTransfers() { return m_engine.hasActiveTransfers(); }

void CUploadManagerProxy::fetchGroupsInfo(std::vector<CUploadManager::GroupState>& states) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    fetchGroupsInfoNoLock(states);
}

unsigned int CUploadManagerProxy::getGroupsCount() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return static_cast<unsigned int>(m_groupManager.size());
}

void CUploadManagerProxy::fetchGroupsInfoNoLock(std::vector<CUploadManager::GroupState>& states) {
    // A copy: the engine's thread drops finished groups from the registry without our lock.
    CGroupManagerBase::GroupList groups;
    m_groupManager.getGroups(groups);
    for (CGroupManagerBase::GroupPtr& entry : groups) {
        CUploadGroup* group = dynamic_cast<CUploadGroup*>(entry.get());
        if (group == nullptr) {
            continue;
        }
        CUploadManager::GroupState state;
        state.queueMarked = false;
        group->getGroupState(state);
        states.push_back(state);
    }
}

void CUploadManagerProxy::publishGroupState() {
    if (m_callback == nullptr) {
        return;
    }
    std::vector<CUploadManager::GroupState> states;
    fetchGroupsInfoNoLock(states);
    for (CUploadManager::GroupState& state : states) {
        m_callback->onGroupStateChanged(state);
    }
}

void CUploadManagerProxy::activeTransfersCallback(const void* /*sender*/, const bool& active) {
    CSleepPreventerCounterProxy* counter = CSingleton<CSleepPreventerCounterProxy>::getInstance();
    if (counter == nullptr) {
        return;
    }
    if (active) {
        counter->sleepCounterIncrement();
    } else {
        counter->sleepCounterDecrement();
    }
}

void CUploadManagerProxy::subscribeActiveTransfers() {
    m_engine.m_activeTransfersEvent +=
        Poco::delegate(this, &CUploadManagerProxy::activeTransfersCallback);
}

void CUploadManagerProxy::unsubscribeActiveTransfers() {
    m_engine.m_activeTransfersEvent -=
        Poco::delegate(this, &CUploadManagerProxy::activeTransfersCallback);
}

void CUploadManagerProxy::logConfiguration() {
    VXT_LOG_INFO("\tPrevent Sleep: " << (m_config.preventSleep ? 1 : 0));
    VXT_LOG_INFO("\tVerify Uploads: " << (m_config.verifyUploads ? 1 : 0));
    VXT_LOG_INFO("\tMax concurent transfers: " << m_config.maxConcurrentTransfers);
    VXT_LOG_INFO("\tMax transfer retries: " << m_config.maxTransferRetries);
    VXT_LOG_INFO("\tMin multipart size: " << m_config.minMultipartSize);
    VXT_LOG_INFO(
        "\tServer transfer progress interval: " << m_config.serverTransferProgressInterval);
    VXT_LOG_INFO("\tTrottle Bytes/Sec: " << m_config.throttleBytesPerSec);
    VXT_LOG_INFO("\tREST End-point: " << m_config.restEndPoint);
}

void CUploadManagerProxy::updateProgressSenderConfig() {
    if (CFileProgressSender* sender = CFileProgressSender::getInstance()) {
        sender->setSendInterval(m_config.serverTransferProgressInterval / 1000);
    }
}

void CUploadManagerProxy::logFileDescVector(std::vector<CUploadManager::FileDesc>& files) {
    for (const CUploadManager::FileDesc& file : files) {
        VXT_LOG_INFO("\t file url: " << string_convert::toNarrow(file.fileUrl)
                                     << "; file uid: " << file.fileUid << "; url: " << file.url);
        if (!file.additionalHttpHeaders.empty()) {
            VXT_LOG_INFO("\t additional http headers: ");
            for (const std::pair<std::string, std::string>& header : file.additionalHttpHeaders) {
                VXT_LOG_INFO("\t\t" << header.first << ": " << header.second);
            }
        }
    }
}

void CUploadManagerProxy::getAllChannelsForFile(std::vector<CChannelsDbInfo::ChannelInfo>& channels,
                                                const std::string& fileUid,
                                                std::vector<CChannelsDbInfo::ChannelInfo>& result) {
    for (const CChannelsDbInfo::ChannelInfo& channel : channels) {
        if (channel.fileUid == fileUid) {
            result.push_back(channel);
        }
    }
}

void CUploadManagerProxy::feedChannelsToUploadEngine(
    std::list<Poco::SharedPtr<ITransferChannel>>& channels,
    std::vector<CChannelsDbInfo::ChannelInfo>& infos, bool groupPaused) {
    std::vector<CChannelsDbInfo::ChannelInfo>::iterator info = infos.begin();
    for (Poco::SharedPtr<ITransferChannel>& channel : channels) {
        if (info == infos.end()) {
            break;
        }
        ITransferEngineCallback::ChannelInfo channelInfo;
        channelInfo.channel = channel;
        channelInfo.state = static_cast<ITransferChannel::State>(info->state);
        if (groupPaused && channelInfo.state == ITransferChannel::StateStarted) {
            channelInfo.state = ITransferChannel::StatePaused;
        } else if (!groupPaused && channelInfo.state == ITransferChannel::StatePaused) {
            VXT_LOG_WARNING(
                "Restoring state from DB: channel has state paused, but parent group is not. "
                "Resetting channel state to transfering...");
            channelInfo.state = ITransferChannel::StateStarted;
        }
        m_engine.requestChannelAdd(channelInfo);
        ++info;
    }
}

bool CUploadManagerProxy::isAnyChannelErrored(std::vector<CChannelsDbInfo::ChannelInfo>& infos) {
    for (const CChannelsDbInfo::ChannelInfo& info : infos) {
        if (info.state == ITransferChannel::StateFailed) {
            return true;
        }
    }
    return false;
}

}  // namespace vx_transfers
