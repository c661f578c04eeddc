#include "managers/CSleepPreventerCounterProxy.h"

#include "platform/Log.h"
#include "platform/porting/ISleepPreventer.h"

namespace vx_transfers {

CSleepPreventerCounterProxy::CSleepPreventerCounterProxy()
    : CSleepPreventerCounterProxy(ISleepPreventer::create()) {}

CSleepPreventerCounterProxy::CSleepPreventerCounterProxy(ISleepPreventer* preventer)
    : m_preventer(preventer), m_counter(0) {}

CSleepPreventerCounterProxy::~CSleepPreventerCounterProxy() = default;

void CSleepPreventerCounterProxy::sleepCounterIncrement() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_counter == 0 && m_preventer && !m_preventer->isPreventing()) {
        VXT_LOG_INFO("Start preventing sleep!");
        if (!m_preventer->start()) {
            VXT_LOG_INFO("Failed to start preventing sleep!");
        }
    }
    // Counted whatever the platform said, so that the decrements still match.
    ++m_counter;
}

void CSleepPreventerCounterProxy::sleepCounterDecrement() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (m_counter == 1) {
        VXT_LOG_INFO("Stop preventing sleep!");
        if (m_preventer && !m_preventer->stop()) {
            VXT_LOG_INFO("Failed to stop preventing sleep!");
        }
    }
    if (m_counter != 0) {
        --m_counter;
    }
}

unsigned int CSleepPreventerCounterProxy::getCounter() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_counter;
}

}  // namespace vx_transfers
