// `vxt upload`: logs in, makes a bucket, registers the files with CBucket, queues and marks
// them on a CUploadManager, shows the progress and writes the manifest. With --resume it makes
// no bucket: the manager restores what the database in the application folder holds, and the
// command finishes those groups.
#ifndef VXT_CUPLOADCOMMAND_H
#define VXT_CUPLOADCOMMAND_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CManifest.h"
#include "CProgressView.h"
#include "CUploadObserver.h"

namespace vx_transfers {
class CUploadManager;
}

namespace vxt {

struct UploadOptions {
    std::string endpoint;
    std::string user;
    std::string password;
    unsigned int concurrency = 0;     // 0: the library's default
    std::uint64_t multipartSize = 0;  // 0: the library's default
    std::uint64_t limit = 0;          // bytes per second, 0: none
    bool verify = false;
    bool resume = false;
    std::string appDir;
    std::string manifestCopy;  // also write the manifest here
    std::vector<std::string> paths;
};

class CUploadCommand {
public:
    // Exit codes.
    static constexpr int kOk = 0;      // every group completed
    static constexpr int kFailed = 1;  // a group failed, or the set-up did
    static constexpr int kUsage = 2;   // the arguments do not make sense
    static constexpr int kInterrupted = 130;

    explicit CUploadCommand(UploadOptions options);
    ~CUploadCommand();

    int run();

private:
    struct Tracked {
        int groupId = -1;
        Manifest manifest;
        std::string manifestPath;
        bool done = false;
        bool completed = false;
        // Resumed by us: an ERROR or PAUSED state that was reported before the resume took
        // effect must not count as the outcome, so those wait for ACTIVE first (bounded).
        bool awaitingResume = false;
        std::chrono::steady_clock::time_point resumeDeadline;
    };

    int runNew();
    int runResume();
    bool setUpLibrary(const std::string& endpoint);
    void configureManager();
    // Waits until the group has taken in the queued files, so that marking it cannot complete
    // it early. False when it failed, the wait ran out or the user interrupted.
    bool waitUntilQueued(Tracked& group);
    // Shows progress until every tracked group completed or failed, or the user interrupted.
    void watch();
    void consume(const CUploadObserver::Snapshot& snapshot);
    TotalProgress totals(const CUploadObserver::Snapshot& snapshot) const;
    std::vector<FileProgress> moving(const CUploadObserver::Snapshot& snapshot) const;
    Tracked* trackedGroup(int groupId);
    std::string nameOf(int groupId, const std::string& fileId);
    void saveManifests(const std::vector<std::string>* md5s);
    int finish(const std::vector<std::string>* md5s);

    UploadOptions m_options;
    CProgressView m_view;
    CUploadObserver m_observer;
    std::unique_ptr<vx_transfers::CUploadManager> m_manager;
    std::vector<Tracked> m_groups;
    std::size_t m_failuresWithoutId = 0;
    bool m_interrupted = false;
};

}  // namespace vxt

#endif
