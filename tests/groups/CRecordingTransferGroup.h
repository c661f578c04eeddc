#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "support/CInertTransferGroup.h"

namespace vx_transfers {

// A group that only records the resumes asked of it, for tests of what schedules resumes.
class CRecordingTransferGroup : public vxt_test::CInertTransferGroup {
public:
    void resumeGroup(bool autoRetry) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_resumes;
        m_lastAutoRetry = autoRetry;
        m_resumed.notify_all();
    }

    int resumeCount() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_resumes;
    }

    bool lastAutoRetry() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastAutoRetry;
    }

    // True once `count` resumes have been asked for, false if the timeout came first.
    bool waitForResumes(int count, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_resumed.wait_for(lock, timeout, [&] { return m_resumes >= count; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_resumed;
    int m_resumes = 0;
    bool m_lastAutoRetry = false;
};

}  // namespace vx_transfers
