// The application side of CUploadManager::ICallback for vxt: the library calls it on its own
// threads with a group's lock held, so it only copies the records under a mutex of its own and
// wakes the main thread, which does all the printing and decides what to do next.
#ifndef VXT_CUPLOADOBSERVER_H
#define VXT_CUPLOADOBSERVER_H

#include <vx_transfers/CUploadManager.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vxt {

class CUploadObserver : public vx_transfers::CUploadManager::ICallback {
public:
    using GroupState = vx_transfers::CUploadManager::GroupState;
    using FileState = vx_transfers::CTransferManagerBase::FileState;
    using FileKey = std::pair<int, std::string>;  // group id, file id

    struct Snapshot {
        std::uint64_t version = 0;  // counts group events: file events do not wake the reader
        std::map<int, GroupState> groups;    // latest state of each group
        std::map<FileKey, FileState> files;  // latest state of each file
        std::vector<FileState> finished;     // files completed or failed since the last take
        std::size_t failuresWithoutId = 0;   // files refused before they had an id
    };

    void onGroupStateChanged(GroupState& state) override;
    void onFileStateChanged(FileState& state) override;

    // Waits until a group event arrived after `seenVersion`, at most `timeout`.
    void waitForChange(std::uint64_t seenVersion, std::chrono::milliseconds timeout);
    // A copy of what arrived so far; the list of finished files is handed over once.
    Snapshot take();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Snapshot m_state;  // guarded by m_mutex
};

}  // namespace vxt

#endif
