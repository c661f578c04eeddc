#include "groups/CUploadGroup.h"

#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/URI.h>

#include <exception>
#include <iterator>
#include <list>
#include <memory>

#include "db/CDatabase.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "engines/IUploadEngineCallback.h"
#include "files/CUploadFileFactory.h"
#include "groups/CFailedGroupsRestarter.h"
#include "managers/startup/CSingleton.h"
#include "platform/Log.h"
#include "platform/porting/FileUrlToFilePath.h"
#include "platform/porting/IOSResource.h"
#include "platform/porting/string_convert.h"
#include "rest/CRestApiBucketStatusUpdate.h"
#include "vx_transfers/error_type_convert.h"

namespace vx_transfers {

namespace {

using FileStatus = CTransferManagerBase::FileStatus;
using GroupStatus = CTransferManagerBase::GroupStatus;

constexpr unsigned long long kUnknownSize = ~0ULL;
// What a file of unknown size is made with: the factory and the file see this as its size.
constexpr unsigned long long kSizeWhenUnknown = 4294967295ULL;
// Rate-limited file and group events leave a group at most once per this many microseconds.
constexpr Poco::Timestamp::TimeDiff kEventIntervalUs = 250000;
// How long one wait for a rebuilt entry lasts before a warning is logged.
constexpr long kFileRemovedWaitMs = 2000;

// Totals, percent, speed and ETA of the group from its ledger; fills in the ledger's cached total
// when it is not known. A ledger of files of size 0 only is as good as done: with
// percentOfZeroSizedFiles it shows 100.
void computeTotals(CUploadGroup::FileList& files, CUploadManager::GroupState& state,
                   CTransferProgressTracker& progress, unsigned int retryCounter,
                   bool percentOfZeroSizedFiles) {
    unsigned long long transferred = 0;
    for (CUploadGroup::FileList::Entry& entry : files) {
        transferred += entry.second.bytesTransferred;
    }
    state.bytesTransferred = transferred;
    unsigned long long total = files.totalBytes;
    if (total == 0 && !files.empty()) {
        for (CUploadGroup::FileList::Entry& entry : files) {
            total += entry.second.bytesTotal;
        }
        files.totalBytes = total;
    }
    state.bytesTotal = total;
    state.retryCount = retryCounter;
    if (total != 0) {
        state.percent = 100.0f * static_cast<float>(transferred) / static_cast<float>(total);
        state.speed = static_cast<unsigned int>(progress.GetLastTransferSpeed());
        state.etaMs = progress.GetEtaMs();
    } else {
        state.percent = percentOfZeroSizedFiles && !files.empty() ? 100.0f : 0.0f;
        state.speed = 0;
        state.etaMs = 0;
    }
}

}  // namespace

CUploadGroup::CUploadGroup(TransferGroupInitParams& params)
    : CGroupBase<CUploadManager::ICallback>(params),
      m_verifyUploads(params.verifyUploads),
      m_canceled(false),
      m_minMultipartSize(params.minMultipartSize),
      m_engine(params.engineCallback),
      m_database(CDatabase::getInstance()),
      m_groupsInfo(m_database != nullptr ? m_database->getGroupsInfo()
                                         : Poco::SharedPtr<CGroupsDbInfo>()) {
    m_state.status = CTransferManagerBase::GROUP_STATUS_NEW;
    m_state.errorType = transfer_defs::GROUP_ERROR_NONE;
    m_state.empty = true;
    m_state.paused = false;
    m_state.queueMarked = false;
    m_state.bucketType = params.bucketType;
    m_state.bucketId = params.bucketId;
    m_state.groupId = params.groupId;
    m_state.retryCount = m_retryCounter;
    if (params.isNew && !m_groupsInfo.isNull()) {
        CGroupsDbInfo::GroupInfo info;
        params.copyIdentityTo(info);
        info.paused = false;
        info.marked = false;
        info.retryCount = m_retryCounter;
        m_groupsInfo->insert(info);
    }
    m_progressSender.registerGroup(params.bucketId, params.bucketToken);
}

CUploadGroup::~CUploadGroup() {
    // The restarter holds a raw pointer to this group.
    CFailedGroupsRestarter* restarter = CFailedGroupsRestarter::getInstance();
    if (restarter != nullptr) {
        restarter->removeFailedGroup(this);
    }
    std::list<FilePtr> files;
    m_files.GetAllFilePtrs(files);
    for (FilePtr& file : files) {
        file->uninitialize();
    }
}

// ---------------------------------------------------------------------------------------------
// Intake

unsigned long long CUploadGroup::getSizeOfFileByUrl(const std::wstring& url) {
    try {
        const std::string narrowUrl = string_convert::toNarrow(url);
        Poco::URI uri(narrowUrl);
        std::string path;
        std::unique_ptr<IOSResource> resource;
        if (uri.getScheme() == "bookmark") {
            resource.reset(IOSResource::create(narrowUrl));
        }
        if (resource) {
            resource->getPath(path);
        } else {
            std::wstring widePath;
            FileUrlToFilePath(url, widePath);
            path = string_convert::toNarrow(widePath);
        }
        const unsigned long long size = Poco::File(path).getSize();
        VXT_LOG_INFO("getSizeOfFileByUrl"
                     << ": Size of a file with URL is " << size);
        return size;
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Exception caught when trying to access file. Exception: " << e.what());
        return kUnknownSize;
    }
}

void CUploadGroup::loadInfoFromDb() {
    // Start-up path: nothing else reaches the group yet, and the files may report to it while
    // they restore, so the lock is not taken here.
    CDatabaseDumpAnalyzer* analyzer = CSingleton<CDatabaseDumpAnalyzer>::getInstance();
    if (analyzer != nullptr) {
        std::vector<CFilesDbInfo::FileInfo> records;
        analyzer->getFilesForUploadGroup(m_id, records);
        VXT_BLOG_INFO(m_logger, "Exctracted " << records.size()
                                              << " upload files from DB for group with id "
                                              << m_id);
        for (CFilesDbInfo::FileInfo& record : records) {
            std::vector<CChannelsDbInfo::ChannelInfo> channels;
            analyzer->getChannelsForUploadFile(record.fileUid, channels);
            IUploadFile* made = nullptr;
            if (!channels.empty()) {
                made = CUploadFileFactory::create(static_cast<unsigned int>(channels.size()));
            } else {
                const unsigned long long size = getSizeOfFileByUrl(record.fileUrl);
                made = size != kUnknownSize ? CUploadFileFactory::create(m_minMultipartSize, size)
                                            : CUploadFileFactory::create(0u);
            }
            if (made == nullptr) {
                VXT_BLOG_INFO(m_logger, "Unable to create instnce of a class for file with id "
                                            << record.fileUid);
                continue;
            }
            FilePtr file(made);
            CUploadManager::FileDesc desc = record;
            std::string uploadId = record.uploadId;
            file->initFromDb(desc, this, uploadId, m_state.paused, 0);
            CTransferManagerBase::FileState state;
            file->getFileState(state);

            m_progress.IncreaseTotal(state.bytesTotal);
            m_files.AddPending(desc, state.bytesTotal, file);
            FileList::iterator entry = std::prev(m_files.end());
            if (state.status != CTransferManagerBase::FILE_STATUS_TRANSFERRING) {
                entry->second.pending = false;
                entry->second.status = state.status;
            }
            m_progress.AddData(static_cast<long long>(state.bytesTransferred));
            entry->second.bytesTransferred = state.bytesTransferred;
        }
    }
    updateGroupEmptyFlag();
    updateExpiredFlag();
    if (!m_state.empty && m_state.status == CTransferManagerBase::GROUP_STATUS_NEW) {
        m_state.status = CTransferManagerBase::GROUP_STATUS_ACTIVE;
    }
}

void CUploadGroup::queueFiles(std::vector<CUploadManager::FileDesc>& files) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_state.queueMarked) {
        VXT_BLOG_WARNING(m_logger, "Unable to add files to a group, since it's already marked!");
        return;
    }
    // Opening the files is slow: it runs on the engine's thread (initFiles).
    if (m_engine != nullptr) {
        m_engine->requestFilesInitialize(this, files);
    }
}

void CUploadGroup::initFiles(std::vector<CUploadManager::FileDesc>& files) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_state.queueMarked) {
        VXT_BLOG_WARNING(m_logger, "Unable to add files to a group, since it's already marked!");
    } else {
        if (m_state.status == CTransferManagerBase::GROUP_STATUS_NEW) {
            m_state.status = CTransferManagerBase::GROUP_STATUS_ACTIVE;
        }
        for (CUploadManager::FileDesc& desc : files) {
            // A second entry with the same uid would be found as the first one, whose file object
            // would then be replaced, and destroyed, while its channels still report to it.
            if (m_files.FindByFileId(desc.fileUid) != m_files.end()) {
                VXT_BLOG_WARNING(m_logger, "File with id "
                                               << desc.fileUid
                                               << " is already in the group; ignoring it");
                continue;
            }
            if (!initNewFileWithErrorEvent(desc, false, true, true, nullptr)) {
                VXT_BLOG_ERROR(m_logger, "Error happened when adding file with id "
                                             << desc.fileUid << " to group with id " << m_id);
            }
        }
    }
    updateGroupEmptyFlag();
    updateGroupState(true, CTransferManagerBase::FILE_STATUS_REMOVED);
    // The next file event goes out at once.
    m_lastEventTime = Poco::Timestamp(0);
}

bool CUploadGroup::initNewFileWithErrorEvent(CUploadManager::FileDesc& desc, bool viaProgress,
                                             bool sendEvent, bool addToList, FilePtr* out) {
    const dt_error error = initNewFileInQueue(desc, addToList, out);
    if (error == DT_SUCCESS) {
        updateGroupEmptyFlag();
        CTransferManagerBase::FileState state;
        state.status = CTransferManagerBase::FILE_STATUS_TRANSFERRING;
        state.bytesTotal = getSizeOfFileByUrl(desc.fileUrl);
        std::string uid = desc.fileUid;
        onUploadProgressNoLock(uid, 0, state, false);
        return true;
    }
    VXT_BLOG_ERROR(m_logger, "Unable to initialize new file, error is: " << error);
    const unsigned long long size = getSizeOfFileByUrl(desc.fileUrl);
    if (viaProgress || sendEvent) {
        sendEventDueToFileError(desc, static_cast<long long>(size), viaProgress, error);
    }
    FileList::iterator entry = m_files.end();
    if (addToList) {
        // No file object: a resume makes a new one.
        m_files.AddPending(desc, size == kUnknownSize ? 0 : size);
        entry = std::prev(m_files.end());
    } else {
        entry = m_files.FindByFileId(desc.fileUid);
    }
    if (entry != m_files.end()) {
        entry->second.pending = false;
        entry->second.status = CTransferManagerBase::FILE_STATUS_ERROR;
    }
    return false;
}

dt_error CUploadGroup::initNewFileInQueue(CUploadManager::FileDesc& desc, bool addToList,
                                          FilePtr* out) {
    unsigned long long size = getSizeOfFileByUrl(desc.fileUrl);
    if (size == kUnknownSize) {
        VXT_BLOG_WARNING(m_logger, "Unable to calculate size of file using URL: "
                                       << string_convert::toNarrow(desc.fileUrl));
        size = kSizeWhenUnknown;
    }
    FilePtr file(CUploadFileFactory::create(m_minMultipartSize, size));
    dt_error error = DT_SUCCESS;
    if (!file.isNull()) {
        error = file->initialize(desc, this, m_verifyUploads, 0);
        if (error != DT_SUCCESS) {
            file.reset();
        }
    }
    if (!file.isNull()) {
        const unsigned long long fileSize = file->getFileSize();
        if (addToList) {
            m_progress.IncreaseTotal(fileSize);
            m_files.AddPending(desc, fileSize, file);
        }
        if (out != nullptr) {
            *out = file;
        }
        return error;
    }
    return error != DT_SUCCESS ? error : DT_FAILURE;
}

void CUploadGroup::sendEventDueToFileError(CUploadManager::FileDesc& desc, long long size,
                                           bool viaProgress, dt_error error) {
    CTransferManagerBase::FileState state;
    state.status = CTransferManagerBase::FILE_STATUS_ERROR;
    state.fileErrorType = error_type_convert::fileErrorTypeFromDtError(error);
    state.bytesTotal = size == -1 ? 0 : static_cast<unsigned long long>(size);
    if (viaProgress) {
        std::string uid = desc.fileUid;
        onUploadProgressNoLock(uid, 0, state, false);
    } else if (m_callback != nullptr) {
        // The ids stay empty on this path: the application learns only that a file failed.
        m_callback->onFileStateChanged(state);
    }
}

void CUploadGroup::feedFile(FilePtr file, CUploadManager::FileDesc& desc,
                            CTransferManagerBase::FileState& state, bool error) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (file.isNull()) {
        return;
    }
    if (!m_progress.IsStarted()) {
        m_progress.Start(0);
    }
    m_progress.IncreaseTotal(state.bytesTotal);
    m_files.AddPending(desc, state.bytesTotal, file);
    FileList::iterator entry = std::prev(m_files.end());
    entry->second.pending = false;
    if (state.status != CTransferManagerBase::FILE_STATUS_TRANSFERRING) {
        entry->second.status = state.status;
    }
    m_progress.AddData(static_cast<long long>(state.bytesTransferred));
    entry->second.bytesTransferred = state.bytesTransferred;
    if (error) {
        entry->second.status = CTransferManagerBase::FILE_STATUS_ERROR;
        m_state.status = CTransferManagerBase::GROUP_STATUS_ERROR;
    }
    updateGroupEmptyFlag();
    if (m_state.status == CTransferManagerBase::GROUP_STATUS_NEW && !m_state.empty) {
        m_state.status = CTransferManagerBase::GROUP_STATUS_ACTIVE;
    }
}

// ---------------------------------------------------------------------------------------------
// Events and state

void CUploadGroup::onUploadProgress(std::string& fileUid, long long delta,
                                    CTransferManagerBase::FileState& state, bool fileChanged) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    onUploadProgressNoLock(fileUid, delta, state, fileChanged);
}

void CUploadGroup::onUploadProgressNoLock(std::string& fileUid, long long delta,
                                          CTransferManagerBase::FileState& state,
                                          bool fileChanged) {
    m_progress.AddData(delta);
    FileList::iterator entry = m_files.FindByFileId(fileUid);
    if (entry != m_files.end()) {
        entry->second.bytesTransferred = state.bytesTransferred;
    }
    const bool timeToSend = checkLastEventTime();
    state.fileId = fileUid;
    state.bucketId = m_bucketId;
    state.groupId = m_id;
    // Progress is rate-limited; every other status always goes out.
    if (m_callback != nullptr &&
        (timeToSend || state.status != CTransferManagerBase::FILE_STATUS_TRANSFERRING)) {
        m_callback->onFileStateChanged(state);
    }
    if (state.status == CTransferManagerBase::FILE_STATUS_ERROR && fileChanged &&
        entry != m_files.end()) {
        // The file changed on disk: its channels go, and the entry is built anew afterwards
        // (removeFileUploadedNoLock).
        FilePtr file = entry->second.file;
        entry->second.valid = false;
        entry->second.reinitOnRemoval = true;
        if (m_engine != nullptr && !file.isNull()) {
            std::list<FilePtr> files{file};
            m_engine->requestUploadCancel(files);
        }
    }
    if (entry != m_files.end()) {
        entry->second.status = state.status;
    }
    m_progressSender.reportProgress(fileUid, state.bytesTransferred);
    if (state.status == CTransferManagerBase::FILE_STATUS_ERROR) {
        VXT_BLOG_ERROR(m_logger, "Error uploading file with uid " << fileUid);
    } else if (state.status == CTransferManagerBase::FILE_STATUS_COMPLETED) {
        VXT_BLOG_INFO(m_logger, "Upload of file with uid " << fileUid << " is complete!");
    }
    updateGroupState(timeToSend, state.status);
}

bool CUploadGroup::checkLastEventTime() {
    try {
        if (m_lastEventTime.elapsed() < kEventIntervalUs) {
            return false;
        }
        m_lastEventTime.update();
        return true;
    } catch (const std::exception& e) {
        VXT_BLOG_ERROR(m_logger, "checkLastEventTime"
                                     << ": Unable to update last timestamp. Exception: "
                                     << e.what());
        return true;
    }
}

void CUploadGroup::updateGroupState(bool sendAlways, FileStatus fileStatus) {
    computeTotals(m_files, m_state, m_progress, m_retryCounter, true);

    bool allDone = false;
    if (fileStatus == CTransferManagerBase::FILE_STATUS_COMPLETED ||
        fileStatus == CTransferManagerBase::FILE_STATUS_REMOVED) {
        allDone = areAllFilesDoneNoLock();
        if (allDone && m_state.queueMarked && !m_files.isAnyPendingInList()) {
            VXT_BLOG_INFO(m_logger,
                          "Group assosiated with bucket id " << m_bucketId << " is completed!");
            updateGroupState(CTransferManagerBase::GROUP_STATUS_ACTIVE,
                             transfer_defs::GROUP_ERROR_NONE);
            m_state.status = CTransferManagerBase::GROUP_STATUS_COMPLETED;
            if (!completeGroup()) {
                return;
            }
        }
        updateGroupEmptyFlag();
    }

    if (fileStatus == CTransferManagerBase::FILE_STATUS_COMPLETED ||
        fileStatus == CTransferManagerBase::FILE_STATUS_ERROR ||
        fileStatus == CTransferManagerBase::FILE_STATUS_REMOVED) {
        bool allSettled = true;
        for (FileList::Entry& entry : m_files) {
            const bool settled =
                (entry.second.status == CTransferManagerBase::FILE_STATUS_COMPLETED ||
                 entry.second.status == CTransferManagerBase::FILE_STATUS_ERROR) &&
                !entry.second.pending;
            if (!settled) {
                allSettled = false;
                break;
            }
        }
        bool failed = false;
        if (allSettled && !m_files.isAnyPendingInList() && !allDone) {
            failed = true;  // nothing runs any more and some files failed
        } else if (m_bucketExpired) {
            failed = true;
        } else if (m_state.status == CTransferManagerBase::GROUP_STATUS_ERROR) {
            m_state.status = CTransferManagerBase::GROUP_STATUS_ACTIVE;  // work runs again
        }
        if (failed) {
            m_state.status = CTransferManagerBase::GROUP_STATUS_ERROR;
            m_state.errorType = transfer_defs::GROUP_ERROR_NONE;
            processError();
            m_state.retryCount = m_retryCounter;
        }
    }

    if (m_callback != nullptr &&
        (sendAlways || m_state.status != CTransferManagerBase::GROUP_STATUS_ACTIVE)) {
        m_callback->onGroupStateChanged(m_state);
    }
}

void CUploadGroup::updateGroupState(GroupStatus status, transfer_defs::GroupErrorType error) {
    m_state.status = status;
    if (status == CTransferManagerBase::GROUP_STATUS_PAUSED) {
        m_state.paused = true;
        if (!m_groupsInfo.isNull()) {
            m_groupsInfo->setPaused(m_id, true);
        }
    } else if (status == CTransferManagerBase::GROUP_STATUS_ERROR) {
        m_state.errorType = error;
    } else if (status == CTransferManagerBase::GROUP_STATUS_ACTIVE && m_state.paused) {
        m_state.paused = false;
        if (!m_groupsInfo.isNull()) {
            m_groupsInfo->setPaused(m_id, false);
        }
    }
    if (m_callback != nullptr) {
        m_callback->onGroupStateChanged(m_state);
    }
}

void CUploadGroup::updateGroupEmptyFlag() {
    bool empty = true;
    for (FileList::Entry& entry : m_files) {
        const FileList::FileStats& stats = entry.second;
        const bool unfinished =
            stats.status != CTransferManagerBase::FILE_STATUS_COMPLETED || stats.pending;
        if ((stats.valid && unfinished) || stats.pending || !stats.valid) {
            empty = false;
            break;
        }
    }
    if (empty) {
        VXT_BLOG_INFO(m_logger, "Upload group " << m_id << " is empty!");
    }
    m_state.empty = empty;
}

bool CUploadGroup::areAllFilesDoneNoLock() {
    for (FileList::Entry& entry : m_files) {
        if (entry.second.valid &&
            (entry.second.status != CTransferManagerBase::FILE_STATUS_COMPLETED ||
             entry.second.pending)) {
            return false;
        }
    }
    return true;
}

int CUploadGroup::getGroupState(CUploadManager::GroupState& state) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    computeTotals(m_files, m_state, m_progress, m_retryCounter, false);
    state = m_state;
    if (m_state.empty) {
        state.speed = 0;
        state.etaMs = 0;
    }
    return 0;
}

bool CUploadGroup::isEmpty() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_state.empty;
}

bool CUploadGroup::isPaused() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_state.paused;
}

bool CUploadGroup::isCanceled() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_canceled;
}

bool CUploadGroup::isQueueMarked() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_state.queueMarked;
}

ITransferEngineCallback* CUploadGroup::getEngineCallback() { return m_engine; }

void CUploadGroup::onRetryCounterChanged() {
    if (!m_groupsInfo.isNull()) {
        m_groupsInfo->setRetryCount(m_id, m_retryCounter);
    }
}

// ---------------------------------------------------------------------------------------------
// Hand-over to the engine

CUploadGroup::FilePtr CUploadGroup::popFileForUpload() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_files.empty() || m_state.paused || m_canceled ||
        m_state.status == CTransferManagerBase::GROUP_STATUS_ERROR) {
        return FilePtr();
    }
    // A group found expired at start-up turns to error here.
    if (!errorIfBucketExpiredFlagSet()) {
        return FilePtr();
    }
    for (FileList::iterator pending = m_files.FindPending(); pending != m_files.end();
         pending = m_files.FindPending()) {
        CUploadManager::FileDesc desc;
        FilePtr file;
        m_files.GetFirstPending(desc, file);
        if (file.isNull() || desc.fileUid.empty()) {
            return FilePtr();
        }
        // Taken up: it cannot be picked twice, whatever its preparation gives.
        pending->second.status = CTransferManagerBase::FILE_STATUS_TRANSFERRING;
        pending->second.pending = false;
        if (prepareFileForUpload(file, desc, true) == DT_SUCCESS) {
            VXT_BLOG_INFO(m_logger, "Staring upload of a file with uid: " << desc.fileUid);
            if (!m_progress.IsStarted()) {
                m_progress.Start(m_state.bytesTotal);
            }
            return file;
        }
        // The failed file stays in error; the next pending one is tried.
    }
    return FilePtr();
}

dt_error CUploadGroup::prepareFileForUpload(FilePtr& file, CUploadManager::FileDesc& desc,
                                            bool viaProgress) {
    if (file->isPrepareForUploadRequired()) {
        const dt_error error = file->prepareForUpload();
        if (error != DT_SUCCESS) {
            sendEventDueToFileError(desc, -1, viaProgress, error);
            FileList::iterator entry = m_files.FindByFileId(desc.fileUid);
            if (entry != m_files.end()) {
                entry->second.status = CTransferManagerBase::FILE_STATUS_ERROR;
            }
            return error;
        }
    }
    FileList::iterator entry = m_files.FindByFileId(desc.fileUid);
    if (entry != m_files.end()) {
        entry->second.status = CTransferManagerBase::FILE_STATUS_TRANSFERRING;
    }
    return DT_SUCCESS;
}

void CUploadGroup::dequeueFile(std::vector<CUploadManager::FileDesc>& files) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    std::list<FilePtr> running;
    for (CUploadManager::FileDesc& desc : files) {
        FileList::iterator entry = m_files.FindByFileId(desc.fileUid);
        FilePtr file = m_files.GetFileWithId(desc.fileUid);
        const bool waiting = entry == m_files.end() || entry->second.pending;
        if (entry != m_files.end()) {
            entry->second.valid = false;
        }
        if (!file.isNull()) {
            file->removeFromDb();
        }
        if (!file.isNull() && !waiting) {
            VXT_BLOG_INFO(m_logger, "Upload group: Removing file with id: "
                                        << desc.fileUid
                                        << " but it's currently active, scheduling for removal "
                                           "on engine thread...");
            running.push_back(file);
        } else {
            removeFileUploadedNoLock(file.get(), desc.fileUid);
        }
    }
    if (!running.empty() && m_engine != nullptr) {
        m_engine->requestUploadCancel(running);
    }
    updateGroupEmptyFlag();
    if (m_state.empty && m_state.queueMarked) {
        markGroupAsCompleted();
    } else {
        updateGroupState(true, CTransferManagerBase::FILE_STATUS_REMOVED);
    }
    m_lastEventTime = Poco::Timestamp(0);
}

void CUploadGroup::removeFileUploaded(IUploadFile* file, const std::string& fileUid) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    removeFileUploadedNoLock(file, fileUid);
}

void CUploadGroup::removeFileUploadedNoLock(IUploadFile* file, const std::string& fileUid) {
    std::string uid = fileUid;
    bool stillWanted = false;
    if (file != nullptr) {
        FileList::iterator byPtr = m_files.FindByFilePtr(file);
        stillWanted = byPtr != m_files.end() && byPtr->second.valid;
        if (uid.empty()) {
            file->getUid(uid);
        }
    }
    FileList::iterator entry = m_files.FindByFileId(uid);
    const bool rebuild = entry != m_files.end() && entry->second.reinitOnRemoval;
    CUploadManager::FileDesc desc;
    if (rebuild) {
        desc = entry->second.desc;
        if (file != nullptr) {
            file->getOriginalFileDesc(desc);
        }
    }
    if (stillWanted && !rebuild) {
        return;  // the entry stays as the record of a finished file
    }
    if (!stillWanted) {
        VXT_BLOG_INFO(m_logger, "Removing file with id " << uid);
        if (entry != m_files.end()) {
            m_progress.DecreaseBytesTransfered(entry->second.bytesTransferred);
            m_progress.DecreaseTotal(entry->second.bytesTotal);
        }
        if (file != nullptr) {
            if (!rebuild) {
                file->removeFromDb();
            }
            file->uninitialize();
        }
        m_files.Remove(uid);
        updateGroupEmptyFlag();
        if (!rebuild) {
            updateGroupState(true, CTransferManagerBase::FILE_STATUS_REMOVED);
            return;
        }
    }
    if (m_canceled) {
        return;
    }
    VXT_BLOG_INFO(m_logger, "Re-initializing file with id "
                                << uid
                                << ". Most likely an unrecoverable error happened before...");
    // In error with no file object, so that a resume builds a new one.
    const unsigned long long size = getSizeOfFileByUrl(desc.fileUrl);
    m_files.AddPending(desc, size == kUnknownSize ? 0 : size);
    FileList::iterator rebuilt = std::prev(m_files.end());
    rebuilt->second.pending = false;
    rebuilt->second.status = CTransferManagerBase::FILE_STATUS_ERROR;
    updateGroupEmptyFlag();
    m_fileRemoved.signal();
}

// ---------------------------------------------------------------------------------------------
// Marking and completion

void CUploadGroup::markQueue(bool viaEngine) {
    if (viaEngine) {
        if (m_engine != nullptr) {
            m_engine->requestGroupMark(this);
        }
        return;
    }
    Poco::FastMutex::ScopedLock lock(m_mutex);
    markQueueNoLock();
}

void CUploadGroup::markQueueNoLock() {
    m_state.queueMarked = true;
    if (!m_groupsInfo.isNull()) {
        m_groupsInfo->setMarked(m_id, true);
    }
    updateGroupEmptyFlag();
    if (m_state.empty) {
        markGroupAsCompleted();
        if (m_engine != nullptr) {
            m_engine->requestGroupRemove(this);
        }
    }
}

void CUploadGroup::unmarkQueue() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    // A completed group has no row left and takes no more files.
    if (m_state.status == CTransferManagerBase::GROUP_STATUS_COMPLETED) {
        return;
    }
    m_state.queueMarked = false;
    if (!m_groupsInfo.isNull()) {
        m_groupsInfo->setMarked(m_id, false);
    }
}

void CUploadGroup::markGroupAsCompleted() {
    m_state.status = CTransferManagerBase::GROUP_STATUS_COMPLETED;
    VXT_BLOG_INFO(m_logger, "Group assosiated with bucket id " << m_bucketId << " is completed!");
    completeGroup();
    // Sent whatever the completion gave: on failure the state says GROUP_STATUS_ERROR.
    if (m_callback != nullptr) {
        m_callback->onGroupStateChanged(m_state);
    }
}

bool CUploadGroup::completeGroup() {
    const bool ok = sendCompletionStatusToServer();
    if (ok) {
        removeFromDb();
    } else {
        // The ordinary way of retries: the restarter resumes the group, and onResume finds all
        // files done and completes again.
        m_state.status = CTransferManagerBase::GROUP_STATUS_ERROR;
        m_state.errorType = transfer_defs::GROUP_ERROR_COMPLETION_NOT_SENT;
        if (m_callback != nullptr) {
            m_callback->onGroupStateChanged(m_state);
        }
        processError();
    }
    return ok;
}

bool CUploadGroup::sendCompletionStatusToServer() {
    CRestApiBucketStatusUpdate call;
    CRestApiBucketStatusUpdate::RequestDetails details;
    details.bucketId = m_state.bucketId;
    details.token = m_bucketToken;
    details.status = CRestApiBucketStatusUpdate::RequestDetails::COMPLETED;
    dt_error error = call.sendRequest(details);
    if (error == DT_SUCCESS) {
        error = call.receiveResponse();
    }
    if (error == DT_SUCCESS) {
        return true;
    }
    VXT_BLOG_WARNING(m_logger,
                     "Original request to completea group to REST end-point failed.Retrying...");
    error = call.sendRequest(details);
    if (error == DT_SUCCESS) {
        error = call.receiveResponse();
    }
    if (error == DT_SUCCESS) {
        return true;
    }
    VXT_BLOG_ERROR(m_logger, "Error when sending completion status to server: " << error);
    return false;
}

// ---------------------------------------------------------------------------------------------
// Pause, resume, cancel

void CUploadGroup::onPause() {
    std::list<FilePtr> files;
    m_files.GetListOfActiveFilePtrs(files);
    if (m_engine != nullptr) {
        m_engine->requestUploadPause(files);
    }
    // After pauseGroup the flag is set already; other callers get the state change here.
    if (!m_state.paused) {
        updateGroupState(CTransferManagerBase::GROUP_STATUS_PAUSED,
                         transfer_defs::GROUP_ERROR_NONE);
    }
}

void CUploadGroup::onResume() {
    if (m_state.status == CTransferManagerBase::GROUP_STATUS_ERROR) {
        VXT_BLOG_INFO(m_logger, "Resuming errored group.");
    }
    if (m_state.paused) {
        updateGroupState(CTransferManagerBase::GROUP_STATUS_ACTIVE,
                         transfer_defs::GROUP_ERROR_NONE);
    }
    if (areAllFilesDoneNoLock() && m_state.queueMarked && !m_files.isAnyPendingInList()) {
        // The way out for a group whose completion could not be sent before.
        VXT_BLOG_INFO(m_logger,
                      "Group " << m_id << "is in error state, though all files are completed");
        VXT_BLOG_INFO(m_logger,
                      "Group assosiated with bucket id " << m_bucketId << " is completed!");
        m_state.status = CTransferManagerBase::GROUP_STATUS_COMPLETED;
        // A failure has reported itself; a success is reported here, or the application
        // would never learn of it.
        if (completeGroup() && m_callback != nullptr) {
            m_callback->onGroupStateChanged(m_state);
        }
        return;
    }
    m_state.status = CTransferManagerBase::GROUP_STATUS_ACTIVE;
    prepareErroredUploadsToResume();
    std::list<FilePtr> files;
    m_files.GetListOfActiveTransferingFilePtrs(files);
    if (m_engine != nullptr) {
        m_engine->requestUploadResume(files);
    }
    m_lastEventTime = Poco::Timestamp(0);
    if (m_callback != nullptr) {
        m_callback->onGroupStateChanged(m_state);
    }
}

void CUploadGroup::prepareErroredUploadsToResume() {
    std::vector<CUploadManager::FileDesc> errored;
    for (FileList::Entry& entry : m_files) {
        if (entry.second.status == CTransferManagerBase::FILE_STATUS_ERROR) {
            errored.push_back(entry.second.desc);
        }
    }
    if (errored.empty()) {
        return;
    }
    bool anyResumed = false;
    for (CUploadManager::FileDesc& desc : errored) {
        VXT_BLOG_INFO(m_logger, "Resuming upload of errored file with id " << desc.fileUid);
        // An entry still being rebuilt: the engine's thread finishes it (removeFileUploaded)
        // while the wait lets go of the lock.
        for (FileList::iterator entry = m_files.FindByFileId(desc.fileUid);
             entry != m_files.end() && entry->second.reinitOnRemoval;
             entry = m_files.FindByFileId(desc.fileUid)) {
            try {
                m_fileRemoved.wait(m_mutex, kFileRemovedWaitMs);
            } catch (const std::exception& e) {
                VXT_BLOG_WARNING(m_logger, "Resuming errored upload. Exception: " << e.what());
            }
        }
        FilePtr file = m_files.GetFileWithId(desc.fileUid);
        if (!file.isNull()) {
            VXT_BLOG_INFO(m_logger, "Resetting error state of a file");
            if (prepareFileForUpload(file, desc, false) == DT_SUCCESS) {
                file->resetErrorState();
                anyResumed = true;
            }
        } else {
            VXT_BLOG_INFO(m_logger,
                          "Upload group: Got NULL file from files list. Initializing it...");
            // A file made here never passed popFileForUpload, whose preparation gives the file
            // its memory pool; without it the channels would wait for buffers for ever.
            if (initNewFileWithErrorEvent(desc, false, true, false, &file) &&
                prepareFileForUpload(file, desc, false) == DT_SUCCESS) {
                m_files.SetTransfering(desc.fileUid, file);
                if (m_engine != nullptr) {
                    m_engine->requestFileAddPaused(file);
                }
                anyResumed = true;
            }
        }
    }
    if (!anyResumed) {
        // Back to error (and to the restarter) when nothing else runs.
        updateGroupState(true, CTransferManagerBase::FILE_STATUS_ERROR);
    }
}

void CUploadGroup::cancelGroup() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    std::list<FilePtr> files;
    m_files.GetListOfActiveFilePtrs(files);
    for (FilePtr& file : files) {
        std::string uid;
        file->getUid(uid);
        FileList::iterator entry = m_files.FindByFileId(uid);
        if (entry != m_files.end()) {
            entry->second.valid = false;
        }
    }
    if (m_engine != nullptr) {
        m_engine->requestUploadCancel(files);
    }
    unregisterAtRestarter();
    removeFromDb();
    m_files.RemoveAllPending();
    m_canceled = true;
}

void CUploadGroup::removeFromDb() {
    VXT_BLOG_INFO(m_logger, "removeFromDb"
                                << ": Removing group info from DB. Group id:  " << m_id
                                << "Bucket id: " << m_bucketId);
    std::list<FilePtr> files;
    m_files.GetAllFilePtrs(files);
    for (FilePtr& file : files) {
        file->removeFromDb();
    }
    if (!m_groupsInfo.isNull()) {
        m_groupsInfo->remove(m_id);
    }
}

}  // namespace vx_transfers
