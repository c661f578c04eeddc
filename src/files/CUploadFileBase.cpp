#include "files/CUploadFileBase.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/URI.h>

#include <exception>
#include <new>

#include "channels/CUploadChannel.h"
#include "db/CChannelsDbInfo.h"
#include "db/CDatabase.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "db/CFilesDbInfo.h"
#include "groups/CUploadGroup.h"
#include "managers/startup/CSingleton.h"
#include "memory/CBufferManagerFactory.h"
#include "memory/ITransferBufferManager.h"
#include "platform/Log.h"
#include "platform/porting/FileUrlToFilePath.h"
#include "platform/porting/IOSResource.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {

CUploadFileBase::CUploadFileBase()
    : sendAsyncProgress(this, &CUploadFileBase::sendAsyncProgressImpl),
      m_parentGroup(nullptr),
      m_fileSize(0),
      m_bytesUploaded(0),
      m_completedChannels(0),
      m_bCancelled(false),
      m_bDiscardAllEvents(false),
      m_bPrepareRequired(false) {
    CDatabase* database = CDatabase::getInstance();
    if (database != nullptr) {
        m_filesDb = database->getFilesInfo();
    }
}

CUploadFileBase::~CUploadFileBase() {
    uninitialize();
    // A report still queued on the pool runs on this object; with the group gone it does nothing,
    // but it must have finished before the object is.
    std::vector<Poco::ActiveResult<void>> pending;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        pending.swap(m_asyncReports);
    }
    for (auto& report : pending) {
        report.wait();
    }
}

void CUploadFileBase::getUid(std::string& uid) { uid = m_fileDesc.fileUid; }

void CUploadFileBase::getBucketUid(std::string& bucketUid) {
    if (m_parentGroup != nullptr) {
        m_parentGroup->getBucketId(bucketUid);
    }
}

int CUploadFileBase::getGroupId() { return m_parentGroup != nullptr ? m_parentGroup->getId() : 0; }

dt_error CUploadFileBase::initialize(CUploadManager::FileDesc& desc, CUploadGroup* group,
                                     bool /*calculateMd5*/, unsigned long long bufferSize) {
    loggerConfigure(group, desc.fileUid);
    if (!createBufferManager(bufferSize)) {
        return DT_FAILURE;
    }
    if (m_filesDb && !m_filesDb->isFileWithIdInDb(desc.fileUid)) {
        m_filesDb->insert(desc, group != nullptr ? group->getId() : 0);
    }
    return initializeNoDb(desc, group);
}

dt_error CUploadFileBase::initializeNoDb(CUploadManager::FileDesc& desc, CUploadGroup* group) {
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        m_parentGroup = group;
        m_fileDesc = desc;
        m_bDiscardAllEvents = false;
    }
    return initializeNoDb();
}

dt_error CUploadFileBase::initializeNoDb() {
    try {
        if (m_filePath.empty()) {
            convertFileDescUrlToPath();
        }
        VXT_BLOG_INFO(m_logger, "Initializing upload of a file with id "
                                    << m_fileDesc.fileUid
                                    << ". File path: " << string_convert::toNarrow(m_filePath));
        m_fileSize = Poco::File(string_convert::toNarrow(m_filePath)).getSize();
        m_progressTracker.Start(m_fileSize);
        return DT_SUCCESS;
    } catch (const std::exception& e) {
        VXT_BLOG_ERROR(m_logger, "Exception caught when accessing the file: " << e.what());
        return DT_LOCAL_FILE_ERROR;
    }
}

void CUploadFileBase::loggerConfigure(CUploadGroup* group, const std::string& uid) {
    std::string bucketId;
    unsigned int groupId = 0xFFFFFFFFu;
    if (group != nullptr) {
        group->getBucketId(bucketId);
        groupId = static_cast<unsigned int>(group->getId());
    }
    m_logger.configure(bucketId, groupId, uid, -1);
}

void CUploadFileBase::convertFileDescUrlToPath() {
    // The description keeps the bookmark; only the path is resolved.
    std::wstring url = m_fileDesc.fileUrl;
    std::string narrow = string_convert::toNarrow(url);
    const Poco::URI uri(narrow);
    if (uri.getScheme() == "bookmark") {
        VXT_BLOG_INFO(m_logger, "Resolving bookmark: " << narrow);
        std::unique_ptr<IOSResource> opened(IOSResource::create(narrow));
        if (opened) {
            opened->startAccess();
            opened->getPath(narrow);
            string_convert::StringToWstring(narrow, url);
            if (m_osResource) {
                m_osResource->stopAccess();
            }
            // Held for as long as the channels may read the file.
            m_osResource = std::move(opened);
        }
        VXT_BLOG_INFO(m_logger, "Bookmark resolved to: " << narrow);
    }
    FileUrlToFilePath(url, m_filePath);
}

bool CUploadFileBase::createBufferManager(unsigned long long bufferSize) {
    if (m_bufferManager) {
        return true;
    }
    ITransferBufferManager* manager = CBufferManagerFactory::createBufferManager(bufferSize);
    if (manager == nullptr) {
        VXT_BLOG_ERROR(m_logger, "Failed to create buffer manager");
        return false;
    }
    m_bufferManager = manager;
    return true;
}

Poco::SharedPtr<ITransferChannel> CUploadFileBase::createChannel(
    const std::string& url, unsigned long long offset, unsigned long long size, HeaderList& headers,
    unsigned int channelIndex, bool addToDb) {
    Poco::SharedPtr<ITransferChannel> channel;
    ITransferChannel* made = new (std::nothrow) CUploadChannel(
        url, m_filePath, offset, size, headers, this, channelIndex, m_bufferManager, addToDb);
    if (made == nullptr) {
        return channel;
    }
    channel = made;
    // Through the virtual slots, so that a subclass's override receives the events.
    channel->progressEvent += Poco::delegate(this, &CUploadFileBase::onProgress);
    channel->stateEvent += Poco::delegate(this, &CUploadFileBase::onChannelStateChanged);
    m_channelsInfo.add(channel, ITransferChannel::StateStarted);
    return channel;
}

unsigned long long CUploadFileBase::getFileSizeInternal() {
    try {
        return Poco::File(string_convert::toNarrow(m_filePath)).getSize();
    } catch (const std::exception& e) {
        VXT_BLOG_ERROR(m_logger, "Exception caught when accessing the file: " << e.what());
        return static_cast<unsigned long long>(-1);
    }
}

bool CUploadFileBase::isPrepareForUploadRequired() {
    return m_bPrepareRequired || !m_bufferManager || !m_bufferManager->isAllocated();
}

unsigned long long CUploadFileBase::getFileSize() { return m_fileSize; }

void CUploadFileBase::getOriginalFileDesc(CUploadManager::FileDesc& desc) {
    desc.fileUid = m_fileDesc.fileUid;
    desc.fileUrl = m_fileDesc.fileUrl;
    desc.url = m_fileDesc.url;
    desc.additionalHttpHeaders = m_fileDesc.additionalHttpHeaders;
}

void CUploadFileBase::getChannelVector(ChannelList& channels) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_channelsInfo.getAll(channels);
}

void CUploadFileBase::getChannelsToTransfer(ChannelList& channels) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_channelsInfo.getAllWithState(channels, ITransferChannel::StateStarted);
}

CUploadGroup* CUploadFileBase::getParentGroup() { return m_parentGroup; }

void CUploadFileBase::getFileState(CTransferManagerBase::FileState& state) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    getFileStateInternal(state);
}

void CUploadFileBase::getFileStateInternal(CTransferManagerBase::FileState& state) {
    state.bytesTransferred = static_cast<unsigned long long>(m_bytesUploaded);
    state.bytesTotal = m_fileSize;
    state.speed = static_cast<unsigned int>(m_progressTracker.GetLastTransferSpeed());
    state.etaMs = m_progressTracker.GetEtaMs();
    state.fileErrorType = transfer_defs::FILE_ERROR_NONE;
    if (m_fileSize == 0) {
        state.percent = 100.0f;
    } else {
        state.percent = static_cast<float>(m_bytesUploaded * 100) / static_cast<float>(m_fileSize);
    }
    const std::size_t channels = m_channelsInfo.size();
    const bool complete = m_completedChannels == channels && (channels != 0 || m_fileSize == 0);
    state.status = complete ? CTransferManagerBase::FILE_STATUS_COMPLETED
                            : CTransferManagerBase::FILE_STATUS_TRANSFERRING;
}

void CUploadFileBase::removeFromDb() {
    if (m_fileDesc.fileUid.empty()) {
        return;
    }
    CDatabase* database = CDatabase::getInstance();
    if (database != nullptr) {
        Poco::SharedPtr<CChannelsDbInfo> channelsDb = database->getChannelsInfo();
        if (channelsDb) {
            channelsDb->remove(m_fileDesc.fileUid);
        }
    }
    if (m_filesDb) {
        m_filesDb->remove(m_fileDesc.fileUid);
    }
}

void CUploadFileBase::initFromDb(CUploadManager::FileDesc& desc, CUploadGroup* group,
                                 std::string& uploadId, bool /*paused*/,
                                 unsigned long long bufferSize) {
    m_parentGroup = group;
    m_fileDesc = desc;
    m_fileSize = 0;
    loggerConfigure(group, desc.fileUid);
    try {
        convertFileDescUrlToPath();
    } catch (const std::exception& e) {
        // The channels then fail to open the file, which reports it.
        VXT_BLOG_ERROR(m_logger, "Exception caught when accessing the file: " << e.what());
    }
    if (!createBufferManager(bufferSize)) {
        return;
    }

    std::vector<CChannelsDbInfo::ChannelInfo> records;
    CDatabaseDumpAnalyzer* analyzer = CSingleton<CDatabaseDumpAnalyzer>::getInstance();
    if (analyzer != nullptr) {
        analyzer->getChannelsForUploadFile(desc.fileUid, records);
    }
    VXT_BLOG_INFO(m_logger, "Extracted from DB " << records.size()
                                                 << " upload channels for file with id "
                                                 << desc.fileUid);

    Poco::FastMutex::ScopedLock lock(m_mutex);
    unsigned int index = 0;
    for (auto& record : records) {
        Poco::SharedPtr<ITransferChannel> channel = createChannel(
            record.url, record.offset, record.bytesToUpload, record.httpHeaders, index, false);
        if (record.state == ITransferChannel::StateCompleted) {
            ++m_completedChannels;
            m_progressTracker.AddData(static_cast<long long>(record.bytesToUpload));
            m_bytesUploaded += static_cast<long long>(record.bytesToUpload);
            if (channel) {
                m_channelsInfo.setState(channel.get(), ITransferChannel::StateCompleted);
            }
        }
        m_fileSize += record.bytesToUpload;
        ++index;
    }
    if (!records.empty() && m_completedChannels == records.size()) {
        // Every range is on the server; only the closing call can remain.
        m_bDiscardAllEvents = true;
    }
    if (records.empty()) {
        m_fileSize = getFileSizeInternal();
        if (m_fileSize == static_cast<unsigned long long>(-1)) {
            m_fileSize = 0xFFFFFFFFULL;
        }
    }
    m_bPrepareRequired = true;
    m_uploadId = uploadId;
}

dt_error CUploadFileBase::prepareForUpload() {
    if (m_bufferManager && !m_bufferManager->isAllocated()) {
        m_bufferManager->allocateMemoryPool();
    }
    if (!m_bPrepareRequired) {
        return DT_SUCCESS;
    }
    const unsigned long long expectedSize = m_fileSize;
    bool noChannels;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        noChannels = m_channelsInfo.empty();
    }
    if (noChannels && expectedSize != 0) {
        // Stored before its channels were: make them now, as for a new file.
        return initialize(m_fileDesc, m_parentGroup, false, 0);
    }
    const dt_error result = initializeNoDb();
    if (result != DT_SUCCESS) {
        return result;
    }
    if (expectedSize != m_fileSize) {
        VXT_BLOG_ERROR(m_logger,
                       "Upload File: Size of the file has changed since the first time it has "
                       "been added to the group!");
        // The stored channels still cover the old size: keep it, so that every later attempt
        // refuses the file too instead of sending the new bytes cut at the old boundaries.
        m_fileSize = expectedSize;
        return DT_FILE_CHANGED;
    }
    m_bPrepareRequired = false;
    return DT_SUCCESS;
}

void CUploadFileBase::onProgress(const long long& delta) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_bytesUploaded += delta;
    m_progressTracker.AddData(delta);
    if (m_bDiscardAllEvents) {
        VXT_BLOG_WARNING(m_logger, "Discarding progress event");
        return;
    }
    CTransferManagerBase::FileState state;
    getFileStateInternal(state);
    if (m_bufferManager) {
        m_bufferManager->updateTransferSpeed(state.speed);
    }
    if (m_parentGroup != nullptr) {
        m_parentGroup->onUploadProgress(m_fileDesc.fileUid, delta, state, false);
    }
}

void CUploadFileBase::onChannelStateChanged(const void* sender,
                                            const ITransferChannel::StateEventData& event) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_bDiscardAllEvents) {
        VXT_BLOG_WARNING(m_logger,
                         "Upload file: Discarding state event from channel since "
                         "m_bDiscardAllEvents is set. State: "
                             << event.state);
        return;
    }
    CTransferManagerBase::FileState state;
    getFileStateInternal(state);
    state.fileErrorType = event.error;

    switch (event.state) {
        case ITransferChannel::StateFailed:
            VXT_BLOG_INFO(m_logger,
                          "One of the channels has signaled an error, putting a file into "
                          "errored state!");
            onError();
            state.status = CTransferManagerBase::FILE_STATUS_ERROR;
            if (m_parentGroup != nullptr) {
                m_parentGroup->onUploadProgress(m_fileDesc.fileUid, 0, state, false);
            }
            if (m_bufferManager) {
                m_bufferManager->deallocateMemoryPool();
            }
            m_bDiscardAllEvents = true;
            break;
        case ITransferChannel::StateCancelled:
            // However many channels are cancelled, the service is told once.
            if (!m_bCancelled) {
                VXT_BLOG_INFO(m_logger,
                              "One of the channels has signaled that it has moved to canceled "
                              "state!");
                onCancel();
                m_bCancelled = true;
            }
            break;
        case ITransferChannel::StateCompleted: {
            ++m_completedChannels;
            // The sender is the channel object itself; find the pointer the list holds.
            ChannelList all;
            m_channelsInfo.getAll(all);
            for (auto& channel : all) {
                if (static_cast<const void*>(channel.get()) == sender ||
                    dynamic_cast<const void*>(channel.get()) == sender) {
                    m_channelsInfo.setState(channel.get(), ITransferChannel::StateCompleted);
                    break;
                }
            }
            const std::size_t total = m_channelsInfo.size();
            VXT_BLOG_INFO(m_logger, "One of the channels has successfully completed upload!");
            VXT_BLOG_INFO(m_logger,
                          "Channels completed: " << m_completedChannels << " out of " << total);
            if (m_completedChannels == total) {
                if (m_bufferManager) {
                    m_bufferManager->deallocateMemoryPool();
                }
                completeFile(state, false);
            }
            break;
        }
        default:
            break;
    }
    changeFileWatcherStateIfRequired(event.state);
}

void CUploadFileBase::changeFileWatcherStateIfRequired(ITransferChannel::State /*state*/) {
    // The place where a watch on the local file would be dropped once every channel is done.
    // No upload file starts a watch (a change shows up through the size test of
    // prepareForUpload and through the channels' read failures), so there is nothing to switch.
}

void CUploadFileBase::completeFile(CTransferManagerBase::FileState& state, bool async) {
    if (onComplete()) {
        state.status = CTransferManagerBase::FILE_STATUS_COMPLETED;
    } else {
        // One value for every failed closing call, single-part included.
        state.status = CTransferManagerBase::FILE_STATUS_ERROR;
        state.fileErrorType = transfer_defs::FILE_ERROR_MULTIPART_INIT;
    }
    if (async) {
        try {
            // Not waited for: the caller may hold the group's lock, which the report takes.
            Poco::ActiveResult<void> report = sendAsyncProgress(state);
            for (auto it = m_asyncReports.begin(); it != m_asyncReports.end();) {
                it = it->available() ? m_asyncReports.erase(it) : it + 1;
            }
            m_asyncReports.push_back(report);
        } catch (const Poco::Exception& e) {
            VXT_BLOG_ERROR(m_logger, "Unable to report the file's state: " << e.displayText());
        }
    } else if (m_parentGroup != nullptr) {
        m_parentGroup->onUploadProgress(m_fileDesc.fileUid, 0, state, false);
    }
    m_bDiscardAllEvents = true;
}

void CUploadFileBase::sendAsyncProgressImpl(const CTransferManagerBase::FileState& state) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_parentGroup == nullptr) {
        return;
    }
    CTransferManagerBase::FileState copy = state;
    m_parentGroup->onUploadProgress(m_fileDesc.fileUid, 0, copy, false);
}

void CUploadFileBase::resetErrorState() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    VXT_BLOG_INFO(m_logger, "Upload file: resetting errored flag");
    if (!m_bDiscardAllEvents) {
        return;
    }
    if (m_completedChannels == m_channelsInfo.size()) {
        // Only the closing call failed, or never ran: repeat it.
        CTransferManagerBase::FileState state;
        getFileStateInternal(state);
        completeFile(state, true);
        return;
    }
    m_bDiscardAllEvents = false;
}

void CUploadFileBase::fileChangeDetected(files_watch::FileSystemEvent& /*event*/) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_bDiscardAllEvents) {
        return;
    }
    VXT_BLOG_WARNING(m_logger, "Change detected in file");
    CTransferManagerBase::FileState state;
    getFileStateInternal(state);
    state.status = CTransferManagerBase::FILE_STATUS_ERROR;
    state.fileErrorType = transfer_defs::FILE_ERROR_FILE_CHANGED;
    if (m_parentGroup != nullptr) {
        m_parentGroup->onUploadProgress(m_fileDesc.fileUid, 0, state, true);
    }
    m_bDiscardAllEvents = true;
    onChange();
}

void CUploadFileBase::uninitialize() {
    ChannelList channels;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        if (m_osResource) {
            m_osResource->stopAccess();
            m_osResource.reset();
        }
        m_parentGroup = nullptr;
        m_channelsInfo.getAll(channels);
    }
    if (channels.empty()) {
        return;
    }
    // Outside the lock: removing a delegate waits for a notification in flight, which may be
    // waiting for this lock.
    for (auto& channel : channels) {
        channel->progressEvent -= Poco::delegate(this, &CUploadFileBase::onProgress);
        channel->stateEvent -= Poco::delegate(this, &CUploadFileBase::onChannelStateChanged);
        channel->setParent(nullptr);
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_channelsInfo.clear();
    m_bufferManager = nullptr;
}

}  // namespace vx_transfers
