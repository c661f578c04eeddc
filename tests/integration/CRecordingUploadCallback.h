// An ICallback that keeps every event it is given, so that tests can wait for a state instead of
// sleeping. Events are recorded in arrival order; waits look at the whole history from an index
// on, so an event that arrived before the wait began still counts.
#ifndef VXT_TESTS_INTEGRATION_CRECORDINGUPLOADCALLBACK_H
#define VXT_TESTS_INTEGRATION_CRECORDINGUPLOADCALLBACK_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "vx_transfers/CUploadManager.h"

namespace vxt_test {

class CRecordingUploadCallback : public vx_transfers::CUploadManager::ICallback {
public:
    using GroupState = vx_transfers::CUploadManager::GroupState;
    using FileState = vx_transfers::CTransferManagerBase::FileState;
    using GroupPredicate = std::function<bool(const GroupState&)>;
    using FilePredicate = std::function<bool(const FileState&)>;

    void onGroupStateChanged(GroupState& state) override;
    void onFileStateChanged(FileState& state) override;

    std::vector<GroupState> groupEvents() const;
    std::vector<FileState> fileEvents() const;
    std::size_t groupEventCount() const;
    std::size_t fileEventCount() const;

    // Waits until an event at position `from` or later satisfies `predicate`. Gives the position
    // of the first match (and copies it to `match`), or -1 after `timeout`.
    long waitForGroup(const GroupPredicate& predicate, std::chrono::milliseconds timeout,
                      std::size_t from = 0, GroupState* match = nullptr);
    long waitForFile(const FilePredicate& predicate, std::chrono::milliseconds timeout,
                     std::size_t from = 0, FileState* match = nullptr);

    // Readable summary of the history, for failure messages.
    std::string describe() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<GroupState> m_groupEvents;  // guarded by m_mutex
    std::vector<FileState> m_fileEvents;    // guarded by m_mutex
};

}  // namespace vxt_test

#endif
