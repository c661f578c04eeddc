#include "engines/CTransferEngineRequestQueue.h"

#include <new>

namespace vx_transfers {

CTransferEngineRequestQueue::CTransferEngineRequestQueue() : m_cancelWait(false) {}

void CTransferEngineRequestQueue::AddRequest(RequestType type) {
    Poco::Any empty;
    AddRequest(type, empty);
}

void CTransferEngineRequestQueue::AddRequest(RequestType type, Poco::Any& payload) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    try {
        Poco::SharedPtr<QueueElement> element(new (std::nothrow) QueueElement);
        if (element.isNull()) {
            return;
        }
        element->type = type;
        element->payload = payload;
        m_queue.push_back(element);
    } catch (const std::bad_alloc&) {
        // The request is lost; the engine goes on with what it has.
        return;
    }
    m_condition.signal();
}

void CTransferEngineRequestQueue::PopRequest(RequestType& type, Poco::Any& payload) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    // Every post signals, so this wakes once per request; the loop only guards against
    // being woken with nothing there.
    while (m_queue.empty()) {
        m_condition.wait(m_mutex);
    }
    if (m_cancelWait) {
        return;
    }
    // Copy before removing, so a failed copy leaves the request where it was.
    Poco::Any copy(m_queue.front()->payload);
    type = m_queue.front()->type;
    m_queue.pop_front();
    payload.swap(copy);
}

void CTransferEngineRequestQueue::CancelWait() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_cancelWait = true;
}

}  // namespace vx_transfers
