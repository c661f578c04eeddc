// The application's side of an upload group in the file tests: records every file state the
// group passes on, so that tests wait (bounded) for a file's outcome and count its reports.
#ifndef VXT_TESTS_FILES_CRECORDINGUPLOADCALLBACK_H
#define VXT_TESTS_FILES_CRECORDINGUPLOADCALLBACK_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "vx_transfers/CUploadManager.h"

namespace vx_transfers {

class CRecordingUploadCallback : public CUploadManager::ICallback {
public:
    using FileState = CTransferManagerBase::FileState;
    using FileStatus = CTransferManagerBase::FileStatus;

    void onGroupStateChanged(CUploadManager::GroupState& state) override;
    void onFileStateChanged(FileState& state) override;

    // The states of `fileId` with `status`, in the order they arrived.
    std::vector<FileState> statesOf(const std::string& fileId, FileStatus status) const;
    // Waits until `fileId` has reported `status` `count` times; false after `timeout`.
    bool waitForStatus(const std::string& fileId, FileStatus status,
                       std::chrono::milliseconds timeout, std::size_t count = 1) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<FileState> m_fileStates;
};

}  // namespace vx_transfers

#endif
