#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "groups/ITransferGroup.h"

namespace vx_transfers {

// A group that only records the resumes asked of it, for tests of what schedules resumes.
class CRecordingTransferGroup : public ITransferGroup {
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

    void pauseGroup() override {}
    void cancelGroup() override {}
    bool isPaused() override { return false; }
    void loadInfoFromDb() override {}
    void setCallback(void*) override {}
    void getBucketId(std::string&) override {}
    void getBucketToken(std::string&) override {}
    int getId() override { return 0; }
    void resumeGroupAsync(bool) override {}
    void setRetryCounter(unsigned int, bool) override {}
    void onResume() override {}
    void updateGroupState(CTransferManagerBase::GroupStatus,
                          transfer_defs::GroupErrorType) override {}
    void onPause() override {}
    ITransferEngineCallback* getEngineCallback() override { return nullptr; }
    void onRetryCounterChanged() override {}
    bool isBucketExpired() override { return false; }
    void updateExpiredFlag() override {}
    void processError() override {}
    void unregisterAtRestarter() override {}
    bool errorIfBucketExpiredFlagSet() override { return true; }

private:
    std::mutex m_mutex;
    std::condition_variable m_resumed;
    int m_resumes = 0;
    bool m_lastAutoRetry = false;
};

}  // namespace vx_transfers
