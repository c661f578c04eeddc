#include "support/CFakeUploadFile.h"

namespace vxt_test {

using vx_transfers::CUploadGroup;
using vx_transfers::CUploadManager;
using vx_transfers::dt_error;

std::string CFakeUploadFile::Probe::uid() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_desc.fileUid;
}

CUploadManager::FileDesc CFakeUploadFile::Probe::desc() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_desc;
}

CUploadGroup* CFakeUploadFile::Probe::group() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_group;
}

std::string CFakeUploadFile::Probe::uploadId() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_uploadId;
}

bool CFakeUploadFile::Probe::restoredPaused() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_restoredPaused;
}

CFakeUploadFile::CFakeUploadFile(std::shared_ptr<Probe> probe) : m_probe(std::move(probe)) {}

CFakeUploadFile::~CFakeUploadFile() { m_probe->destroyed = true; }

void CFakeUploadFile::getUid(std::string& uid) { uid = m_probe->uid(); }

void CFakeUploadFile::getBucketUid(std::string& bucketUid) { bucketUid.clear(); }

dt_error CFakeUploadFile::initialize(CUploadManager::FileDesc& desc, CUploadGroup* group, bool,
                                     unsigned long long) {
    ++m_probe->initializeCalls;
    {
        std::lock_guard<std::mutex> lock(m_probe->m_mutex);
        m_probe->m_desc = desc;
        m_probe->m_group = group;
    }
    return m_probe->initializeResult;
}

void CFakeUploadFile::uninitialize() {
    ++m_probe->uninitializeCalls;
    std::lock_guard<std::mutex> lock(m_probe->m_mutex);
    m_probe->m_group = nullptr;
}

void CFakeUploadFile::initFromDb(CUploadManager::FileDesc& desc, CUploadGroup* group,
                                 std::string& uploadId, bool paused, unsigned long long) {
    ++m_probe->initFromDbCalls;
    std::lock_guard<std::mutex> lock(m_probe->m_mutex);
    m_probe->m_desc = desc;
    m_probe->m_group = group;
    m_probe->m_uploadId = uploadId;
    m_probe->m_restoredPaused = paused;
}

dt_error CFakeUploadFile::prepareForUpload() {
    ++m_probe->prepareCalls;
    return m_probe->prepareResult;
}

void CFakeUploadFile::getOriginalFileDesc(CUploadManager::FileDesc& desc) {
    desc = m_probe->desc();
}

void CFakeUploadFile::getChannelVector(
    std::list<Poco::SharedPtr<vx_transfers::ITransferChannel>>&) {}

void CFakeUploadFile::getChannelsToTransfer(
    std::list<Poco::SharedPtr<vx_transfers::ITransferChannel>>&) {}

void CFakeUploadFile::getFileState(vx_transfers::CTransferManagerBase::FileState& state) {
    state = m_probe->state;
}

}  // namespace vxt_test
