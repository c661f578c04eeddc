#include "integration/CUploadPipelineFixture.h"

#include <Poco/File.h>
#include <Poco/String.h>
#include <Poco/TemporaryFile.h>

#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "groups/CFailedGroupsRestarter.h"
#include "integration/CWatchdog.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"
#include "vx_transfers/CVxTransfersInitializer.h"

namespace vxt_test {

constexpr std::uint64_t CUploadPipelineFixture::kPartSize;
constexpr std::chrono::milliseconds CUploadPipelineFixture::kWait;

namespace {

std::wstring widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

}  // namespace

void CUploadPipelineFixture::setRestartIntervalToOneSecond() {
    // The library has no public setting for this; a second keeps retry tests short. Each test
    // runs in a process of its own, so the restarter is made here, with the short interval
    // already for its first wait.
    vx_transfers::CFailedGroupsRestarter::setIntervalForNewInstance(1);
    vx_transfers::CFailedGroupsRestarter::getInstance()->setGroupRestartInterval(1);
}

void CUploadPipelineFixture::SetUp() {
    m_appDir = Poco::TemporaryFile::tempName() + "-vxt-integration";
    Poco::File(m_appDir + "/data").createDirectories();
    ASSERT_TRUE(vx_transfers::CVxTransfersInitializer::initialize());
    auto* global = vx_transfers::CVxTransfersGlobalConfig::getInstance();
    global->setAppFilesPath(widen(m_appDir));
    m_service = std::make_unique<CLocalService>();
    global->setRestEndPointUrl(m_service->baseUrl());
    setRestartIntervalToOneSecond();
}

void CUploadPipelineFixture::TearDown() {
    stopManager();
    if (m_service) m_service->stop();
    if (HasFailure()) {
        std::cerr << "Application folder kept for inspection: " << m_appDir << "\n"
                  << m_callback.describe();
    } else {
        try {
            Poco::File(m_appDir).remove(true);
        } catch (...) {
        }
    }
}

CUploadPipelineFixture::Manager::Configuration CUploadPipelineFixture::testConfiguration() {
    Manager::Configuration configuration;
    configuration.minMultipartSize = kPartSize;
    configuration.maxConcurrentTransfers = 2;
    configuration.maxTransferRetries = 3;
    configuration.preventSleep = false;
    configuration.verifyUploads = false;
    return configuration;
}

void CUploadPipelineFixture::startManager(const Manager::Configuration& configuration, bool start) {
    CWatchdog watchdog(std::chrono::seconds(30), "starting the upload manager");
    m_manager = std::make_unique<Manager>();
    Manager::Configuration copy = configuration;
    ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->setConfiguration(copy));
    m_manager->subscribeToEvents(&m_callback);
    if (start) m_manager->startup();
}

void CUploadPipelineFixture::stopManager() {
    if (!m_manager) return;
    CWatchdog watchdog(std::chrono::seconds(30), "shutting the upload manager down");
    m_manager->shutdown();
    m_manager.reset();
}

int CUploadPipelineFixture::createGroup(const CServiceControlClient::BucketInfo& bucket) {
    std::string id = bucket.bucketId;
    std::string type = "test";
    std::string token = bucket.token;
    int groupId = m_manager->createGroup(id, type, token, bucket.tokenExpires);
    EXPECT_GE(groupId, 0) << "createGroup failed for bucket " << id;
    return groupId;
}

std::string CUploadPipelineFixture::makeContent(const std::string& name, std::uint64_t size) {
    std::seed_seq seed(name.begin(), name.end());
    std::mt19937 generator(seed);
    std::string content(static_cast<std::size_t>(size), '\0');
    for (auto& c : content) c = static_cast<char>(generator() & 0xff);
    return content;
}

std::string CUploadPipelineFixture::writeLocalFile(const std::string& name,
                                                   const std::string& content) {
    std::string path = m_appDir + "/data/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
    return path;
}

std::wstring CUploadPipelineFixture::fileUrlOf(const std::string& path) {
    return widen("file://" + path);
}

CUploadPipelineFixture::Upload CUploadPipelineFixture::prepareUpload(
    const CServiceControlClient::BucketInfo& bucket, const std::string& name, std::uint64_t size,
    const HeaderList& extraHeaders, std::uint64_t minMultipartSize) {
    Upload upload;
    upload.name = name;
    upload.content = makeContent(name, size);
    upload.path = writeLocalFile(name, upload.content);
    auto target = control().registerUpload(bucket.bucketId, name, size);
    upload.fileId = target.fileId;
    upload.desc.fileUid = target.fileId;
    upload.desc.fileUrl = fileUrlOf(upload.path);
    upload.desc.url = target.url;
    if (size <= minMultipartSize) upload.desc.additionalHttpHeaders = target.headers;
    for (const auto& h : extraHeaders) upload.desc.additionalHttpHeaders.push_back(h);
    return upload;
}

void CUploadPipelineFixture::queue(int groupId, const std::vector<Upload>& uploads) {
    std::vector<FileDesc> descs;
    for (const auto& u : uploads) descs.push_back(u.desc);
    m_manager->queueFiles(groupId, descs);
}

CUploadPipelineFixture::GroupState CUploadPipelineFixture::waitUntilFilesInitialized(int groupId) {
    GroupState state;
    long found = m_callback.waitForGroup(
        [groupId](const GroupState& s) {
            return s.groupId == groupId && s.status == Manager::GROUP_STATUS_ACTIVE && !s.empty;
        },
        kWait, 0, &state);
    EXPECT_GE(found, 0) << "group " << groupId << " never reported its files initialised";
    return state;
}

long CUploadPipelineFixture::waitForGroupStatus(int groupId, Manager::GroupStatus status,
                                                std::size_t from, GroupState* match,
                                                std::chrono::milliseconds timeout) {
    return m_callback.waitForGroup(
        [groupId, status](const GroupState& s) {
            return s.groupId == groupId && s.status == status;
        },
        timeout, from, match);
}

long CUploadPipelineFixture::waitForFileStatus(const std::string& fileId,
                                               Manager::FileStatus status, std::size_t from,
                                               FileState* match,
                                               std::chrono::milliseconds timeout) {
    return m_callback.waitForFile(
        [fileId, status](const FileState& s) { return s.fileId == fileId && s.status == status; },
        timeout, from, match);
}

std::string CUploadPipelineFixture::readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::string();
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string CUploadPipelineFixture::storedContent(const std::string& bucketId,
                                                  const std::string& fileId) {
    auto info = control().file(bucketId, fileId);
    if (!info.stored) return std::string();
    return readFile(info.storagePath);
}

std::string CUploadPipelineFixture::logText() const {
    return readFile(m_appDir + "/vx_transfers.log");
}

std::vector<CServiceControlClient::RequestRecord> CUploadPipelineFixture::putsFor(
    const std::string& fileId) {
    std::vector<CServiceControlClient::RequestRecord> out;
    for (auto& r : control().requests(routes::kDataPut)) {
        if (r.path.find(fileId) != std::string::npos) out.push_back(r);
    }
    return out;
}

void CUploadPipelineFixture::waitUntilNoDataRequestRuns() {
    for (auto& r : control().requests(std::uint64_t{0})) {
        if (r.finished || r.route.rfind("data.", 0) != 0) continue;
        const std::uint64_t seq = r.seq;
        control().waitForRequest(
            [seq](const CServiceControlClient::RequestRecord& x) {
                return x.seq == seq && x.finished;
            },
            kWait, "data request " + std::to_string(seq) + " to end");
    }
}

int headerPosition(const CServiceControlClient::RequestRecord& record, const std::string& name) {
    for (std::size_t i = 0; i < record.headers.size(); ++i) {
        if (Poco::icompare(record.headers[i].first, name) == 0) return static_cast<int>(i);
    }
    return -1;
}

}  // namespace vxt_test
