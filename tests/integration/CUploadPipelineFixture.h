// Base fixture of the end-to-end upload tests. Each test gets a fresh application folder (log and
// database), a local service on 127.0.0.1, the group restarter on a one-second interval, and
// helpers to make local files, register them with the service and drive a CUploadManager through
// its public operations. Every test runs in a process of its own (gtest_discover_tests), so the
// library's process-wide objects start fresh each time.
#ifndef VXT_TESTS_INTEGRATION_CUPLOADPIPELINEFIXTURE_H
#define VXT_TESTS_INTEGRATION_CUPLOADPIPELINEFIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "integration/CRecordingUploadCallback.h"
#include "support/CLocalService.h"
#include "support/CServiceControlClient.h"
#include "vx_transfers/CUploadManager.h"

namespace vxt_test {

class CUploadPipelineFixture : public ::testing::Test {
public:
    using Manager = vx_transfers::CUploadManager;
    using GroupState = Manager::GroupState;
    using FileState = vx_transfers::CTransferManagerBase::FileState;
    using FileDesc = Manager::FileDesc;

    // Part size of the tests: multipart files stay small.
    static constexpr std::uint64_t kPartSize = 64 * 1024;
    // Upper bound of any single wait; generous for sanitizer builds on a loaded machine.
    static constexpr std::chrono::milliseconds kWait{20000};

    // A local file registered for upload with the service.
    struct Upload {
        std::string name;
        std::string path;
        std::string content;
        std::string fileId;
        FileDesc desc;
    };

protected:
    void SetUp() override;
    void TearDown() override;

    void setRestartIntervalToOneSecond();
    // The configuration the tests start from: small parts, two transfers, no sleep prevention.
    static Manager::Configuration testConfiguration();
    // Builds, configures and subscribes a manager on the test's application folder, and starts
    // it unless `start` is false (then call m_manager->startup() later).
    void startManager(const Manager::Configuration& configuration = testConfiguration(),
                      bool start = true);
    // shutdown() and destruction, under a watchdog.
    void stopManager();

    CServiceControlClient& control() { return m_service->control(); }
    CServiceControlClient::BucketInfo newBucket() { return control().createBucket(); }
    int createGroup(const CServiceControlClient::BucketInfo& bucket);

    // Deterministic content of `size` bytes, different for different names.
    static std::string makeContent(const std::string& name, std::uint64_t size);
    // Writes a file into the application folder's "data" folder; gives its path.
    std::string writeLocalFile(const std::string& name, const std::string& content);
    static std::wstring fileUrlOf(const std::string& path);
    // Writes the file and registers it with the service. For a single-part upload the
    // description carries the service's PUT URL and headers followed by `extraHeaders`; for a
    // multipart one (above `minMultipartSize`) only `extraHeaders`, since the parts get headers
    // of their own.
    Upload prepareUpload(const CServiceControlClient::BucketInfo& bucket, const std::string& name,
                         std::uint64_t size, const HeaderList& extraHeaders = HeaderList(),
                         std::uint64_t minMultipartSize = kPartSize);
    void queue(int groupId, const std::vector<Upload>& uploads);

    // The group's first state event after the files' initialisation (ACTIVE and not empty);
    // markQueue() is safe from then on. Fails the test on timeout.
    GroupState waitUntilFilesInitialized(int groupId);
    // Position of the first event of the group with this status at `from` or later, or -1.
    long waitForGroupStatus(int groupId, Manager::GroupStatus status, std::size_t from = 0,
                            GroupState* match = nullptr, std::chrono::milliseconds timeout = kWait);
    long waitForFileStatus(const std::string& fileId, Manager::FileStatus status,
                           std::size_t from = 0, FileState* match = nullptr,
                           std::chrono::milliseconds timeout = kWait);

    // What the service stored for a file, read from its storage path.
    std::string storedContent(const std::string& bucketId, const std::string& fileId);
    static std::string readFile(const std::string& path);
    std::string logText() const;

    // Data PUTs the service saw for one file (single-part or any of its parts).
    std::vector<CServiceControlClient::RequestRecord> putsFor(const std::string& fileId);
    // Waits until every data request the service has begun is finished.
    void waitUntilNoDataRequestRuns();

    std::string m_appDir;
    std::unique_ptr<CLocalService> m_service;
    CRecordingUploadCallback m_callback;
    std::unique_ptr<Manager> m_manager;
};

// Value of a header in a record, with the position it has among the headers (-1 if absent).
int headerPosition(const CServiceControlClient::RequestRecord& record, const std::string& name);

}  // namespace vxt_test

#endif
