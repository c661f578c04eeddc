#pragma once

#include <mutex>
#include <vector>

#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {

// The application's side of an upload manager: records every group and file event in order.
class CRecordingUploadCallback : public CUploadManager::ICallback {
public:
    void onGroupStateChanged(CUploadManager::GroupState& state) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_groupStates.push_back(state);
    }

    void onFileStateChanged(CTransferManagerBase::FileState& state) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_fileStates.push_back(state);
    }

    std::vector<CUploadManager::GroupState> groupStates() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_groupStates;
    }

    std::vector<CTransferManagerBase::FileState> fileStates() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_fileStates;
    }

    // The last group event; a default record when there was none.
    CUploadManager::GroupState lastGroupState() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_groupStates.empty() ? CUploadManager::GroupState() : m_groupStates.back();
    }

    void clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_groupStates.clear();
        m_fileStates.clear();
    }

private:
    std::mutex m_mutex;
    std::vector<CUploadManager::GroupState> m_groupStates;
    std::vector<CTransferManagerBase::FileState> m_fileStates;
};

}  // namespace vx_transfers
