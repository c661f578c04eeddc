#include "CUploadCommand.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <vx_transfers/CBucket.h>
#include <vx_transfers/CUploadManager.h>
#include <vx_transfers/CVxTransfersGlobalConfig.h>
#include <vx_transfers/CVxTransfersInitializer.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "CInterruptFlag.h"
#include "CLocalFileScanner.h"
#include "CMd5Calculator.h"

namespace vxt {
namespace {

using vx_transfers::CTransferManagerBase;
using vx_transfers::CUploadManager;
using Clock = std::chrono::steady_clock;

constexpr auto kTick = std::chrono::milliseconds(200);
// Opening and registering thousands of files on the manager's thread takes a while, but
// never this long.
constexpr auto kQueueTimeout = std::chrono::minutes(5);
constexpr auto kResumeTimeout = std::chrono::seconds(30);

bool isTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

unsigned terminalWidth() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

std::uint64_t nowMs() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
}

// UTF-8 to the wide strings the library takes for local paths.
std::wstring widen(const std::string& text) {
    std::wstring out;
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        const std::size_t length = c < 0x80 ? 1 : c >> 5 == 0x6 ? 2 : c >> 4 == 0xE ? 3 : 4;
        std::uint32_t code = length == 1   ? c
                             : length == 2 ? c & 0x1F
                             : length == 3 ? c & 0x0F
                                           : c & 0x07;
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k) {
            code = code << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        out.push_back(static_cast<wchar_t>(code));
        i += length;
    }
    return out;
}

std::string fileErrorText(vx_transfers::transfer_defs::FileErrorType type) {
    using namespace vx_transfers::transfer_defs;
    switch (type) {
        case FILE_ERROR_LOCAL_FILE:
            return "the local file could not be read";
        case FILE_ERROR_FILE_CHANGED:
            return "the file changed on disk";
        case FILE_ERROR_URL:
            return "no usable upload URL";
        case FILE_ERROR_CONNECTION:
            return "the connection failed too often";
        case FILE_ERROR_MULTIPART_INIT:
            return "the service refused the multipart upload";
        case FILE_ERROR_CHANNEL_INIT:
            return "the transfer could not be set up";
        default:
            return "";
    }
}

std::string groupErrorText(vx_transfers::transfer_defs::GroupErrorType type) {
    using namespace vx_transfers::transfer_defs;
    switch (type) {
        case GROUP_ERROR_BUCKET_EXPIRED:
            return "the bucket has expired";
        case GROUP_ERROR_COMPLETION_NOT_SENT:
            return "the service was not told of the completion";
        default:
            return "some files failed";
    }
}

}  // namespace

CUploadCommand::CUploadCommand(UploadOptions options)
    : m_options(std::move(options)), m_view(std::cout, isTerminal(), terminalWidth()) {}

CUploadCommand::~CUploadCommand() = default;

int CUploadCommand::run() {
    std::error_code ec;
    std::filesystem::create_directories(m_options.appDir, ec);
    if (ec) {
        std::cerr << "vxt: cannot create " << m_options.appDir << ": " << ec.message() << "\n";
        return kFailed;
    }
    m_options.appDir = std::filesystem::absolute(m_options.appDir).string();
    CInterruptFlag::install();
    return m_options.resume ? runResume() : runNew();
}

bool CUploadCommand::setUpLibrary(const std::string& endpoint) {
    if (!vx_transfers::CVxTransfersInitializer::initialize()) {
        std::cerr << "vxt: the transfer library could not start (see " << m_options.appDir
                  << "/vx_transfers.log)\n";
        return false;
    }
    auto* config = vx_transfers::CVxTransfersGlobalConfig::getInstance();
    config->setAppFilesPath(widen(m_options.appDir));
    config->setRestEndPointUrl(endpoint);
    config->setUserAgent("vxt/1.0");
    try {
        m_manager = std::make_unique<CUploadManager>();
    } catch (const std::exception& e) {
        std::cerr << "vxt: the upload manager could not start: " << e.what() << "\n";
        return false;
    }
    configureManager();
    m_manager->subscribeToEvents(&m_observer);
    return true;
}

void CUploadCommand::configureManager() {
    CUploadManager::Configuration configuration = m_manager->getConfiguration();
    if (m_options.concurrency > 0) configuration.maxConcurrentTransfers = m_options.concurrency;
    if (m_options.multipartSize > 0) configuration.minMultipartSize = m_options.multipartSize;
    configuration.throttleBytesPerSec = m_options.limit;
    configuration.verifyUploads = m_options.verify;
    configuration.restEndPoint =
        vx_transfers::CVxTransfersGlobalConfig::getInstance()->getRestEndPointUrl();
    m_manager->setConfiguration(configuration);
}

int CUploadCommand::runNew() {
    if (m_options.endpoint.empty() || m_options.user.empty() || m_options.paths.empty()) {
        std::cerr << "vxt upload: give --endpoint, --user, --password and at least one PATH "
                     "(or --resume)\n";
        return kUsage;
    }
    std::vector<LocalFile> files;
    std::string error;
    if (!CLocalFileScanner::scan(m_options.paths, files, error)) {
        std::cerr << "vxt: " << error << "\n";
        return kUsage;
    }
    if (files.empty()) {
        std::cerr << "vxt: no files to upload\n";
        return kUsage;
    }
    if (!setUpLibrary(m_options.endpoint)) return kFailed;

    vx_transfers::CBucket::UserCredentials credentials{m_options.user, m_options.password};
    std::string label = "vxt";
    vx_transfers::CBucket bucket(credentials, label);
    vx_transfers::CBucket::BucketInfo info = bucket.init();
    if (info.bucketId.empty()) {
        std::cerr << "vxt: could not log in or create a bucket at " << m_options.endpoint
                  << " (see " << m_options.appDir << "/vx_transfers.log)\n";
        return kFailed;
    }
    Tracked group;
    group.manifest.endpoint = m_options.endpoint;
    group.manifest.bucketId = info.bucketId;
    group.manifest.bucketToken = info.token;
    group.manifest.tokenExpires = info.tokenExpires;
    group.manifest.createdMs = nowMs();
    group.manifestPath = CManifest::pathFor(m_options.appDir, info.bucketId);
    m_view.note("bucket " + info.bucketId + ": registering " + std::to_string(files.size()) +
                " files");

    std::vector<CUploadManager::FileDesc> descs;
    for (const auto& file : files) {
        if (CInterruptFlag::raised()) {
            std::cerr << "vxt: interrupted while registering files; nothing was uploaded\n";
            return kInterrupted;
        }
        CUploadManager::FileDesc desc;
        try {
            desc = bucket.addFile(widen(file.absolutePath));
        } catch (const std::exception& e) {
            std::cerr << "vxt: cannot register " << file.relativePath << ": " << e.what() << "\n";
            return kFailed;
        }
        if (desc.fileUid.empty()) {
            std::cerr << "vxt: the service refused " << file.relativePath << "\n";
            return kFailed;
        }
        ManifestFile entry;
        entry.fileId = desc.fileUid;
        entry.path = file.relativePath;
        entry.localPath = file.absolutePath;
        entry.size = file.size;
        entry.modifiedMs = file.modifiedMs;
        group.manifest.files.push_back(entry);
        descs.push_back(std::move(desc));
    }
    if (!CManifest::write(group.manifest, group.manifestPath, error)) {
        std::cerr << "vxt: " << error << "\n";
        return kFailed;
    }

    std::vector<std::string> paths;
    for (const auto& file : files) paths.push_back(file.absolutePath);
    CMd5Calculator md5(paths);

    m_manager->startup();
    std::string bucketType = "message";
    group.groupId =
        m_manager->createGroup(info.bucketId, bucketType, info.token, info.tokenExpires);
    if (group.groupId < 0) {
        std::cerr << "vxt: the upload manager refused the bucket\n";
        return kFailed;
    }
    m_groups.push_back(group);
    m_manager->queueFiles(group.groupId, descs);
    if (waitUntilQueued(m_groups.back())) {
        m_manager->markQueue(group.groupId);
        watch();
    }
    if (m_interrupted) md5.cancel();
    return finish(&md5.results());
}

bool CUploadCommand::waitUntilQueued(Tracked& group) {
    const std::uint64_t expected = group.manifest.totalBytes();
    const auto deadline = Clock::now() + kQueueTimeout;
    std::uint64_t version = 0;
    for (;;) {
        if (CInterruptFlag::raised()) {
            m_interrupted = true;
            return false;
        }
        CUploadObserver::Snapshot snapshot = m_observer.take();
        consume(snapshot);
        version = snapshot.version;
        // The latest event and the state read now: either may be the first to show the files.
        std::vector<CUploadManager::GroupState> states;
        auto seen = snapshot.groups.find(group.groupId);
        if (seen != snapshot.groups.end()) states.push_back(seen->second);
        CUploadManager::GroupState polled;
        if (m_manager->getGroupState(group.groupId, polled) == vx_transfers::DT_SUCCESS) {
            states.push_back(polled);
        }
        for (const auto& state : states) {
            if (state.status == CTransferManagerBase::GROUP_STATUS_ERROR) {
                m_view.note("bucket " + group.manifest.bucketId +
                            ": the files could not be queued");
                group.done = true;
                return false;
            }
            const bool queued = expected > 0
                                    ? state.bytesTotal >= expected
                                    : state.status != CTransferManagerBase::GROUP_STATUS_NEW;
            if (queued) return true;
        }
        if (Clock::now() >= deadline) {
            m_view.note("bucket " + group.manifest.bucketId +
                        ": the upload manager did not take the files in");
            group.done = true;
            return false;
        }
        m_observer.waitForChange(version, kTick);
    }
}

int CUploadCommand::runResume() {
    std::vector<Manifest> manifests = CManifest::loadAll(m_options.appDir);
    std::string endpoint = m_options.endpoint;
    if (endpoint.empty() && !manifests.empty()) endpoint = manifests.back().endpoint;
    if (endpoint.empty()) {
        std::cerr << "vxt: no manifest in " << m_options.appDir
                  << " names the service; give --endpoint\n";
        return kUsage;
    }
    if (!setUpLibrary(endpoint)) return kFailed;
    m_manager->startup();
    std::vector<CUploadManager::GroupState> states;
    m_manager->fetchGroupsInfo(states);
    if (states.empty()) {
        m_view.note("nothing to resume in " + m_options.appDir);
        m_manager->shutdown();
        return kOk;
    }
    for (const auto& state : states) {
        Tracked group;
        group.groupId = state.groupId;
        auto manifest = std::find_if(manifests.begin(), manifests.end(), [&](const Manifest& m) {
            return m.bucketId == state.bucketId;
        });
        if (manifest != manifests.end()) {
            group.manifest = *manifest;
            group.manifestPath = CManifest::pathFor(m_options.appDir, state.bucketId);
        } else {
            group.manifest.bucketId = state.bucketId;
            group.manifest.endpoint = endpoint;
        }
        m_view.note("resuming bucket " + state.bucketId + " (" +
                    CProgressView::formatBytes(state.bytesTransferred) + " of " +
                    CProgressView::formatBytes(state.bytesTotal) + " sent before)");
        if (state.status == CTransferManagerBase::GROUP_STATUS_ERROR ||
            state.status == CTransferManagerBase::GROUP_STATUS_PAUSED) {
            m_manager->resumeGroup(state.groupId);
            group.awaitingResume = true;
            group.resumeDeadline = Clock::now() + kResumeTimeout;
        }
        if (!state.queueMarked) {
            // Interrupted between queueing and marking: mark only when every file of the
            // manifest made it into the group, or the bucket would complete without them.
            if (manifest == manifests.end() || state.bytesTotal >= group.manifest.totalBytes()) {
                m_manager->markQueue(state.groupId);
            } else {
                m_view.note("bucket " + state.bucketId +
                            ": not every file was queued before the interruption; upload "
                            "these files again");
                group.done = true;
            }
        }
        m_groups.push_back(group);
    }
    watch();
    return finish(nullptr);
}

CUploadCommand::Tracked* CUploadCommand::trackedGroup(int groupId) {
    for (auto& group : m_groups) {
        if (group.groupId == groupId) return &group;
    }
    return nullptr;
}

std::string CUploadCommand::nameOf(int groupId, const std::string& fileId) {
    Tracked* group = trackedGroup(groupId);
    ManifestFile* file = group == nullptr ? nullptr : group->manifest.find(fileId);
    return file == nullptr ? fileId : file->path;
}

void CUploadCommand::consume(const CUploadObserver::Snapshot& snapshot) {
    for (const auto& state : snapshot.finished) {
        Tracked* group = trackedGroup(state.groupId);
        ManifestFile* file = group == nullptr ? nullptr : group->manifest.find(state.fileId);
        const std::string name = file == nullptr ? state.fileId : file->path;
        if (state.status == CTransferManagerBase::FILE_STATUS_COMPLETED) {
            if (file != nullptr && file->status == "completed") continue;
            if (file != nullptr) file->status = "completed";
            m_view.fileCompleted(name, state.bytesTotal);
        } else {
            if (file != nullptr) file->status = "failed";
            m_view.fileFailed(name, fileErrorText(state.fileErrorType));
        }
    }
    while (m_failuresWithoutId < snapshot.failuresWithoutId) {
        ++m_failuresWithoutId;
        m_view.fileFailed("a file", "it could not be opened");
    }
}

std::vector<FileProgress> CUploadCommand::moving(const CUploadObserver::Snapshot& snapshot) const {
    std::vector<FileProgress> out;
    for (const auto& entry : snapshot.files) {
        const auto& state = entry.second;
        if (state.status != CTransferManagerBase::FILE_STATUS_TRANSFERRING ||
            state.bytesTransferred == 0 || state.bytesTransferred >= state.bytesTotal) {
            continue;
        }
        const Tracked* group = nullptr;
        for (const auto& g : m_groups) {
            if (g.groupId == state.groupId) group = &g;
        }
        if (group == nullptr || group->done) continue;
        FileProgress file;
        file.name = state.fileId;
        for (const auto& f : group->manifest.files) {
            if (f.fileId == state.fileId) file.name = f.path;
        }
        file.bytesDone = state.bytesTransferred;
        file.bytesTotal = state.bytesTotal;
        file.speed = state.speed;
        out.push_back(file);
    }
    return out;
}

TotalProgress CUploadCommand::totals(const CUploadObserver::Snapshot& snapshot) const {
    TotalProgress total;
    const std::uint64_t now = nowMs();
    std::int64_t eta = -1;
    for (const auto& group : m_groups) {
        std::size_t completed = 0, failed = 0;
        for (const auto& file : group.manifest.files) {
            completed += file.status == "completed";
            failed += file.status == "failed";
        }
        total.filesDone += completed;
        total.filesFailed += failed;
        total.filesTotal += group.manifest.files.size();
        std::uint64_t bytesTotal = group.manifest.totalBytes();
        auto seen = snapshot.groups.find(group.groupId);
        if (seen == snapshot.groups.end()) {
            total.bytesTotal += bytesTotal;
            continue;
        }
        const auto& state = seen->second;
        total.bytesTotal += std::max<std::uint64_t>(bytesTotal, state.bytesTotal);
        total.bytesDone += state.bytesTransferred;
        if (group.done) continue;
        total.speed += state.speed;
        if (state.etaMs > now) {
            eta = std::max(eta, static_cast<std::int64_t>((state.etaMs - now + 999) / 1000));
        }
    }
    total.filesFailed += m_failuresWithoutId;
    if (eta < 0 && total.speed > 0 && total.bytesTotal >= total.bytesDone) {
        eta = static_cast<std::int64_t>((total.bytesTotal - total.bytesDone) / total.speed);
    }
    total.etaSeconds = eta;
    return total;
}

void CUploadCommand::watch() {
    for (;;) {
        if (CInterruptFlag::raised()) {
            m_interrupted = true;
            return;
        }
        CUploadObserver::Snapshot snapshot = m_observer.take();
        consume(snapshot);
        bool allDone = true;
        for (auto& group : m_groups) {
            if (group.done) continue;
            CUploadManager::GroupState polled;
            auto seen = snapshot.groups.find(group.groupId);
            // The registry forgets a group once it completed; then the last event tells.
            if (m_manager->getGroupState(group.groupId, polled) == vx_transfers::DT_SUCCESS &&
                (seen == snapshot.groups.end() ||
                 seen->second.status != CTransferManagerBase::GROUP_STATUS_COMPLETED)) {
                snapshot.groups[group.groupId] = polled;
            }
            seen = snapshot.groups.find(group.groupId);
            if (seen == snapshot.groups.end()) {
                allDone = false;
                continue;
            }
            const auto& state = seen->second;
            const bool failedState = state.status == CTransferManagerBase::GROUP_STATUS_ERROR ||
                                     state.status == CTransferManagerBase::GROUP_STATUS_PAUSED;
            if (group.awaitingResume) {
                if (!failedState || Clock::now() >= group.resumeDeadline) {
                    group.awaitingResume = false;
                }
                if (failedState && group.awaitingResume) {
                    allDone = false;
                    continue;
                }
            }
            if (state.status == CTransferManagerBase::GROUP_STATUS_COMPLETED) {
                group.done = group.completed = true;
                for (auto& file : group.manifest.files) file.status = "completed";
                m_view.note("bucket " + group.manifest.bucketId + ": completed");
            } else if (state.status == CTransferManagerBase::GROUP_STATUS_ERROR) {
                group.done = true;
                m_view.note("bucket " + group.manifest.bucketId +
                            ": failed: " + groupErrorText(state.errorType));
            } else if (state.status == CTransferManagerBase::GROUP_STATUS_PAUSED) {
                group.done = true;
                m_view.note("bucket " + group.manifest.bucketId +
                            ": stopped after repeated failures");
            } else {
                allDone = false;
            }
        }
        if (allDone) return;
        m_view.update(moving(snapshot), totals(snapshot));
        m_observer.waitForChange(snapshot.version, kTick);
    }
}

void CUploadCommand::saveManifests(const std::vector<std::string>* md5s) {
    for (std::size_t g = 0; g < m_groups.size(); ++g) {
        Tracked& group = m_groups[g];
        if (group.manifestPath.empty()) continue;
        for (std::size_t i = 0; i < group.manifest.files.size(); ++i) {
            ManifestFile& file = group.manifest.files[i];
            if (g == 0 && md5s != nullptr && i < md5s->size() && !(*md5s)[i].empty()) {
                file.md5 = (*md5s)[i];
            } else if (file.md5.empty() && !m_interrupted) {
                file.md5 = CMd5Calculator::ofFile(file.localPath);
            }
        }
        std::string error;
        if (!CManifest::write(group.manifest, group.manifestPath, error)) {
            std::cerr << "vxt: " << error << "\n";
        }
        if (!m_options.manifestCopy.empty() &&
            !CManifest::write(group.manifest, m_options.manifestCopy, error)) {
            std::cerr << "vxt: " << error << "\n";
        }
    }
}

int CUploadCommand::finish(const std::vector<std::string>* md5s) {
    if (m_interrupted) m_view.note("interrupted: stopping the transfers...");
    m_manager->shutdown();
    CUploadObserver::Snapshot snapshot = m_observer.take();
    consume(snapshot);
    saveManifests(md5s);
    m_view.finish(totals(snapshot));
    bool allCompleted = !m_groups.empty();
    for (const auto& group : m_groups) {
        allCompleted = allCompleted && group.completed;
        if (!group.manifestPath.empty()) {
            std::cout << "manifest: " << group.manifestPath << "\n";
        }
    }
    m_manager.reset();
    if (m_interrupted) {
        std::cout << "continue with: vxt upload --resume --app-dir " << m_options.appDir << "\n";
        return kInterrupted;
    }
    return allCompleted ? kOk : kFailed;
}

}  // namespace vxt
