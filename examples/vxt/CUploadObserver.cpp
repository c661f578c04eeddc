#include "CUploadObserver.h"

namespace vxt {

void CUploadObserver::onGroupStateChanged(GroupState& state) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_state.groups[state.groupId] = state;
    ++m_state.version;
    m_changed.notify_all();
}

void CUploadObserver::onFileStateChanged(FileState& state) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (state.fileId.empty()) {
        // A file the group could not even open reports without ids.
        if (state.status == vx_transfers::CTransferManagerBase::FILE_STATUS_ERROR) {
            ++m_state.failuresWithoutId;
        }
    } else {
        m_state.files[FileKey(state.groupId, state.fileId)] = state;
        if (state.status != vx_transfers::CTransferManagerBase::FILE_STATUS_TRANSFERRING) {
            m_state.finished.push_back(state);
        }
    }
}

void CUploadObserver::waitForChange(std::uint64_t seenVersion, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [&] { return m_state.version != seenVersion; });
}

CUploadObserver::Snapshot CUploadObserver::take() {
    std::lock_guard<std::mutex> lock(m_mutex);
    Snapshot copy = m_state;
    m_state.finished.clear();
    return copy;
}

}  // namespace vxt
