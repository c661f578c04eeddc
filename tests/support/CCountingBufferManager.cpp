#include "support/CCountingBufferManager.h"

namespace vxt_test {

using vx_transfers::CTransferBuffer;
using vx_transfers::CTransferBufferRef;

CCountingBufferManager::CCountingBufferManager(
    Poco::SharedPtr<vx_transfers::ITransferBufferManager> real)
    : m_real(real) {}

CTransferBufferRef CCountingBufferManager::getBufferRef(unsigned long long size) {
    return CTransferBufferRef(this, getBuffer(size));
}

CTransferBuffer& CCountingBufferManager::getBuffer(unsigned long long size) {
    try {
        CTransferBuffer& buffer = m_real->getBuffer(size);
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_held;
        m_changed.notify_all();
        return buffer;
    } catch (const CInsufficientMemoryException&) {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_dry;
        m_changed.notify_all();
        throw;
    }
}

void CCountingBufferManager::releaseBuffer(CTransferBuffer& buffer) {
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return !m_gateClosed; });
    }
    m_real->releaseBuffer(buffer);
    std::lock_guard<std::mutex> lock(m_mutex);
    --m_held;
    m_changed.notify_all();
}

void CCountingBufferManager::updateTransferSpeed(unsigned long long speed) {
    m_real->updateTransferSpeed(speed);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_speed = speed;
}

void CCountingBufferManager::closeReleaseGate() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_gateClosed = true;
}

void CCountingBufferManager::openReleaseGate() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_gateClosed = false;
    m_changed.notify_all();
}

int CCountingBufferManager::held() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_held;
}

unsigned long long CCountingBufferManager::dryPoolCount() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dry;
}

unsigned long long CCountingBufferManager::lastSpeed() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_speed;
}

bool CCountingBufferManager::waitUntil(const std::function<bool(const Counters&)>& predicate,
                                       std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] {
        Counters counters;
        counters.held = m_held;
        counters.dry = m_dry;
        return predicate(counters);
    });
}

}  // namespace vxt_test
