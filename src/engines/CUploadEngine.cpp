#include "engines/CUploadEngine.h"

#include <Poco/Bugcheck.h>

#include <exception>
#include <typeinfo>

#include "groups/CGroupManager.h"
#include "groups/CUploadGroup.h"
#include "platform/Log.h"

namespace vx_transfers {

namespace {

using RequestType = CTransferEngineRequestQueue::RequestType;

// The payload as T, or null when it holds something else.
template <typename T>
T* payloadAs(Poco::Any& payload) {
    if (payload.type() != typeid(T)) {
        return nullptr;
    }
    return &Poco::RefAnyCast<T>(payload);
}

}  // namespace

CUploadEngine::CUploadEngine(CGroupManager& groupManager, unsigned int maxConcurrentTransfers,
                             unsigned int maxRetries, unsigned int maxSpeed)
    : CTransferEngineBase(groupManager, maxConcurrentTransfers, maxRetries, maxSpeed) {}

CUploadEngine::~CUploadEngine() {
    if (m_workerThread.isRunning()) {
        uninit();
    }
}

void CUploadEngine::run() {
    VXT_LOG_INFO("Starting worker thread in upload engine");
    bool stop = false;
    while (!stop) {
        try {
            // Fresh values each turn, so that a pop that took nothing is not taken for the
            // previous request.
            RequestType type = static_cast<RequestType>(0);
            Poco::Any payload;
            m_requestQueue.PopRequest(type, payload);
            stop = handleRequest(type, payload);
        } catch (const std::exception& e) {
            VXT_LOG_ERROR("Uncaught exception in upload engine: " << e.what());
        }
    }
    VXT_LOG_INFO("Exiting worker thread in upload engine");
}

bool CUploadEngine::handleRequest(RequestType type, Poco::Any& payload) {
    switch (type) {
        case CTransferEngineRequestQueue::REQUEST_INITIATE_TRANSFERS:
            initiateTransfers();
            break;
        case CTransferEngineRequestQueue::REQUEST_CHANNEL_ADD:
            handleChannelAdd(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_FILES_CANCEL:
            handleFilesCancel(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_FILES_PAUSE:
            handlePauseRequest(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_CHANNEL_PAUSED:
            handleChannelPause(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_FILES_RESUME:
            handleResume(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_TRANSFER_COMPLETE:
            handleUploadComplete(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_TRANSFER_ERROR:
            handleUploadError(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_FILE_ADD_PAUSED:
            handleFileAddPaused(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE:
            // A group leaves the engine only through removeChannel, once its last channel is
            // gone; removing it here could drop a group whose files still run.
            break;
        case CTransferEngineRequestQueue::REQUEST_STOP:
            stopAllActive();
            return true;
        case CTransferEngineRequestQueue::REQUEST_FILES_INITIALIZE:
            handleFilesInitialize(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_GROUP_MARK:
            handleGroupMark(payload);
            break;
        case CTransferEngineRequestQueue::REQUEST_GROUP_RESUME:
            handleGroupResume(payload);
            break;
        default:
            break;
    }
    return false;
}

// --- Requests ----------------------------------------------------------------------------------

void CUploadEngine::requestUploadCancel(std::list<Poco::SharedPtr<IUploadFile>>& files) {
    Poco::Any payload(files);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_FILES_CANCEL, payload);
}

void CUploadEngine::requestUploadPause(std::list<Poco::SharedPtr<IUploadFile>>& files) {
    Poco::Any payload(files);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_FILES_PAUSE, payload);
}

void CUploadEngine::requestUploadResume(std::list<Poco::SharedPtr<IUploadFile>>& files) {
    Poco::Any payload(files);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_FILES_RESUME, payload);
}

void CUploadEngine::requestFileAddPaused(Poco::SharedPtr<IUploadFile>& file) {
    Poco::Any payload(file);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_FILE_ADD_PAUSED, payload);
}

void CUploadEngine::requestGroupRemove(CUploadGroup* group) {
    Poco::Any payload(group);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_GROUP_REMOVE, payload);
}

void CUploadEngine::requestGroupMark(CUploadGroup* group) {
    Poco::Any payload(group);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_GROUP_MARK, payload);
}

void CUploadEngine::requestFilesInitialize(CUploadGroup* group,
                                           std::vector<CUploadManager::FileDesc>& files) {
    FileInitInfo info;
    info.group = group;
    info.files = files;
    Poco::Any payload(info);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_FILES_INITIALIZE, payload);
}

void CUploadEngine::requestChannelAdd(ChannelInfo& info) {
    Poco::Any payload(info);
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_CHANNEL_ADD, payload);
}

// --- Life cycle and settings -------------------------------------------------------------------

void CUploadEngine::init() {
    const bool running = m_workerThread.isRunning();
    VXT_LOG_INFO("Initializing upload engine. Worker thread running: " << running);
    if (!running) {
        m_workerThread.start(*this);
    }
}

void CUploadEngine::uninit() {
    VXT_LOG_INFO("Uninitializing upload engine");
    // Posted even without a worker: the next one then stops as soon as it gets there.
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_STOP);
    if (m_workerThread.isRunning()) {
        try {
            m_workerThread.join();
        } catch (const std::exception& e) {
            VXT_LOG_ERROR("Unable to join thread in uninit. Exception: " << e.what());
        }
    }
}

void CUploadEngine::filesAdded() {
    m_requestQueue.AddRequest(CTransferEngineRequestQueue::REQUEST_INITIATE_TRANSFERS);
}

void CUploadEngine::setMaxConcurrentTransfers(unsigned int maxConcurrentTransfers) {
    if (maxConcurrentTransfers != 0) {
        m_maxConcurrentTransfers = maxConcurrentTransfers;
    }
}

void CUploadEngine::setMaxTransferRetries(unsigned int maxRetries) { m_maxRetries = maxRetries; }

void CUploadEngine::setMaxUploadSpeed(unsigned int maxSpeed) { m_maxSpeed = maxSpeed; }

// --- Scheduling --------------------------------------------------------------------------------

CTransferEngineBase::ChannelPtr CUploadEngine::popChannelFromActiveGroup(
    ChannelList& pendingChannels, GroupList& activeGroups) {
    for (GroupPtr& activeGroup : activeGroups) {
        CUploadGroup* group = dynamic_cast<CUploadGroup*>(activeGroup.get());
        if (group == nullptr) {
            continue;
        }
        FilePtr file = group->popFileForUpload();
        if (file.isNull()) {
            continue;
        }
        // The group that gave a file keeps the engine, even if the file had nothing to run.
        ChannelList channels;
        file->getChannelsToTransfer(channels);
        VXT_LOG_INFO("Upload Engine: got new file for upload. It has " << channels.size()
                                                                       << " channels.");
        pendingChannels.insert(pendingChannels.end(), channels.begin(), channels.end());
        return popFirstFromVector(pendingChannels);
    }
    return ChannelPtr();
}

void CUploadEngine::initiateTransfers() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    initiateTransfersNoLock(false);
}

// --- Handlers ----------------------------------------------------------------------------------

void CUploadEngine::handleChannelAdd(Poco::Any& payload) {
    ChannelInfo* info = payloadAs<ChannelInfo>(payload);
    if (info == nullptr || info->channel.isNull()) {
        return;
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (info->state != ITransferChannel::StatePaused) {
        m_pendingChannels.push_back(info->channel);
    } else {
        // Alive, but waiting at its pause point until the file is resumed.
        info->channel->pause();
        startChannel(info->channel);
        m_pausedChannels.push_back(info->channel);
    }
    initiateTransfersNoLock(false);
}

void CUploadEngine::handleFilesCancel(Poco::Any& payload) {
    FileList* files = payloadAs<FileList>(payload);
    if (files == nullptr) {
        return;
    }
    for (FilePtr& file : *files) {
        cancelFileUpload(file);
    }
    initiateTransfersNoLock(true);
}

void CUploadEngine::handlePauseRequest(Poco::Any& payload) {
    FileList* files = payloadAs<FileList>(payload);
    if (files == nullptr) {
        return;
    }
    for (FilePtr& file : *files) {
        if (!file.isNull()) {
            pauseFileUpload(file);
        }
    }
    initiateTransfersNoLock(true);
}

void CUploadEngine::handleChannelPause(Poco::Any& payload) {
    const ITransferChannel** channel = payloadAs<const ITransferChannel*>(payload);
    if (channel == nullptr) {
        return;
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    ChannelList::iterator it = findInVector(m_activeChannels, *channel);
    // A channel resumed between its pause and this request stays where it is.
    if (it != m_activeChannels.end() && (*it)->isPaused()) {
        m_pausedChannels.push_front(*it);
        m_activeChannels.erase(it);
    }
    initiateTransfersNoLock(true);
}

void CUploadEngine::handleResume(Poco::Any& payload) {
    FileList* files = payloadAs<FileList>(payload);
    if (files == nullptr) {
        return;
    }
    for (FilePtr& file : *files) {
        resumeFileUpload(file);
    }
    initiateTransfers();
}

void CUploadEngine::handleUploadComplete(Poco::Any& payload) {
    const ITransferChannel** channel = payloadAs<const ITransferChannel*>(payload);
    if (channel == nullptr) {
        return;
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    ChannelList::iterator it = findInVector(m_activeChannels, *channel);
    if (it == m_activeChannels.end()) {
        // Cancelled while it completed: already gone.
        return;
    }
    removeChannel(*it);
    initiateTransfersNoLock(true);
}

void CUploadEngine::handleUploadError(Poco::Any& payload) {
    const ITransferChannel** failed = payloadAs<const ITransferChannel*>(payload);
    if (failed == nullptr) {
        return;
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    ChannelList::iterator failedIt = findInVector(m_activeChannels, *failed);
    if (failedIt == m_activeChannels.end()) {
        return;
    }
    // The whole file is parked, its channels alive at their pause point, ready to be resumed;
    // the error itself reaches the group through the file.
    const ITransferFile* file = (*failedIt)->getParent();
    for (ChannelList::iterator it = m_activeChannels.begin(); it != m_activeChannels.end();) {
        if ((*it)->getParent() != file) {
            ++it;
            continue;
        }
        ChannelPtr channel = *it;
        channel->stop();
        channel->pause();
        channel->start();
        m_pausedChannels.push_back(channel);
        it = m_activeChannels.erase(it);
    }
    pauseFileUploadNoLock(file);
    initiateTransfersNoLock(true);
}

void CUploadEngine::handleFileAddPaused(Poco::Any& payload) {
    FilePtr* file = payloadAs<FilePtr>(payload);
    if (file == nullptr || file->isNull()) {
        return;
    }
    ChannelList channels;
    (*file)->getChannelVector(channels);
    for (ChannelPtr& channel : channels) {
        const ITransferChannel* raw = channel.get();
        if (!isInVector(m_activeChannels, raw) && !isInVector(m_pendingChannels, raw) &&
            !isInVector(m_pausedChannels, raw)) {
            m_pausedChannels.push_back(channel);
        }
    }
}

void CUploadEngine::handleFilesInitialize(Poco::Any& payload) {
    FileInitInfo* info = payloadAs<FileInitInfo>(payload);
    if (info == nullptr || info->group == nullptr) {
        return;
    }
    // As for a resume: the group may have been cancelled and dropped since the files were posted.
    if (!m_groupManager.isGroupInList(info->group)) {
        return;
    }
    info->group->initFiles(info->files);
}

void CUploadEngine::handleGroupMark(Poco::Any& payload) {
    CUploadGroup** group = payloadAs<CUploadGroup*>(payload);
    if (group == nullptr) {
        return;
    }
    if (m_groupManager.isGroupInList(*group)) {
        (*group)->markQueue(false);
    } else {
        VXT_LOG_INFO("Group that should be marked on upload engine thread is no longer valid");
    }
}

// --- Files and channels ------------------------------------------------------------------------

void CUploadEngine::cancelFileUpload(FilePtr& file) {
    if (file.isNull()) {
        return;
    }
    ChannelList channels;
    file->getChannelVector(channels);
    // Without the lock: cancel joins the channel's thread, and a channel that is finishing may
    // need the queue.
    for (ChannelPtr& channel : channels) {
        channel->cancel();
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    for (ChannelPtr& channel : channels) {
        removeChannel(channel);
    }
}

void CUploadEngine::pauseFileUpload(FilePtr& file) {
    if (file.isNull()) {
        return;
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    pauseFileUploadNoLock(file.get());
}

void CUploadEngine::pauseFileUploadNoLock(const ITransferFile* file) {
    // Running channels leave the active list only when their REQUEST_CHANNEL_PAUSED arrives.
    for (ChannelPtr& channel : m_activeChannels) {
        if (channel->getParent() == file) {
            channel->pause();
        }
    }
    for (ChannelList::iterator it = m_pendingChannels.begin(); it != m_pendingChannels.end();) {
        if ((*it)->getParent() == file) {
            m_pausedChannels.push_back(*it);
            it = m_pendingChannels.erase(it);
        } else {
            ++it;
        }
    }
}

void CUploadEngine::resumeFileUpload(FilePtr& file) {
    if (file.isNull()) {
        return;
    }
    const ITransferFile* parent = file.get();
    Poco::FastMutex::ScopedLock lock(m_mutex);
    // Resumed channels go before anything else that waits.
    for (ChannelList::iterator it = m_pausedChannels.begin(); it != m_pausedChannels.end();) {
        if ((*it)->getParent() == parent) {
            m_pendingChannels.push_front(*it);
            it = m_pausedChannels.erase(it);
        } else {
            ++it;
        }
    }
    for (ChannelPtr& channel : m_activeChannels) {
        if (channel->getParent() == parent) {
            channel->resume();
        }
    }
}

void CUploadEngine::removeChannel(ChannelPtr channel) {
    if (channel.isNull()) {
        return;
    }
    ITransferFile* file = channel->getParent();
    const ITransferChannel* raw = channel.get();
    removeFromVector(m_activeChannels, raw);
    removeFromVector(m_pendingChannels, raw);
    removeFromVector(m_pausedChannels, raw);

    if (file == nullptr) {
        VXT_LOG_INFO("Upload engine: Channel being removed has its parent set to NULL!");
        return;
    }
    if (isChannelWithParentInVector(m_activeChannels, file) ||
        isChannelWithParentInVector(m_pendingChannels, file) ||
        isChannelWithParentInVector(m_pausedChannels, file)) {
        return;
    }
    IUploadFile* uploadFile = dynamic_cast<IUploadFile*>(file);
    if (uploadFile == nullptr) {
        VXT_LOG_INFO("Upload engine: Channel being removed has its parent of incorrect type!");
        return;
    }
    CUploadGroup* group = uploadFile->getParentGroup();
    poco_assert(group != nullptr);
    if (!m_groupManager.isGroupInList(group)) {
        return;
    }
    // The group reads the file's uid itself.
    group->removeFileUploaded(uploadFile, "");
    if (group->isEmpty() && (group->isQueueMarked() || group->isCanceled())) {
        // Keep the group alive until it is out of both lists.
        GroupPtr keep;
        const ITransferGroup* finished = group;
        for (GroupList::iterator it = m_activeGroups.begin(); it != m_activeGroups.end(); ++it) {
            if (it->get() == finished) {
                keep = *it;
                m_activeGroups.erase(it);
                break;
            }
        }
        m_groupManager.removeGroup(group->getId());
    }
}

}  // namespace vx_transfers
