#include "CBenchFile.h"

#include <Poco/Delegate.h>

#include <chrono>

namespace vx_transfers {

CBenchFile::CBenchFile(Poco::SharedPtr<ITransferBufferManager> manager, unsigned long long total)
    : m_manager(manager) {
    m_tracker.Start(total);
}

void CBenchFile::attach(ITransferChannel& channel) {
    channel.progressEvent += Poco::delegate(this, &CBenchFile::onProgress);
    channel.stateEvent += Poco::delegate(this, &CBenchFile::onState);
}

void CBenchFile::detach(ITransferChannel& channel) {
    channel.progressEvent -= Poco::delegate(this, &CBenchFile::onProgress);
    channel.stateEvent -= Poco::delegate(this, &CBenchFile::onState);
}

void CBenchFile::onProgress(const void*, const long long& delta) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_bytes += delta;
    m_tracker.AddData(delta);
    const long long speed = m_tracker.GetLastTransferSpeed();
    m_manager->updateTransferSpeed(speed > 0 ? static_cast<unsigned long long>(speed) : 0);
}

void CBenchFile::onState(const void*, const ITransferChannel::StateEventData& data) {
    if (data.state == ITransferChannel::StateStarted ||
        data.state == ITransferChannel::StatePaused) {
        return;
    }
    std::lock_guard<std::mutex> lock(m_endsMutex);
    ++m_ends;
    if (data.state == ITransferChannel::StateCompleted) ++m_completed;
    m_ended.notify_all();
}

long long CBenchFile::bytes() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_bytes;
}

bool CBenchFile::waitForEnds(int count, double seconds) {
    std::unique_lock<std::mutex> lock(m_endsMutex);
    return m_ended.wait_for(lock, std::chrono::duration<double>(seconds),
                            [&] { return m_ends >= count; });
}

int CBenchFile::completed() {
    std::lock_guard<std::mutex> lock(m_endsMutex);
    return m_completed;
}

}  // namespace vx_transfers
