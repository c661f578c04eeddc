#include "CRecordingUploadCallback.h"

namespace vx_transfers {

void CRecordingUploadCallback::onGroupStateChanged(CUploadManager::GroupState& /*state*/) {}

void CRecordingUploadCallback::onFileStateChanged(FileState& state) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_fileStates.push_back(state);
    }
    m_changed.notify_all();
}

std::vector<CRecordingUploadCallback::FileState> CRecordingUploadCallback::statesOf(
    const std::string& fileId, FileStatus status) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<FileState> found;
    for (const auto& state : m_fileStates) {
        if (state.fileId == fileId && state.status == status) {
            found.push_back(state);
        }
    }
    return found;
}

bool CRecordingUploadCallback::waitForStatus(const std::string& fileId, FileStatus status,
                                             std::chrono::milliseconds timeout,
                                             std::size_t count) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] {
        std::size_t seen = 0;
        for (const auto& state : m_fileStates) {
            if (state.fileId == fileId && state.status == status) {
                ++seen;
            }
        }
        return seen >= count;
    });
}

}  // namespace vx_transfers
