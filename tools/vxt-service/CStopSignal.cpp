#include "vxt-service/CStopSignal.h"

namespace vxt_service {

void CStopSignal::raise() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_raised = true;
    }
    m_cv.notify_all();
}

void CStopSignal::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_raised = false;
}

bool CStopSignal::raised() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_raised;
}

bool CStopSignal::waitFor(std::chrono::microseconds duration) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, duration, [this] { return m_raised; });
}

}  // namespace vxt_service
