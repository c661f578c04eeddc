// A process uploading a multipart file is killed in the middle; a manager started afterwards on
// the same application folder takes the upload up from what the database says.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <set>
#include <thread>

#include "integration/CUploadDatabaseReader.h"
#include "integration/CUploadPipelineFixture.h"

extern char** environ;

namespace vxt_test {
namespace {

using Manager = vx_transfers::CUploadManager;
using Record = CServiceControlClient::RequestRecord;

constexpr int kStateCompleted = 2;
constexpr std::uint64_t kParts = 8;

class CUploadManagerRestartTest : public CUploadPipelineFixture {
protected:
    void TearDown() override {
        killChild();
        CUploadPipelineFixture::TearDown();
    }

    // Starts the child uploading `u` into `bucket` and kills it with SIGKILL once the service has
    // stored two parts; gives the parts the killed process had recorded as complete.
    std::set<std::uint64_t> uploadUntilKilled(const CServiceControlClient::BucketInfo& bucket,
                                              const Upload& u) {
        control().throttleData(128 * 1024);  // half a second per part
        std::vector<std::string> args = {VXT_UPLOAD_CHILD_EXE,
                                         m_appDir,
                                         m_service->baseUrl(),
                                         bucket.bucketId,
                                         bucket.token,
                                         u.fileId,
                                         u.path,
                                         std::to_string(kPartSize),
                                         "2"};
        std::vector<char*> argv;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        if (posix_spawn(&m_child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
            ADD_FAILURE() << "cannot start " << argv[0];
            return {};
        }
        std::set<std::uint64_t> stored;
        control().waitForRequest(
            [&](const Record& r) {
                if (r.route == routes::kDataPut && r.finished && r.status == 200 &&
                    r.path.find(u.fileId) != std::string::npos) {
                    stored.insert(r.seq);
                }
                return stored.size() >= 2;
            },
            kWait, "two stored parts");
        // The service answers a part before the child has read the answer and recorded the part:
        // wait (bounded, the child is another process) until the child's database shows one.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (completedParts(u).empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        killChild();
        control().throttleData(0);

        return completedParts(u);
    }

    // The part numbers that the database records as complete.
    std::set<std::uint64_t> completedParts(const Upload& u) {
        std::set<std::uint64_t> completed;
        for (const auto& c : CUploadDatabaseReader(m_appDir).channels()) {
            if (c.fileUid == u.fileId && c.state == kStateCompleted) {
                completed.insert(c.offset / kPartSize + 1);
            }
        }
        return completed;
    }

    void killChild() {
        if (m_child <= 0) return;
        ::kill(m_child, SIGKILL);
        int status = 0;
        ::waitpid(m_child, &status, 0);
        m_child = -1;
    }

    std::uint64_t lastSeq() {
        auto all = control().requests(std::uint64_t{0});
        return all.empty() ? 0 : all.back().seq;
    }

    pid_t m_child = -1;
};

TEST_F(CUploadManagerRestartTest, UploadKilledMidwayIsRestoredAndCompletedWithoutResendingParts) {
    auto bucket = newBucket();
    Upload u = prepareUpload(bucket, "crash.bin", kParts * kPartSize);
    std::set<std::uint64_t> completedBefore = uploadUntilKilled(bucket, u);
    ASSERT_FALSE(completedBefore.empty()) << "the killed process recorded no finished part";
    ASSERT_LT(completedBefore.size(), kParts) << "the upload finished before the kill";
    std::uint64_t seq = lastSeq();

    startManager();
    int groupId = m_manager->findGroupByBucketId(bucket.bucketId);
    ASSERT_GE(groupId, 0) << "the group was not restored";
    // startup() reports every restored group once, with its stored mark.
    ASSERT_GE(m_callback.waitForGroup(
                  [&](const GroupState& s) {
                      return s.groupId == groupId && s.bucketId == bucket.bucketId && s.queueMarked;
                  },
                  kWait),
              0)
        << m_callback.describe();
    GroupState done;
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, 0, &done), 0)
        << m_callback.describe();
    EXPECT_EQ(kParts * kPartSize, done.bytesTotal);

    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    EXPECT_EQ(1u, control().requests(routes::kMultipartInitialize).size())
        << "the restored upload must reuse its upload id and part URLs";
    std::set<std::uint64_t> sentAfter;
    for (const auto& r : putsFor(u.fileId)) {
        if (r.seq <= seq) continue;
        std::uint64_t number = std::stoull(r.header("x-vx-part-number"));
        EXPECT_EQ(0u, completedBefore.count(number))
            << "part " << number << " was complete before the kill and was sent again";
        EXPECT_EQ(0u, sentAfter.count(number)) << "part " << number << " sent twice";
        sentAfter.insert(number);
    }
    EXPECT_EQ(kParts, completedBefore.size() + sentAfter.size());
    auto completes = control().requests(routes::kMultipartComplete);
    ASSERT_EQ(1u, completes.size());
    EXPECT_EQ(kParts, completes[0].json["numberOfParts"].asUInt64());
    EXPECT_TRUE(CUploadDatabaseReader(m_appDir).files().empty());
}

TEST_F(CUploadManagerRestartTest, FileThatChangedSizeSinceTheCrashFailsAsChanged) {
    auto bucket = newBucket();
    Upload u = prepareUpload(bucket, "changed.bin", kParts * kPartSize);
    ASSERT_FALSE(uploadUntilKilled(bucket, u).empty());
    {
        std::ofstream grow(u.path, std::ios::binary | std::ios::app);
        grow << "more bytes";
    }
    std::uint64_t seq = lastSeq();

    startManager();
    int groupId = m_manager->findGroupByBucketId(bucket.bucketId);
    ASSERT_GE(groupId, 0);
    FileState changed;
    ASSERT_GE(waitForFileStatus(u.fileId, Manager::FILE_STATUS_ERROR, 0, &changed), 0)
        << m_callback.describe();
    EXPECT_EQ(vx_transfers::transfer_defs::FILE_ERROR_FILE_CHANGED, changed.fileErrorType);
    EXPECT_EQ(groupId, changed.groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_ERROR), 0) << m_callback.describe();
    EXPECT_NE(std::string::npos,
              logText().find("Upload File: Size of the file has changed since the first time it "
                             "has been added to the group!"));
    for (const auto& r : putsFor(u.fileId)) {
        EXPECT_LE(r.seq, seq) << "a part of the changed file was sent after the restart";
    }
    EXPECT_TRUE(control().requests(routes::kMultipartComplete).empty());
}

}  // namespace
}  // namespace vxt_test
