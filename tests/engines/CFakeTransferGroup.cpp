#include "CFakeTransferGroup.h"

namespace vx_transfers {

void CFakeTransferGroup::addBatch(const ChannelList& channels) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_batches.push_back(channels);
}

bool CFakeTransferGroup::popBatch(ChannelList& channels) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_batches.empty()) {
        return false;
    }
    channels = m_batches.front();
    m_batches.pop_front();
    return true;
}

int CFakeTransferGroup::resumeCount() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_resumes;
}

bool CFakeTransferGroup::lastAutoRetry() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastAutoRetry;
}

bool CFakeTransferGroup::waitForResumes(int count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_resumed.wait_for(lock, timeout, [&] { return m_resumes >= count; });
}

void CFakeTransferGroup::resumeGroupAsync(bool autoRetry) {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_resumes;
    m_lastAutoRetry = autoRetry;
    m_resumed.notify_all();
}

}  // namespace vx_transfers
