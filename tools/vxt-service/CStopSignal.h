// A flag that, once raised, wakes every thread waiting on it. Used so that deliberate waits
// (scripted delays, throttling) end at once when the service stops.
#ifndef VXT_SERVICE_CSTOPSIGNAL_H
#define VXT_SERVICE_CSTOPSIGNAL_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vxt_service {

class CStopSignal {
public:
    void raise();
    void clear();
    bool raised() const;
    // Waits up to `duration`; true when the signal was raised (before or during the wait).
    bool waitFor(std::chrono::microseconds duration) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_cv;
    bool m_raised = false;  // guarded by m_mutex
};

}  // namespace vxt_service

#endif
