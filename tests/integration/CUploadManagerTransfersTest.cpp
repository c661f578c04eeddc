// Whole uploads through CUploadManager: what arrives on the data server and what the service is
// told, for single-part and multipart files, with the data plane on the local service and on
// nginx.
#include <Poco/String.h>

#include <numeric>
#include <set>

#include "integration/CUploadPipelineFixture.h"
#include "support/CNginxFixture.h"
#include "support/md5Hex.h"
#include "vx_transfers/CBucket.h"

namespace vxt_test {
namespace {

using Manager = vx_transfers::CUploadManager;
using Record = CServiceControlClient::RequestRecord;

const std::pair<std::string, std::string> kAppHeader{"X-Vxt-App", "integration"};

std::vector<Record> onlyFile(const std::vector<Record>& records, const std::string& fileId) {
    std::vector<Record> out;
    for (const auto& r : records) {
        if (r.path.find(fileId) != std::string::npos) out.push_back(r);
    }
    return out;
}

class CUploadManagerTransfersTest : public CUploadPipelineFixture {
protected:
    // Queues, marks in the safe order and waits for the group to complete.
    void uploadAndComplete(int groupId, const std::vector<Upload>& uploads) {
        queue(groupId, uploads);
        waitUntilFilesInitialized(groupId);
        m_manager->markQueue(groupId);
        ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED), 0)
            << m_callback.describe();
    }
};

TEST_F(CUploadManagerTransfersTest, SinglePartFilesOfEdgeSizesArriveWithTheirHeadersAndComplete) {
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    // Empty, small, and exactly the multipart threshold (which still goes as one part).
    const std::vector<std::uint64_t> sizes = {0, 1000, kPartSize};
    std::vector<Upload> uploads;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        uploads.push_back(
            prepareUpload(bucket, "single" + std::to_string(i) + ".bin", sizes[i], {kAppHeader}));
    }
    uploadAndComplete(groupId, uploads);

    EXPECT_TRUE(control().requests(routes::kMultipartInitialize).empty());
    auto puts = control().requests(routes::kDataPut);
    for (std::size_t i = 0; i < uploads.size(); ++i) {
        const Upload& u = uploads[i];
        SCOPED_TRACE("file of " + std::to_string(sizes[i]) + " bytes");
        EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
        auto mine = onlyFile(puts, u.fileId);
        ASSERT_EQ(1u, mine.size());
        EXPECT_EQ(200, mine[0].status);
        EXPECT_EQ(sizes[i], mine[0].bodyBytes);
        EXPECT_EQ("integration", mine[0].header("X-Vxt-App"));
        EXPECT_FALSE(mine[0].header("x-vx-upload-key").empty());
        auto info = control().file(bucket.bucketId, u.fileId);
        ASSERT_FALSE(info.statusHistory.empty());
        EXPECT_EQ("COMPLETED", info.statusHistory.back());
        ASSERT_FALSE(info.progressHistory.empty());
        EXPECT_EQ(sizes[i], info.progressHistory.back());
        FileState completed;
        ASSERT_GE(waitForFileStatus(u.fileId, Manager::FILE_STATUS_COMPLETED, 0, &completed), 0);
        EXPECT_EQ(sizes[i], completed.bytesTotal);
        EXPECT_EQ(sizes[i], completed.bytesTransferred);
        EXPECT_FLOAT_EQ(100.0f, completed.percent);
        EXPECT_EQ(groupId, completed.groupId);
        EXPECT_EQ(bucket.bucketId, completed.bucketId);
    }
    GroupState done;
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED, 0, &done), 0);
    EXPECT_EQ(std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0}), done.bytesTotal);
    EXPECT_EQ(done.bytesTotal, done.bytesTransferred);
    EXPECT_EQ(std::vector<std::string>{"COMPLETED"},
              control().bucket(bucket.bucketId).statusHistory);
}

TEST_F(CUploadManagerTransfersTest, MultipartFilesSendPartHeadersFirstAndDigestsOnlyWhenVerifying) {
    startManager();
    // 3 full parts and a short one.
    const std::uint64_t size = 3 * kPartSize + 100;
    for (bool verify : {true, false}) {
        SCOPED_TRACE(verify ? "verifyUploads on" : "verifyUploads off");
        // verifyUploads reaches groups created after the change.
        Manager::Configuration configuration = testConfiguration();
        configuration.verifyUploads = verify;
        ASSERT_EQ(vx_transfers::DT_SUCCESS, m_manager->setConfiguration(configuration));
        auto bucket = newBucket();
        int groupId = createGroup(bucket);
        Upload u = prepareUpload(bucket, verify ? "verified.bin" : "plain.bin", size, {kAppHeader});
        uploadAndComplete(groupId, {u});

        EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
        auto inits = onlyFile(control().requests(routes::kMultipartInitialize), u.fileId);
        ASSERT_EQ(1u, inits.size());
        const Json::Value& body = inits[0].json;
        ASSERT_TRUE(body["parts"].isArray());
        ASSERT_EQ(4u, body["parts"].size());
        if (verify) {
            EXPECT_EQ(md5Hex(u.content), body["md5Digest"].asString());
        } else {
            EXPECT_TRUE(body["md5Digest"].isNull());
        }
        for (Json::ArrayIndex i = 0; i < body["parts"].size(); ++i) {
            const Json::Value& part = body["parts"][i];
            std::string bytes = u.content.substr(i * kPartSize, kPartSize);
            EXPECT_EQ(i + 1, part["number"].asUInt());
            EXPECT_EQ(bytes.size(), part["size"].asUInt64());
            if (verify) {
                EXPECT_EQ(md5Hex(bytes), part["md5Digest"].asString()) << "part " << i + 1;
            } else {
                EXPECT_TRUE(part["md5Digest"].isNull()) << "part " << i + 1;
            }
        }

        auto puts = onlyFile(control().requests(routes::kDataPut), u.fileId);
        ASSERT_EQ(4u, puts.size());
        std::set<std::string> numbers;
        for (const auto& put : puts) {
            EXPECT_EQ(200, put.status);
            numbers.insert(put.header("x-vx-part-number"));
            int key = headerPosition(put, "x-vx-part-key");
            int number = headerPosition(put, "x-vx-part-number");
            int app = headerPosition(put, kAppHeader.first);
            ASSERT_GE(key, 0);
            ASSERT_GE(number, 0);
            ASSERT_GE(app, 0) << "the application's header is missing";
            EXPECT_LT(key, app) << "the part's headers must come before the application's";
            EXPECT_LT(number, app) << "the part's headers must come before the application's";
        }
        EXPECT_EQ((std::set<std::string>{"1", "2", "3", "4"}), numbers);

        auto completes = onlyFile(control().requests(routes::kMultipartComplete), u.fileId);
        ASSERT_EQ(1u, completes.size());
        EXPECT_EQ(4u, completes[0].json["numberOfParts"].asUInt());
        EXPECT_EQ(200, completes[0].status);
        auto info = control().file(bucket.bucketId, u.fileId);
        EXPECT_FALSE(info.completedUploadId.empty());
        EXPECT_EQ(std::vector<std::string>{"COMPLETED"},
                  control().bucket(bucket.bucketId).statusHistory);
    }
}

TEST_F(CUploadManagerTransfersTest, BucketMadeWithCBucketUploadsThroughItsOwnDescription) {
    startManager();
    vx_transfers::CBucket::UserCredentials credentials{m_service->options().user,
                                                       m_service->options().password};
    std::string label = "integration";
    vx_transfers::CBucket maker(credentials, label);
    auto info = maker.init();
    ASSERT_FALSE(info.bucketId.empty());
    std::string content = makeContent("cbucket.bin", 5000);
    std::string path = writeLocalFile("cbucket.bin", content);
    FileDesc desc = maker.addFile(fileUrlOf(path));
    ASSERT_FALSE(desc.fileUid.empty());

    std::string type = "test";
    int groupId = m_manager->createGroup(info.bucketId, type, info.token, info.tokenExpires);
    ASSERT_GE(groupId, 0);
    EXPECT_EQ(groupId, m_manager->findGroupByBucketId(info.bucketId));
    std::vector<FileDesc> files{desc};
    m_manager->queueFiles(groupId, files);
    waitUntilFilesInitialized(groupId);
    m_manager->markQueue(groupId);
    ASSERT_GE(waitForGroupStatus(groupId, Manager::GROUP_STATUS_COMPLETED), 0);
    EXPECT_EQ(content, storedContent(info.bucketId, desc.fileUid));
}

TEST_F(CUploadManagerTransfersTest, SinglePartUploadToNginxStoresTheBytesThere) {
    CNginxFixture nginx;
    // The service hands out nginx URLs and looks for the uploaded bytes in nginx's folder, so
    // that it accepts the files' completion.
    control().setDataServer(nginx.baseUrl(), nginx.root());
    startManager();
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    std::vector<Upload> uploads;
    for (std::uint64_t size : {std::uint64_t{0}, std::uint64_t{30000}, kPartSize}) {
        uploads.push_back(
            prepareUpload(bucket, "nginx" + std::to_string(size) + ".bin", size, {kAppHeader}));
        ASSERT_EQ(0u, uploads.back().desc.url.rfind(nginx.baseUrl() + "/", 0));
    }
    uploadAndComplete(groupId, uploads);

    for (const auto& u : uploads) {
        SCOPED_TRACE(u.name);
        std::string path = u.desc.url.substr(nginx.baseUrl().size());
        path = path.substr(0, path.find('?'));
        EXPECT_EQ(u.content, nginx.readFile(path.substr(1)));
        auto entry = nginx.waitForAccess(
            [&](const CNginxFixture::AccessLogEntry& e) {
                return e.method() == "PUT" && e.path().rfind(path, 0) == 0;
            },
            kWait);
        EXPECT_GE(entry.status, 200);
        EXPECT_LT(entry.status, 300);
        EXPECT_EQ("COMPLETED", control().file(bucket.bucketId, u.fileId).status);
    }
    EXPECT_TRUE(control().requests(routes::kDataPut).empty()) << "bytes went to the service";
}

TEST_F(CUploadManagerTransfersTest, MultipartUploadWithPartsOnNginxIsAssembledByTheService) {
    CNginxFixture nginx;
    control().setDataServer(nginx.baseUrl(), nginx.root());
    Manager::Configuration configuration = testConfiguration();
    configuration.verifyUploads = true;
    startManager(configuration);
    auto bucket = newBucket();
    int groupId = createGroup(bucket);
    Upload u = prepareUpload(bucket, "nginx-multi.bin", 2 * kPartSize + 12345, {kAppHeader});
    uploadAndComplete(groupId, {u});

    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    std::size_t partPuts = 0;
    for (const auto& e : nginx.accessLog()) {
        if (e.method() != "PUT" || e.path().find(u.fileId) == std::string::npos) continue;
        ++partPuts;
        EXPECT_GE(e.status, 200);
        EXPECT_LT(e.status, 300);
    }
    EXPECT_EQ(3u, partPuts);
    auto completes = onlyFile(control().requests(routes::kMultipartComplete), u.fileId);
    ASSERT_EQ(1u, completes.size());
    EXPECT_EQ(3u, completes[0].json["numberOfParts"].asUInt());
}

}  // namespace
}  // namespace vxt_test
