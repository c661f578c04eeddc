// One upload through CUploadManager, timed by phase, for bench/upload/run.sh:
//   vx_bench_upload --endpoint URL --user U --password P --app-dir DIR [--concurrency N]
//                   [--multipart-size BYTES] [--timeout SECONDS] PATH...
// A PATH that is a folder stands for the regular files in it. Every file goes into one bucket.
// Prints "phase <name> <seconds>" for setup, register, queue, transfer and shutdown, then
// "files <n> bytes <total>" and "result completed" (exit status 0) or "result failed" (1).
#include <dirent.h>
#include <sys/stat.h>
#include <vx_transfers/vx_transfers.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <mutex>
#include <string>
#include <vector>

namespace {

using vx_transfers::CTransferManagerBase;
using vx_transfers::CUploadManager;
using Clock = std::chrono::steady_clock;

struct Options {
    std::string endpoint, user, password, appDir;
    unsigned int concurrency = 4;
    unsigned long long multipartSize = 0;
    unsigned int timeoutSeconds = 600;
    std::vector<std::string> paths;
};

// Keeps the latest state of the one group and wakes the main thread.
class CGroupWatcher : public CUploadManager::ICallback {
public:
    void onGroupStateChanged(CUploadManager::GroupState& state) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_state = state;
        m_changed.notify_all();
    }
    void onFileStateChanged(CTransferManagerBase::FileState&) override {}

    // Waits until `done` holds for the latest state, at most until `deadline`.
    bool waitFor(const std::function<bool(const CUploadManager::GroupState&)>& done,
                 Clock::time_point deadline) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_until(lock, deadline, [&] { return done(m_state); });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    CUploadManager::GroupState m_state;
};

bool parse(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : std::string(); };
        if (arg == "--endpoint")
            o.endpoint = next();
        else if (arg == "--user")
            o.user = next();
        else if (arg == "--password")
            o.password = next();
        else if (arg == "--app-dir")
            o.appDir = next();
        else if (arg == "--concurrency")
            o.concurrency = static_cast<unsigned>(std::stoul(next()));
        else if (arg == "--multipart-size")
            o.multipartSize = std::stoull(next());
        else if (arg == "--timeout")
            o.timeoutSeconds = static_cast<unsigned>(std::stoul(next()));
        else if (!arg.empty() && arg[0] != '-')
            o.paths.push_back(arg);
        else
            return false;
    }
    return !o.endpoint.empty() && !o.appDir.empty() && !o.paths.empty();
}

// Regular files: the PATHs themselves, or those directly in a folder, sorted.
std::vector<std::pair<std::string, unsigned long long>> listFiles(const Options& o) {
    std::vector<std::pair<std::string, unsigned long long>> out;
    for (const auto& path : o.paths) {
        struct stat st;
        if (::stat(path.c_str(), &st) != 0) continue;
        if (S_ISREG(st.st_mode)) {
            out.emplace_back(path, st.st_size);
            continue;
        }
        std::vector<std::string> names;
        if (DIR* dir = ::opendir(path.c_str())) {
            while (dirent* entry = ::readdir(dir)) names.emplace_back(entry->d_name);
            ::closedir(dir);
        }
        std::sort(names.begin(), names.end());
        for (const auto& name : names) {
            std::string full = path + "/" + name;
            if (::stat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
                out.emplace_back(full, st.st_size);
            }
        }
    }
    return out;
}

std::wstring widen(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

void phase(const char* name, Clock::time_point& since) {
    const auto now = Clock::now();
    std::printf("phase %s %.3f\n", name, std::chrono::duration<double>(now - since).count());
    std::fflush(stdout);
    since = now;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!parse(argc, argv, o)) {
        std::cerr << "usage: vx_bench_upload --endpoint URL --user U --password P --app-dir DIR"
                     " [--concurrency N] [--multipart-size BYTES] [--timeout SECONDS] PATH...\n";
        return 2;
    }
    const auto files = listFiles(o);
    unsigned long long total = 0;
    for (const auto& f : files) total += f.second;
    const auto deadline = Clock::now() + std::chrono::seconds(o.timeoutSeconds);
    auto mark = Clock::now();

    if (!vx_transfers::CVxTransfersInitializer::initialize()) return 1;
    auto* global = vx_transfers::CVxTransfersGlobalConfig::getInstance();
    global->setAppFilesPath(widen(o.appDir));
    global->setRestEndPointUrl(o.endpoint);
    CGroupWatcher watcher;
    bool completed = false;
    {
        CUploadManager manager;
        CUploadManager::Configuration config = manager.getConfiguration();
        config.maxConcurrentTransfers = o.concurrency;
        if (o.multipartSize > 0) config.minMultipartSize = o.multipartSize;
        config.preventSleep = false;
        manager.setConfiguration(config);
        manager.subscribeToEvents(&watcher);
        manager.startup();
        phase("setup", mark);

        vx_transfers::CBucket::UserCredentials credentials{o.user, o.password};
        std::string label = "bench";
        vx_transfers::CBucket bucket(credentials, label);
        auto info = bucket.init();
        std::vector<CUploadManager::FileDesc> descs;
        for (const auto& f : files) {
            descs.push_back(bucket.addFile(widen(f.first)));
            // Parts bring their own headers; the single-part ones would override them.
            if (descs.back().fileUid.empty()) {
                std::cerr << "registration failed for " << f.first << "\n";
                return 1;
            }
        }
        phase("register", mark);

        std::string type = "message";
        const int group = manager.createGroup(info.bucketId, type, info.token, info.tokenExpires);
        manager.queueFiles(group, descs);
        const bool queued = watcher.waitFor(
            [&](const CUploadManager::GroupState& s) {
                return s.status == CTransferManagerBase::GROUP_STATUS_ERROR ||
                       (total > 0 ? s.bytesTotal >= total
                                  : s.status != CTransferManagerBase::GROUP_STATUS_NEW);
            },
            deadline);
        phase("queue", mark);
        if (queued) {
            manager.markQueue(group);
            watcher.waitFor(
                [&](const CUploadManager::GroupState& s) {
                    completed = s.status == CTransferManagerBase::GROUP_STATUS_COMPLETED;
                    return completed || s.status == CTransferManagerBase::GROUP_STATUS_ERROR ||
                           s.status == CTransferManagerBase::GROUP_STATUS_PAUSED;
                },
                deadline);
        }
        phase("transfer", mark);
        manager.shutdown();
    }
    phase("shutdown", mark);
    std::printf("files %zu bytes %llu\nresult %s\n", files.size(), total,
                completed ? "completed" : "failed");
    return completed ? 0 : 1;
}
