// The service's data-plane option: upload URLs point at nginx while REST stays on the service,
// which judges, assembles and hashes what nginx stored. Through the configuration in process,
// and through the program's --data-plane-url/--data-plane-dir flags.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "CCurlRequest.h"
#include "support/CJsonHttpClient.h"
#include "support/CNginxEnvironment.h"
#include "support/CNginxFixture.h"
#include "support/CServiceControlClient.h"
#include "support/md5Hex.h"
#include "support/reapChild.h"
#include "vxt-service/CService.h"

namespace vxt_test {
namespace {

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

class CServiceDataPlaneOptionTest : public ::testing::Test {
protected:
    void SetUp() override {
        CNginxFixture& nginx = CNginxEnvironment::nginx();
        // A sub-folder checks that URL paths and folder paths are mapped onto each other.
        m_planeUrl = nginx.baseUrl() + "/plane";
        m_planeDir = nginx.root() + "/plane";
        vxt_service::ServiceConfig config;
        config.user = "u";
        config.password = "p";
        config.dataPlaneUrl = m_planeUrl;
        config.dataPlaneDir = m_planeDir;
        m_service = std::make_unique<vxt_service::CService>(config);
        m_service->start();
        m_http = std::make_unique<CJsonHttpClient>(m_service->rootUrl());
        auto login = m_http->send("POST", "/login", R"({"userId":"u","password":"p"})");
        ASSERT_EQ(login.status, 200);
        m_auth = {{"x-vx-auth-token", login.json["token"].asString()}};
        Json::Value create;
        create["type"] = "message";
        auto bucket = m_http->postJson("/api/v2/bucket/message", create, m_auth);
        ASSERT_EQ(bucket.status, 200) << bucket.body;
        m_bucketId = bucket.json["bucketId"].asString();
        m_token = bucket.json["token"].asString();
    }

    Json::Value bucketBody(const std::string& fileId = "") const {
        Json::Value body;
        body["token"] = m_token;
        body["bucketId"] = m_bucketId;
        if (!fileId.empty()) body["fileId"] = fileId;
        return body;
    }

    std::string filePath(const std::string& fileId) const {
        return "/api/v2/bucket/" + m_bucketId + "/file/" + fileId;
    }

    CJsonHttpClient::Response postCompleted(const std::string& fileId, std::uint64_t size) {
        Json::Value body = bucketBody(fileId);
        body["status"] = "COMPLETED";
        body["progress"] = Json::UInt64(size);
        return m_http->postJson(filePath(fileId) + "/status", body);
    }

    std::string m_planeUrl, m_planeDir;
    std::unique_ptr<vxt_service::CService> m_service;
    std::unique_ptr<CJsonHttpClient> m_http;
    CJsonHttpClient::Headers m_auth;
    std::string m_bucketId, m_token;
};

TEST_F(CServiceDataPlaneOptionTest, SinglePartUrlsPointAtTheDataPlaneWhoseBytesTheServiceJudges) {
    const std::string data(300000, 's');
    Json::Value add = bucketBody();
    Json::Value file;
    file["name"] = "s.bin";
    file["size"] = Json::UInt64(data.size());
    add["files"].append(file);
    auto added = m_http->postJson("/api/v2/bucket/" + m_bucketId + "/files", add, m_auth);
    ASSERT_EQ(added.status, 200) << added.body;
    const Json::Value& put = added.json["files"][0]["uploadDetails"]["put"];
    const std::string fileId = added.json["files"][0]["file"]["id"].asString();
    const std::string url = put["url"].asString();
    ASSERT_TRUE(startsWith(url, m_planeUrl + "/")) << url;

    // Nothing on the data plane yet: the service refuses to call the file complete.
    EXPECT_EQ(postCompleted(fileId, data.size()).status, 409);

    CCurlRequest request(url);
    for (const auto& name : put["headers"].getMemberNames()) {
        request.header(name, put["headers"][name].asString());
    }
    EXPECT_EQ(request.upload(data).perform().status, 201);
    EXPECT_EQ(postCompleted(fileId, data.size()).status, 200);
    auto info = CServiceControlClient(m_service->rootUrl()).file(m_bucketId, fileId);
    EXPECT_EQ(info.md5, md5Hex(data));
    EXPECT_EQ(info.storedSize, data.size());
    EXPECT_TRUE(startsWith(info.storagePath, m_planeDir + "/")) << info.storagePath;
}

TEST_F(CServiceDataPlaneOptionTest, MultipartPartsGoToTheDataPlaneAndAreAssembledFromItsFolder) {
    const std::string big = std::string(120000, 'x') + std::string(80000, 'y');
    CServiceControlClient control(m_service->rootUrl());
    auto target = control.registerUpload(m_bucketId, "m.bin", big.size());
    EXPECT_TRUE(startsWith(target.url, m_planeUrl + "/")) << target.url;

    Json::Value init = bucketBody(target.fileId);
    init["uploadId"] = Json::Value();
    init["uploader"] = "DESKTOP";
    init["md5Digest"] = md5Hex(big);
    init["size"] = Json::UInt64(big.size());
    const std::size_t sizes[] = {120000, 80000};
    for (unsigned n = 1; n <= 2; ++n) {
        Json::Value part;
        part["number"] = n;
        part["size"] = Json::UInt64(sizes[n - 1]);
        part["md5Digest"] = Json::Value();
        init["parts"].append(part);
    }
    auto r = m_http->postJson(filePath(target.fileId) + "/upload/multipart/initialize", init);
    ASSERT_EQ(r.status, 200) << r.body;
    Json::Value complete = bucketBody(target.fileId);
    complete["uploadId"] = r.json["uploadId"];
    complete["numberOfParts"] = 2;
    for (unsigned i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        const Json::Value& detail = r.json["partUploadDetails"][i];
        ASSERT_TRUE(startsWith(detail["url"].asString(), m_planeUrl + "/"));
        if (i == 1) {
            // One part missing on the data plane: assembly must fail, not read stale bytes.
            auto early =
                m_http->postJson(filePath(target.fileId) + "/upload/multipart/complete", complete);
            EXPECT_EQ(early.status, 400) << early.body;
        }
        CCurlRequest request(detail["url"].asString());
        EXPECT_EQ(request.upload(big.substr(i == 0 ? 0 : 120000, sizes[i])).perform().status, 201);
    }
    auto done = m_http->postJson(filePath(target.fileId) + "/upload/multipart/complete", complete);
    EXPECT_EQ(done.status, 200) << done.body;
    auto info = control.file(m_bucketId, target.fileId);
    EXPECT_EQ(info.md5, md5Hex(big));
    EXPECT_TRUE(startsWith(info.storagePath, m_planeDir + "/")) << info.storagePath;
}

TEST_F(CServiceDataPlaneOptionTest, ResetKeepsTheConfiguredDataPlane) {
    CServiceControlClient control(m_service->rootUrl());
    control.reset();
    auto bucket = control.createBucket();
    auto target = control.registerUpload(bucket.bucketId, "r.bin", 10);
    EXPECT_TRUE(startsWith(target.url, m_planeUrl + "/")) << target.url;
}

TEST(CServiceDataPlaneOptionConfigTest, OnlyOneOfUrlAndFolderIsRefused) {
    vxt_service::ServiceConfig urlOnly;
    urlOnly.dataPlaneUrl = "http://127.0.0.1:1";
    EXPECT_THROW(vxt_service::CService{urlOnly}, std::invalid_argument);
    vxt_service::ServiceConfig dirOnly;
    dirOnly.dataPlaneDir = "/tmp";
    EXPECT_THROW(vxt_service::CService{dirOnly}, std::invalid_argument);
}

// Runs the program with `args`; gives its pid and a stream of its standard output.
pid_t launch(const std::vector<std::string>& args, FILE** out) {
    int fds[2];
    if (::pipe(fds) != 0) return -1;
    pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(fds[1], 1);
        ::close(fds[0]);
        std::vector<char*> argv{const_cast<char*>(VXT_SERVICE_EXE)};
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(VXT_SERVICE_EXE, argv.data());
        ::_exit(127);
    }
    ::close(fds[1]);
    *out = ::fdopen(fds[0], "r");
    return pid;
}

TEST(CServiceDataPlaneOptionExecutableTest, FlagsSendUploadsToTheDataPlane) {
    CNginxFixture& nginx = CNginxEnvironment::nginx();
    FILE* out = nullptr;
    pid_t pid = launch(
        {"--port", "0", "--data-plane-url", nginx.baseUrl(), "--data-plane-dir", nginx.root()},
        &out);
    ASSERT_GT(pid, 0);
    char line[256] = {0};
    pollfd ready{::fileno(out), POLLIN, 0};
    if (::poll(&ready, 1, 10000) != 1 || ::fgets(line, sizeof line, out) == nullptr) {
        ::kill(pid, SIGKILL);
        reapChild(pid, std::chrono::seconds(5));
        ::fclose(out);
        FAIL() << "vxt-service printed no URL";
    }
    std::string root(line);
    while (!root.empty() && root.back() == '\n') root.pop_back();
    CServiceControlClient control(root);
    auto bucket = control.createBucket();
    const std::string data = "bytes through nginx";
    auto target = control.registerUpload(bucket.bucketId, "e.bin", data.size());
    EXPECT_TRUE(startsWith(target.url, nginx.baseUrl() + "/b/")) << target.url;
    EXPECT_EQ(CCurlRequest(target.url).headers(target.headers).upload(data).perform().status, 201);
    EXPECT_EQ(control.file(bucket.bucketId, target.fileId).md5, md5Hex(data));
    ::kill(pid, SIGTERM);
    int status = reapChild(pid, std::chrono::seconds(10));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    ::fclose(out);
}

TEST(CServiceDataPlaneOptionExecutableTest, HalfADataPlaneIsAUsageError) {
    const std::vector<std::vector<std::string>> rows = {
        {"--data-plane-url", "http://127.0.0.1:1"},
        {"--data-plane-dir", "/tmp"},
        {"--data-plane-url"},
    };
    for (const auto& args : rows) {
        SCOPED_TRACE(args[0] + " with " + std::to_string(args.size() - 1) + " value(s)");
        FILE* out = nullptr;
        pid_t pid = launch(args, &out);
        ASSERT_GT(pid, 0);
        int status = reapChild(pid, std::chrono::seconds(10));
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 2);
        ::fclose(out);
    }
}

}  // namespace
}  // namespace vxt_test
