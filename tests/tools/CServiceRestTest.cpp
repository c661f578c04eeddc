// The REST side of the local service, driven by Poco's HTTPClientSession (through
// CJsonHttpClient) with the bodies the transfer library sends, and libcurl for the data plane.
#include <gtest/gtest.h>

#include <string>

#include "CCurlRequest.h"
#include "support/CJsonHttpClient.h"
#include "support/CLocalService.h"
#include "support/md5Hex.h"

namespace vxt_test {
namespace {

std::string pattern(std::size_t size, char seed) {
    std::string out(size, '\0');
    for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<char>(seed + i * 7 % 251);
    return out;
}

class CServiceRestTest : public ::testing::Test {
protected:
    struct Bucket {
        std::string id;
        std::string token;
    };

    CServiceRestTest() : m_http(m_service.rootUrl()) {}

    Json::Value bucketInitBody() {
        Json::Value body;
        body["summary"] = "Test";
        body["viewMode"] = Json::Value();
        body["type"] = "message";
        body["previewsEnabled"] = true;
        body["body"] = Json::Value();
        body["password"] = Json::Value();
        body["uploader"] = "DESKTOP";
        body["files"] = Json::Value(Json::arrayValue);
        body["cloneFiles"] = Json::Value(Json::arrayValue);
        body["recipients"] = Json::Value(Json::arrayValue);
        return body;
    }

    Bucket createBucket(const std::string& userToken) {
        auto r = m_http.postJson("/api/v2/bucket/message", bucketInitBody(),
                                 {{"x-vx-auth-token", userToken}});
        EXPECT_EQ(r.status, 200) << r.body;
        return {r.json["bucketId"].asString(), r.json["token"].asString()};
    }

    Json::Value addFilesBody(const Bucket& bucket, const std::string& name, std::uint64_t size) {
        Json::Value body;
        body["token"] = bucket.token;
        body["bucketId"] = bucket.id;
        body["uploader"] = "DESKTOP";
        body["cloneFiles"] = Json::Value(Json::arrayValue);
        Json::Value file;
        file["name"] = name;
        file["size"] = Json::UInt64(size);
        file["created"] = "2008-08-01T02:00:00.000Z";
        file["modified"] = "2008-08-01T02:00:00.000Z";
        file["path"] = Json::Value();
        body["files"].append(file);
        return body;
    }

    Json::Value fileBody(const Bucket& bucket, const std::string& fileId) {
        Json::Value body;
        body["token"] = bucket.token;
        body["fileId"] = fileId;
        body["bucketId"] = bucket.id;
        return body;
    }

    std::string filePath(const Bucket& bucket, const std::string& fileId, const char* tail) {
        return "/api/v2/bucket/" + bucket.id + "/file/" + fileId + tail;
    }

    // A bucket with one registered file of `size` bytes; gives the file id.
    std::string registerFile(Bucket& bucket, std::uint64_t size) {
        bucket = createBucket(m_service.login());
        auto target = m_service.control().registerUpload(bucket.id, "f.bin", size);
        return target.fileId;
    }

    Json::Value initializeBody(const Bucket& bucket, const std::string& fileId, std::uint64_t size,
                               const Json::Value& parts) {
        Json::Value body = fileBody(bucket, fileId);
        body["uploadId"] = Json::Value();
        body["uploader"] = "DESKTOP";
        body["md5Digest"] = Json::Value();
        body["size"] = Json::UInt64(size);
        body["parts"] = parts;
        return body;
    }

    static Json::Value part(unsigned number, std::uint64_t size, const std::string& md5 = "") {
        Json::Value p;
        p["number"] = number;
        p["size"] = Json::UInt64(size);
        p["md5Digest"] = md5.empty() ? Json::Value() : Json::Value(md5);
        return p;
    }

    static CCurlRequest::Result putTo(const Json::Value& detail, const std::string& data) {
        CCurlRequest request(detail["url"].asString());
        for (const auto& name : detail["headers"].getMemberNames()) {
            request.header(name, detail["headers"][name].asString());
        }
        return request.upload(data).perform();
    }

    CLocalService m_service;
    CJsonHttpClient m_http;
};

TEST_F(CServiceRestTest, LoginGivesATokenOnlyForTheConfiguredUser) {
    struct Row {
        const char* method;
        std::string body;
        int status;
    };
    const Row rows[] = {
        {"POST", R"({"userId":"tester","password":"secret"})", 200},
        {"POST", "{\"password\":\"secret\",\"userId\":\"tester\"}\n", 200},  // as FastWriter
        {"POST", R"({"userId":"tester","password":"wrong"})", 401},
        {"POST", R"({"userId":"someone","password":"secret"})", 401},
        {"POST", R"({"userId":"tester"})", 400},
        {"POST", R"({"userId":"tester","password":7})", 400},
        {"POST", R"({"userId":"tester","password":"secret")", 400},
        {"POST", R"(["tester","secret"])", 400},
        {"GET", "", 405},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        auto r =
            m_http.send(row.method, "/login", row.body, {{"Content-Type", "application/json"}});
        EXPECT_EQ(r.status, row.status) << r.body;
        if (row.status == 200) {
            EXPECT_TRUE(r.json["token"].isString());
            EXPECT_GT(r.json["tokenExpires"].asUInt64(), 0u);
        } else {
            EXPECT_EQ(r.json["status"].asInt(), row.status) << "error bodies are JSON";
        }
    }
}

TEST_F(CServiceRestTest, SinglePartConversationStoresTheBytesAndRecordsEveryStatus) {
    const std::string data = pattern(100000, 'a');
    Bucket bucket = createBucket(m_service.login());
    auto added = m_http.postJson("/api/v2/bucket/" + bucket.id + "/files",
                                 addFilesBody(bucket, "a.bin", data.size()),
                                 {{"x-vx-auth-token", m_service.login()}});
    ASSERT_EQ(added.status, 200) << added.body;
    ASSERT_EQ(added.json["files"].size(), 1u);
    const std::string fileId = added.json["files"][0]["file"]["id"].asString();
    const Json::Value put = added.json["files"][0]["uploadDetails"]["put"];
    EXPECT_GT(put["expires"].asUInt64(), 0u);

    // The PUT URL insists on the headers it was handed out with.
    auto bare = CCurlRequest(put["url"].asString()).upload(data).perform();
    EXPECT_EQ(bare.status, 403);
    auto uploaded = putTo(put, data);
    ASSERT_EQ(uploaded.code, CURLE_OK);
    EXPECT_EQ(uploaded.status, 200);

    Json::Value progress = fileBody(bucket, fileId);
    progress["status"] = "UPLOADING";
    progress["progress"] = Json::UInt64(4096);
    auto r = m_http.postJson(filePath(bucket, fileId, "/status"), progress);
    EXPECT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(r.json["file"]["id"].asString(), fileId);
    EXPECT_EQ(r.json["file"]["bucketId"].asString(), bucket.id);
    progress["status"] = "COMPLETED";
    progress["progress"] = Json::UInt64(data.size());
    EXPECT_EQ(m_http.postJson(filePath(bucket, fileId, "/status"), progress).status, 200);

    Json::Value done;
    done["token"] = bucket.token;
    done["bucketId"] = bucket.id;
    done["status"] = "COMPLETED";
    r = m_http.postJson("/api/v2/bucket/" + bucket.id + "/status", done);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.json["bucket"]["id"].asString(), bucket.id);

    // The library's retrieval is a GET that carries the JSON null as its body.
    r = m_http.send("GET",
                    "/api/v2/bucket/" + bucket.id + "?token=" + bucket.token + "&detail=false",
                    "null\n", {{"Content-Type", "application/json"}});
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.json["bucket"]["id"].asString(), bucket.id);
    EXPECT_EQ(r.json["bucket"]["status"].asString(), "COMPLETED");

    auto file = m_service.control().file(bucket.id, fileId);
    EXPECT_TRUE(file.stored);
    EXPECT_EQ(file.storedSize, data.size());
    EXPECT_EQ(file.md5, md5Hex(data));
    EXPECT_EQ(file.statusHistory, (std::vector<std::string>{"UPLOADING", "COMPLETED"}));
    EXPECT_EQ(file.progressHistory, (std::vector<std::uint64_t>{4096, data.size()}));
    EXPECT_EQ(m_service.control().bucket(bucket.id).statusHistory,
              std::vector<std::string>{"COMPLETED"});
    auto logged = m_service.control().waitForRoute(routes::kFileStatus, std::chrono::seconds(5));
    EXPECT_EQ(logged.json["progress"].asUInt64(), 4096u);
}

TEST_F(CServiceRestTest, CredentialsAndIdentifiersAreCheckedOnEveryRoute) {
    Bucket bucket;
    const std::string fileId = registerFile(bucket, 10);
    const std::string user = m_service.login();
    Bucket other = createBucket(user);
    Bucket wrongToken{bucket.id, other.token};
    Bucket unknown{"nosuchbucket", bucket.token};
    auto status = [&](const Bucket& b, const std::string& file, const char* word) {
        Json::Value body = fileBody(b, file);
        body["status"] = word;
        body["progress"] = 1;
        return body;
    };
    Json::Value noToken = status(bucket, fileId, "UPLOADING");
    noToken.removeMember("token");
    Json::Value otherFileInBody = status(bucket, fileId, "UPLOADING");
    otherFileInBody["fileId"] = "elsewhere";
    Json::Value negativeProgress = status(bucket, fileId, "UPLOADING");
    negativeProgress["progress"] = -1;
    struct Row {
        const char* what;
        std::string path;
        Json::Value body;
        CJsonHttpClient::Headers headers;
        int status;
    };
    const std::string files = "/api/v2/bucket/" + bucket.id + "/files";
    const std::string fileStatus = filePath(bucket, fileId, "/status");
    const Row rows[] = {
        {"bucket without user token", "/api/v2/bucket/message", bucketInitBody(), {}, 401},
        {"bucket with unknown user token",
         "/api/v2/bucket/message",
         bucketInitBody(),
         {{"x-vx-auth-token", "forged"}},
         403},
        {"files without user token", files, addFilesBody(bucket, "x", 1), {}, 401},
        {"files with wrong bucket token",
         files,
         addFilesBody(wrongToken, "x", 1),
         {{"x-vx-auth-token", user}},
         403},
        {"files of unknown bucket",
         "/api/v2/bucket/nosuchbucket/files",
         addFilesBody(unknown, "x", 1),
         {{"x-vx-auth-token", user}},
         404},
        {"files with empty bucket id",
         "/api/v2/bucket//files",
         addFilesBody({"", ""}, "x", 1),
         {{"x-vx-auth-token", user}},
         404},
        {"file status without token", fileStatus, noToken, {}, 401},
        {"file status with wrong token",
         fileStatus,
         status(wrongToken, fileId, "UPLOADING"),
         {},
         403},
        {"file status of unknown file",
         filePath(bucket, "nofile", "/status"),
         status(bucket, "nofile", "UPLOADING"),
         {},
         404},
        {"file status with unknown word", fileStatus, status(bucket, fileId, "DONE"), {}, 400},
        {"file status naming another file", fileStatus, otherFileInBody, {}, 400},
        {"file status with negative progress", fileStatus, negativeProgress, {}, 400},
        {"file completed before any byte",
         fileStatus,
         status(bucket, fileId, "COMPLETED"),
         {},
         409},
        {"unknown route", "/api/v2/elsewhere", Json::Value(Json::objectValue), {}, 404},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        auto r = m_http.postJson(row.path, row.body, row.headers);
        EXPECT_EQ(r.status, row.status) << r.body;
        EXPECT_EQ(r.json["status"].asInt(), row.status);
    }
    auto r = m_http.send("GET", "/api/v2/bucket/" + bucket.id + "?detail=false");
    EXPECT_EQ(r.status, 401);
    r = m_http.send("GET", "/api/v2/bucket/" + bucket.id + "?token=" + other.token);
    EXPECT_EQ(r.status, 403);
    r = m_http.send("GET", "/api/v2/bucket/nosuch?token=x&detail=false");
    EXPECT_EQ(r.status, 404);
    r = m_http.send("POST", fileStatus, "{not json", {{"Content-Type", "application/json"}});
    EXPECT_EQ(r.status, 400);
}

TEST_F(CServiceRestTest, ExpiredOrDeletedBucketAnswersOnlyItsStatus) {
    for (const char* word : {"EXPIRED", "DELETED"}) {
        SCOPED_TRACE(word);
        Bucket bucket;
        const std::string fileId = registerFile(bucket, 10);
        m_service.control().setBucketStatus(bucket.id, word);
        auto r = m_http.send(
            "GET", "/api/v2/bucket/" + bucket.id + "?token=" + bucket.token + "&detail=false");
        EXPECT_EQ(r.status, 200);
        EXPECT_EQ(r.json["bucket"]["status"].asString(), word);
        Json::Value body = fileBody(bucket, fileId);
        body["status"] = "UPLOADING";
        body["progress"] = 0;
        EXPECT_EQ(m_http.postJson(filePath(bucket, fileId, "/status"), body).status, 410);
        r = m_http.send(
            "GET", filePath(bucket, fileId, "/download?action=DOWNLOAD&token=") + bucket.token);
        EXPECT_EQ(r.status, 410);
    }
}

TEST_F(CServiceRestTest, MultipartInitializeRefusesPartListsThatDoNotDescribeTheFile) {
    Bucket bucket;
    const std::string fileId = registerFile(bucket, 100);
    Json::Value tooMany(Json::arrayValue);
    for (unsigned i = 1; i <= 1001; ++i) tooMany.append(part(i, i <= 100 ? 1 : 0));
    Json::Value gap(Json::arrayValue), repeat(Json::arrayValue), zero(Json::arrayValue),
        shortSum(Json::arrayValue), badMd5(Json::arrayValue);
    gap.append(part(1, 50));
    gap.append(part(3, 50));
    repeat.append(part(1, 50));
    repeat.append(part(1, 50));
    zero.append(part(0, 50));
    zero.append(part(1, 50));
    shortSum.append(part(1, 50));
    shortSum.append(part(2, 49));
    badMd5.append(part(1, 100, "xyz"));
    struct Row {
        const char* what;
        Json::Value parts;
        std::uint64_t size;
    };
    const Row rows[] = {
        {"a gap in the numbers", gap, 100},
        {"a repeated number", repeat, 100},
        {"a number 0", zero, 100},
        {"sizes not adding up", shortSum, 100},
        {"more than 1000 parts", tooMany, 100},
        {"a malformed part digest", badMd5, 100},
        {"a size other than the registered one", shortSum, 99},
        {"parts that are not an array", Json::Value("1"), 100},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        auto r = m_http.postJson(filePath(bucket, fileId, "/upload/multipart/initialize"),
                                 initializeBody(bucket, fileId, row.size, row.parts));
        EXPECT_EQ(r.status, 400) << r.body;
    }
    Json::Value body = initializeBody(bucket, fileId, 100, gap);
    body.removeMember("size");
    EXPECT_EQ(
        m_http.postJson(filePath(bucket, fileId, "/upload/multipart/initialize"), body).status,
        400);
}

TEST_F(CServiceRestTest, MultipartUploadAssemblesPartsInNumberOrder) {
    const std::string data = pattern(250000, 'q');
    Bucket bucket;
    const std::string fileId = registerFile(bucket, data.size());
    // Announced out of order and with digests; answered in ascending order.
    Json::Value parts(Json::arrayValue);
    parts.append(part(3, 50000, md5Hex(data.substr(200000))));
    parts.append(part(1, 100000, md5Hex(data.substr(0, 100000))));
    parts.append(part(2, 100000, md5Hex(data.substr(100000, 100000))));
    Json::Value body = initializeBody(bucket, fileId, data.size(), parts);
    body["md5Digest"] = md5Hex(data);
    auto init = m_http.postJson(filePath(bucket, fileId, "/upload/multipart/initialize"), body);
    ASSERT_EQ(init.status, 200) << init.body;
    EXPECT_EQ(init.json["file"]["id"].asString(), fileId);
    const std::string uploadId = init.json["uploadId"].asString();
    const Json::Value details = init.json["partUploadDetails"];
    ASSERT_EQ(details.size(), 3u);
    for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(details[i]["number"].asInt(), int(i + 1));

    // A part without its headers is refused; one of the wrong length too.
    auto bare = CCurlRequest(details[0]["url"].asString()).upload(data.substr(0, 100000)).perform();
    EXPECT_EQ(bare.status, 403);
    EXPECT_EQ(putTo(details[0], data.substr(0, 99999)).status, 400);
    const std::uint64_t offsets[] = {0, 100000, 200000};
    for (int i = 2; i >= 0; --i) {
        auto sizeOfPart = i == 2 ? 50000 : 100000;
        EXPECT_EQ(putTo(details[i], data.substr(offsets[i], sizeOfPart)).status, 200);
    }
    Json::Value complete = fileBody(bucket, fileId);
    complete["uploadId"] = uploadId;
    complete["numberOfParts"] = 2;
    const std::string completePath = filePath(bucket, fileId, "/upload/multipart/complete");
    EXPECT_EQ(m_http.postJson(completePath, complete).status, 400) << "three parts were announced";
    complete["numberOfParts"] = 3;
    auto r = m_http.postJson(completePath, complete);
    ASSERT_EQ(r.status, 200) << r.body;
    EXPECT_EQ(r.json["file"]["id"].asString(), fileId);
    EXPECT_EQ(m_http.postJson(completePath, complete).status, 200) << "a repeated complete";
    auto file = m_service.control().file(bucket.id, fileId);
    EXPECT_EQ(file.md5, md5Hex(data));
    EXPECT_EQ(file.completedUploadId, uploadId);
    Json::Value abort = fileBody(bucket, fileId);
    abort["uploadId"] = uploadId;
    EXPECT_EQ(m_http.postJson(filePath(bucket, fileId, "/upload/multipart/abort"), abort).status,
              409);
}

TEST_F(CServiceRestTest, MultipartCompleteRefusesMissingOrAlteredPartsAndAbortDiscards) {
    const std::string data = pattern(2000, 'z');
    Bucket bucket;
    const std::string fileId = registerFile(bucket, data.size());
    Json::Value parts(Json::arrayValue);
    parts.append(part(1, 1000, md5Hex(data.substr(0, 1000))));
    parts.append(part(2, 1000));
    auto init = m_http.postJson(filePath(bucket, fileId, "/upload/multipart/initialize"),
                                initializeBody(bucket, fileId, data.size(), parts));
    ASSERT_EQ(init.status, 200);
    const Json::Value details = init.json["partUploadDetails"];
    Json::Value complete = fileBody(bucket, fileId);
    complete["uploadId"] = init.json["uploadId"];
    complete["numberOfParts"] = 2;
    const std::string completePath = filePath(bucket, fileId, "/upload/multipart/complete");

    ASSERT_EQ(putTo(details[1], data.substr(1000)).status, 200);
    auto r = m_http.postJson(completePath, complete);
    EXPECT_EQ(r.status, 400);
    EXPECT_NE(r.json["message"].asString().find("part 1"), std::string::npos) << r.body;
    ASSERT_EQ(putTo(details[0], std::string(1000, 'x')).status, 200);
    r = m_http.postJson(completePath, complete);
    EXPECT_EQ(r.status, 400) << "part 1 does not match its digest";
    EXPECT_FALSE(m_service.control().file(bucket.id, fileId).stored);

    Json::Value abort = fileBody(bucket, fileId);
    abort["uploadId"] = init.json["uploadId"];
    EXPECT_EQ(m_http.postJson(filePath(bucket, fileId, "/upload/multipart/abort"), abort).status,
              200);
    EXPECT_EQ(m_http.postJson(completePath, complete).status, 404);
    EXPECT_EQ(putTo(details[0], data.substr(0, 1000)).status, 404);
    complete["uploadId"] = "nosuchupload";
    EXPECT_EQ(m_http.postJson(completePath, complete).status, 404);
}

TEST_F(CServiceRestTest, EmptyFileCompletesAsMultipartWithNullParts) {
    Bucket bucket;
    const std::string fileId = registerFile(bucket, 0);
    auto init = m_http.postJson(filePath(bucket, fileId, "/upload/multipart/initialize"),
                                initializeBody(bucket, fileId, 0, Json::Value()));
    ASSERT_EQ(init.status, 200) << init.body;
    EXPECT_EQ(init.json["partUploadDetails"].size(), 0u);
    Json::Value complete = fileBody(bucket, fileId);
    complete["uploadId"] = init.json["uploadId"];
    complete["numberOfParts"] = 0;
    EXPECT_EQ(
        m_http.postJson(filePath(bucket, fileId, "/upload/multipart/complete"), complete).status,
        200);
    auto file = m_service.control().file(bucket.id, fileId);
    EXPECT_TRUE(file.stored);
    EXPECT_EQ(file.md5, md5Hex(""));
}

TEST_F(CServiceRestTest, DownloadRedirectGivesASignedUrlThatExpires) {
    const std::string data = pattern(5000, 'd');
    auto bucket = m_service.control().createBucket();
    CServiceControlClient::SeedFile seed;
    seed.content = data;
    auto file = m_service.control().seedFile(bucket.bucketId, seed);
    EXPECT_EQ(file.md5, md5Hex(data));
    const std::string rest = "/api/v2/bucket/" + bucket.bucketId + "/file/" + file.fileId +
                             "/download?action=DOWNLOAD&token=" + bucket.token;
    // Poco's client asks with the absolute URL, as the library's download file does.
    auto r = m_http.send("GET", m_service.rootUrl() + rest);
    ASSERT_EQ(r.status, 302);
    const std::string url = r.header("Location");
    ASSERT_FALSE(url.empty());
    auto got = CCurlRequest(url).perform();
    EXPECT_EQ(got.status, 200);
    EXPECT_EQ(got.body, data);
    auto followed = CCurlRequest(m_service.rootUrl() + rest).follow(2).range("10-19").perform();
    EXPECT_EQ(followed.status, 206);
    EXPECT_EQ(followed.body, data.substr(10, 10));

    std::string tampered = url;
    tampered[tampered.size() - 1] = tampered.back() == '0' ? '1' : '0';
    EXPECT_EQ(CCurlRequest(tampered).perform().status, 403);
    EXPECT_EQ(CCurlRequest(url).method("PUT").upload("x").perform().status, 403)
        << "a GET URL is no PUT URL";
    m_service.control().expireDataUrlsNow();
    EXPECT_EQ(CCurlRequest(url).perform().status, 403);
    r = m_http.send("GET", rest);
    EXPECT_EQ(CCurlRequest(r.header("Location")).perform().status, 200) << "a fresh URL works";

    EXPECT_EQ(m_http
                  .send("GET", "/api/v2/bucket/" + bucket.bucketId + "/file/" + file.fileId +
                                   "/download?token=" + bucket.token)
                  .status,
              400);
    auto empty = m_service.control().registerUpload(bucket.bucketId, "later.bin", 3);
    EXPECT_EQ(m_http
                  .send("GET", "/api/v2/bucket/" + bucket.bucketId + "/file/" + empty.fileId +
                                   "/download?action=DOWNLOAD&token=" + bucket.token)
                  .status,
              404);
}

TEST_F(CServiceRestTest, OversizedHeadsAndBodiesAreRefused) {
    auto r = m_http.send("POST", "/login", std::string(2 * 1024 * 1024, ' '));
    EXPECT_EQ(r.status, 413);
    r = m_http.send("GET", "/login", "", {{"X-Big", std::string(20000, 'h')}});
    EXPECT_EQ(r.status, 431);
    EXPECT_EQ(m_http.send("POST", "/login", R"({"userId":"tester","password":"secret"})").status,
              200)
        << "the service goes on";
}

TEST(CServicePrefixTest, RestRoutesLiveBehindThePathPrefixOnly) {
    CLocalService::Options options;
    options.pathPrefix = "/vx/api-gw";
    CLocalService service(options);
    EXPECT_EQ(service.baseUrl(), service.rootUrl() + "/vx/api-gw");
    CJsonHttpClient http(service.rootUrl());
    const std::string body = R"({"userId":"tester","password":"secret"})";
    EXPECT_EQ(http.send("POST", "/vx/api-gw/login", body).status, 200);
    EXPECT_EQ(http.send("POST", "/login", body).status, 404);
    EXPECT_EQ(http.send("POST", "/vx/login", body).status, 404);
    EXPECT_FALSE(service.login().empty());
    auto record = service.control().waitForRoute(routes::kLogin, std::chrono::seconds(5), 200);
    EXPECT_EQ(record.path, "/login") << "the log shows the path behind the prefix";
}

}  // namespace
}  // namespace vxt_test
