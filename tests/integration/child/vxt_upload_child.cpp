// Uploads one file with a CUploadManager until the parent test kills it. The parent uses it to
// leave a half-finished upload in an application folder, as a crash would.
//
//   vxt_upload_child <app folder> <REST end-point> <bucket id> <bucket token> <file uid>
//                    <local path> <min multipart size> <max concurrent transfers>
//
// Prints "MARKED" once the group holds the file and is marked, and exits 0 if the upload
// completes after all (the parent did not kill it in time), 2 on bad arguments, 3 when nothing
// happens for a minute.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "vx_transfers/vx_transfers.h"

namespace {

using vx_transfers::CUploadManager;

class CChildCallback : public CUploadManager::ICallback {
public:
    void onGroupStateChanged(CUploadManager::GroupState& state) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (state.status == CUploadManager::GROUP_STATUS_ACTIVE && !state.empty) m_ready = true;
        if (state.status == CUploadManager::GROUP_STATUS_COMPLETED) m_done = true;
        m_changed.notify_all();
    }
    void onFileStateChanged(vx_transfers::CTransferManagerBase::FileState&) override {}

    bool waitReady() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(60), [this] { return m_ready; });
    }
    bool waitDone() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(60), [this] { return m_done; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ready = false;
    bool m_done = false;
};

std::wstring widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

}  // namespace

int main(int argc, char** argv) {
    if (argc != 9) {
        std::fprintf(stderr,
                     "usage: %s <app folder> <rest url> <bucket id> <token> <file uid> "
                     "<path> <min multipart size> <max concurrent>\n",
                     argv[0]);
        return 2;
    }
    vx_transfers::CVxTransfersInitializer::initialize();
    auto* global = vx_transfers::CVxTransfersGlobalConfig::getInstance();
    global->setAppFilesPath(widen(argv[1]));
    global->setRestEndPointUrl(argv[2]);

    CChildCallback callback;
    CUploadManager manager;
    CUploadManager::Configuration configuration;
    configuration.minMultipartSize = std::strtoull(argv[7], nullptr, 10);
    configuration.maxConcurrentTransfers =
        static_cast<unsigned int>(std::strtoul(argv[8], nullptr, 10));
    configuration.preventSleep = false;
    manager.setConfiguration(configuration);
    manager.subscribeToEvents(&callback);
    manager.startup();

    std::string bucketId = argv[3], type = "test", token = argv[4];
    int groupId = manager.createGroup(bucketId, type, token, 0);
    std::vector<CUploadManager::FileDesc> files(1);
    files[0].fileUid = argv[5];
    files[0].fileUrl = widen(std::string("file://") + argv[6]);
    manager.queueFiles(groupId, files);
    if (!callback.waitReady()) return 3;
    manager.markQueue(groupId);
    std::printf("MARKED\n");
    std::fflush(stdout);
    bool done = callback.waitDone();
    manager.shutdown();
    return done ? 0 : 3;
}
