// nginx as the independent data server: the fixture itself (PUT, ranged GET, access log), and
// the local service handing out nginx URLs while REST stays with it.
#include <gtest/gtest.h>
#include <signal.h>

#include "CCurlRequest.h"
#include "support/CJsonHttpClient.h"
#include "support/CLocalService.h"
#include "support/CNginxEnvironment.h"
#include "support/CNginxFixture.h"
#include "support/md5Hex.h"

namespace vxt_test {
namespace {

::testing::Environment* const g_nginx = ::testing::AddGlobalTestEnvironment(new CNginxEnvironment);

TEST(CNginxFixtureTest, StoresPutsAndServesRangesThatTheAccessLogShows) {
    CNginxFixture& nginx = CNginxEnvironment::nginx();
    std::string data(100000, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i % 241);
    auto put = CCurlRequest(nginx.urlFor("deep/folder/file.bin")).upload(data).perform();
    ASSERT_EQ(put.code, CURLE_OK);
    EXPECT_EQ(put.status, 201);
    EXPECT_EQ(nginx.readFile("deep/folder/file.bin"), data);
    struct Row {
        const char* range;
        long status;
        std::size_t first, length;
    };
    const Row rows[] = {{"", 200, 0, 100000},
                        {"bytes=0-99", 206, 0, 100},
                        {"bytes=99990-", 206, 99990, 10},
                        {"bytes=-5", 206, 99995, 5}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.range);
        CCurlRequest get(nginx.urlFor("deep/folder/file.bin"));
        if (*row.range) get.header("Range", row.range);
        auto r = get.perform();
        EXPECT_EQ(r.status, row.status);
        EXPECT_EQ(r.body, data.substr(row.first, row.length));
    }
    auto entry = nginx.waitForAccess(
        [](const CNginxFixture::AccessLogEntry& e) { return e.range == "bytes=-5"; },
        std::chrono::seconds(5));
    EXPECT_EQ(entry.status, 206);
    EXPECT_EQ(entry.method(), "GET");
    EXPECT_EQ(entry.path(), "/deep/folder/file.bin");
    EXPECT_EQ(entry.bodyBytesSent, 5u);
    EXPECT_EQ(CCurlRequest(nginx.urlFor("missing")).perform().status, 404);
}

TEST(CNginxFixtureTest, ServiceHandsOutNginxUrlsForUploadsAndDownloads) {
    CNginxFixture& nginx = CNginxEnvironment::nginx();
    CLocalService service;
    service.control().setDataServer(nginx.baseUrl(), nginx.root());
    auto bucket = service.control().createBucket();
    CJsonHttpClient http(service.rootUrl());

    // Single part: PUT to nginx, COMPLETED accepted because the bytes are there.
    const std::string data(200000, 'n');
    auto target = service.control().registerUpload(bucket.bucketId, "n.bin", data.size());
    ASSERT_EQ(target.url.substr(0, nginx.baseUrl().size()), nginx.baseUrl());
    EXPECT_EQ(CCurlRequest(target.url).headers(target.headers).upload(data).perform().status, 201);
    Json::Value status;
    status["status"] = "COMPLETED";
    status["progress"] = Json::UInt64(data.size());
    status["token"] = bucket.token;
    status["fileId"] = target.fileId;
    status["bucketId"] = bucket.bucketId;
    const std::string filePath = "/api/v2/bucket/" + bucket.bucketId + "/file/" + target.fileId;
    EXPECT_EQ(http.postJson(filePath + "/status", status).status, 200);
    EXPECT_EQ(service.control().file(bucket.bucketId, target.fileId).md5, md5Hex(data));

    // Multipart: parts to nginx, assembled by the service from nginx's root.
    const std::string big = std::string(150000, 'a') + std::string(50000, 'b');
    auto multi = service.control().registerUpload(bucket.bucketId, "m.bin", big.size());
    Json::Value init;
    init["uploadId"] = Json::Value();
    init["token"] = bucket.token;
    init["fileId"] = multi.fileId;
    init["bucketId"] = bucket.bucketId;
    init["uploader"] = "DESKTOP";
    init["md5Digest"] = md5Hex(big);
    init["size"] = Json::UInt64(big.size());
    for (unsigned n = 1; n <= 2; ++n) {
        Json::Value part;
        part["number"] = n;
        part["size"] = n == 1 ? 150000 : 50000;
        part["md5Digest"] = Json::Value();
        init["parts"].append(part);
    }
    const std::string multiPath = "/api/v2/bucket/" + bucket.bucketId + "/file/" + multi.fileId;
    auto r = http.postJson(multiPath + "/upload/multipart/initialize", init);
    ASSERT_EQ(r.status, 200) << r.body;
    for (unsigned i = 0; i < 2; ++i) {
        const Json::Value& detail = r.json["partUploadDetails"][i];
        EXPECT_EQ(CCurlRequest(detail["url"].asString())
                      .upload(i == 0 ? big.substr(0, 150000) : big.substr(150000))
                      .perform()
                      .status,
                  201);
    }
    Json::Value complete;
    complete["uploadId"] = r.json["uploadId"];
    complete["token"] = bucket.token;
    complete["fileId"] = multi.fileId;
    complete["bucketId"] = bucket.bucketId;
    complete["numberOfParts"] = 2;
    EXPECT_EQ(http.postJson(multiPath + "/upload/multipart/complete", complete).status, 200);

    // Download: the redirect points at nginx, which serves the ranges.
    auto redirect = http.send("GET", multiPath + "/download?action=DOWNLOAD&token=" + bucket.token);
    ASSERT_EQ(redirect.status, 302);
    const std::string location = redirect.header("Location");
    EXPECT_EQ(location.substr(0, nginx.baseUrl().size()), nginx.baseUrl());
    auto ranged = CCurlRequest(location).range("149995-150004").perform();
    EXPECT_EQ(ranged.status, 206);
    EXPECT_EQ(ranged.body, "aaaaabbbbb");
    nginx.waitForAccess(
        [](const CNginxFixture::AccessLogEntry& e) {
            return e.range == "bytes=149995-150004" && e.status == 206;
        },
        std::chrono::seconds(5));
}

TEST(CNginxFixtureTest, StopEndsAndReapsTheProcess) {
    CNginxFixture nginx;
    pid_t pid = nginx.pid();
    ASSERT_GT(pid, 0);
    EXPECT_EQ(CCurlRequest(nginx.urlFor("nothing")).perform().status, 404);
    nginx.stop();
    EXPECT_EQ(nginx.pid(), -1);
    EXPECT_EQ(::kill(pid, 0), -1) << "reaped, so the pid is gone";
    EXPECT_NE(CCurlRequest(nginx.baseUrl()).timeoutMs(3000).perform().code, CURLE_OK);
}

}  // namespace
}  // namespace vxt_test
