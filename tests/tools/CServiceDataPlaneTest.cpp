// The data plane and the control interface of the local service: ranges, hand-written HTTP as
// the transfer channels write it, scripted faults, concurrency, throttling and the request log.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "CCurlRequest.h"
#include "CRawConnection.h"
#include "support/CJsonHttpClient.h"
#include "support/CLocalService.h"

namespace vxt_test {
namespace {

using Fault = CServiceControlClient::Fault;
using Action = CServiceControlClient::FaultAction;
using std::chrono::milliseconds;
using std::chrono::seconds;

class CServiceDataPlaneTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_data.resize(65536);
        for (std::size_t i = 0; i < m_data.size(); ++i) m_data[i] = static_cast<char>(i * 31 % 253);
        m_bucket = m_service.control().createBucket();
        CServiceControlClient::SeedFile seed;
        seed.content = m_data;
        m_fileId = m_service.control().seedFile(m_bucket.bucketId, seed).fileId;
    }

    std::string restDownloadPath() const {
        return "/api/v2/bucket/" + m_bucket.bucketId + "/file/" + m_fileId +
               "/download?action=DOWNLOAD&token=" + m_bucket.token;
    }

    std::string dataUrl() {
        auto r = CJsonHttpClient(m_service.rootUrl()).send("GET", restDownloadPath());
        EXPECT_EQ(r.status, 302);
        return r.header("Location");
    }

    // Path and query of a URL on the service, as a hand-written request names it.
    std::string targetOf(const std::string& url) { return url.substr(m_service.rootUrl().size()); }

    CLocalService m_service;
    CServiceControlClient::BucketInfo m_bucket;
    std::string m_fileId;
    std::string m_data;
};

TEST_F(CServiceDataPlaneTest, RangeRequestsAnswerExactlyTheAskedBytes) {
    struct Row {
        const char* range;
        long status;
        std::size_t first;
        std::size_t length;
        const char* contentRange;
    };
    const Row rows[] = {
        {"", 200, 0, 65536, ""},
        {"bytes=0-0", 206, 0, 1, "bytes 0-0/65536"},
        {"bytes=1000-1999", 206, 1000, 1000, "bytes 1000-1999/65536"},
        {"bytes=65000-", 206, 65000, 536, "bytes 65000-65535/65536"},
        {"bytes=-36", 206, 65500, 36, "bytes 65500-65535/65536"},
        {"bytes=65530-70000", 206, 65530, 6, "bytes 65530-65535/65536"},
        {"bytes=65536-", 416, 0, 0, "bytes */65536"},
        {"bytes=-0", 416, 0, 0, "bytes */65536"},
        {"bytes=9-3", 200, 0, 65536, ""},
        {"bytes=0-1,5-6", 200, 0, 65536, ""},
    };
    const std::string url = dataUrl();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.range);
        CCurlRequest request(url);
        if (*row.range) request.header("Range", row.range);
        auto r = request.perform();
        ASSERT_EQ(r.code, CURLE_OK);
        EXPECT_EQ(r.status, row.status);
        EXPECT_EQ(r.header("Content-Range"), row.contentRange);
        if (row.status != 416) {
            EXPECT_EQ(r.body, m_data.substr(row.first, row.length));
            EXPECT_EQ(r.header("Accept-Ranges"), "bytes");
        }
    }
    auto head = CCurlRequest(url).method("HEAD").perform();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.header("Content-Length"), "65536");
    EXPECT_TRUE(head.body.empty());
}

TEST_F(CServiceDataPlaneTest, HandWrittenRequestsLikeTheChannelsAreServed) {
    auto target = m_service.control().registerUpload(m_bucket.bucketId, "up.bin", 10000);
    std::string head = "PUT " + targetOf(target.url) + " HTTP/1.1\r\nuser-agent: vx-test\r\n" +
                       "Host: 127.0.0.1\r\n";
    for (const auto& h : target.headers) head += h.first + ": " + h.second + "\r\n";
    head += "Content-Length: 10000\r\n\r\n";
    CRawConnection put(m_service.port());
    put.send(head);
    put.send(m_data.substr(0, 4000));
    put.send(m_data.substr(4000, 6000));
    EXPECT_EQ(put.readHead().substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_EQ(m_service.control().file(m_bucket.bucketId, target.fileId).storedSize, 10000u);

    // A channel whose range ends before the file does reads its bytes and drops the connection.
    const std::string get = "GET " + targetOf(dataUrl()) + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    CRawConnection partial(m_service.port());
    partial.send(get);
    EXPECT_NE(partial.readHead().find("Content-Length: 65536"), std::string::npos);
    EXPECT_EQ(partial.read(1000), m_data.substr(0, 1000));
    partial.close();

    // Pipelined requests are answered in order on one connection.
    CRawConnection pipelined(m_service.port());
    const std::string ranged =
        "GET " + targetOf(dataUrl()) + " HTTP/1.1\r\nHost: 127.0.0.1\r\nRange: bytes=10-14\r\n\r\n";
    pipelined.send(ranged + ranged);
    for (int i = 0; i < 2; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(pipelined.readHead().substr(0, 12), "HTTP/1.1 206");
        EXPECT_EQ(pipelined.read(5), m_data.substr(10, 5));
    }
    auto record = m_service.control().waitForRequest(
        [](const CServiceControlClient::RequestRecord& r) {
            return r.route == routes::kDataGet && r.finished && r.header("Range").empty();
        },
        seconds(5), "the dropped GET");
    EXPECT_EQ(record.status, 200);
    EXPECT_EQ(record.header("Host"), "127.0.0.1");
}

TEST_F(CServiceDataPlaneTest, PutIsStrictAboutLengthAndCodings) {
    auto target = m_service.control().registerUpload(m_bucket.bucketId, "s.bin", 5);
    std::string head = "PUT " + targetOf(target.url) + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    for (const auto& h : target.headers) head += h.first + ": " + h.second + "\r\n";
    struct Row {
        const char* what;
        std::string tail;
        const char* status;
    };
    const Row rows[] = {
        {"no length", "\r\n", "HTTP/1.1 411"},
        {"chunked", "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n", "HTTP/1.1 411"},
        {"wrong length", "Content-Length: 6\r\n\r\nhello!", "HTTP/1.1 400"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CRawConnection c(m_service.port());
        c.send(head + row.tail);
        EXPECT_EQ(c.readHead().substr(0, 12), row.status);
    }
    // A client that waits for "100 Continue" gets it before sending the body.
    CRawConnection c(m_service.port());
    c.send(head + "Expect: 100-continue\r\nContent-Length: 5\r\n\r\n");
    EXPECT_EQ(c.readHead(), "HTTP/1.1 100 Continue\r\n\r\n");
    c.send("hello");
    EXPECT_EQ(c.readHead().substr(0, 12), "HTTP/1.1 200");
    EXPECT_EQ(m_service.control().file(m_bucket.bucketId, target.fileId).storedSize, 5u);
    // Malformed heads get their status and a closed connection.
    CRawConnection bad(m_service.port());
    bad.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(bad.readHead().substr(0, 12), "HTTP/1.1 400");
    EXPECT_NE(bad.readToEnd().find("\"status\":400"), std::string::npos)
        << "the error body, then the close";
}

TEST_F(CServiceDataPlaneTest, ScriptedFaultsShapeTheNextMatchingRequests) {
    auto& control = m_service.control();
    const std::string url = dataUrl();
    CJsonHttpClient http(m_service.rootUrl());
    const std::string login = R"({"userId":"tester","password":"secret"})";

    Fault unavailable;
    unavailable.route = routes::kLogin;
    unavailable.count = 2;
    unavailable.status = 503;
    control.injectFault(unavailable);
    EXPECT_EQ(http.send("POST", "/login", login).status, 503);
    EXPECT_EQ(http.send("POST", "/login", login).status, 503);
    EXPECT_EQ(http.send("POST", "/login", login).status, 200);

    struct Row {
        const char* what;
        Action action;
        std::uint64_t afterBytes;
        CURLcode code;
        long status;
        std::size_t bodySize;
    };
    const Row rows[] = {
        {"close before headers", Action::CloseBeforeHeaders, 0, CURLE_GOT_NOTHING, 0, 0},
        {"close after headers", Action::CloseAfterHeaders, 0, CURLE_PARTIAL_FILE, 200, 0},
        {"truncated body", Action::TruncateBody, 1000, CURLE_PARTIAL_FILE, 200, 1000},
        {"expired URL", Action::ExpiredUrl, 0, CURLE_OK, 403, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Fault fault;
        fault.route = routes::kDataGet;
        fault.action = row.action;
        fault.afterBytes = row.afterBytes;
        control.injectFault(fault);
        auto r = CCurlRequest(url).perform();
        EXPECT_EQ(r.code, row.code);
        EXPECT_EQ(r.status, row.status);
        if (row.status == 200) {
            EXPECT_EQ(r.body.size(), row.bodySize);
        }
        EXPECT_EQ(CCurlRequest(url).perform().body, m_data) << "the fault was used up";
    }

    Fault ignoreRange;
    ignoreRange.route = routes::kData;
    ignoreRange.action = Action::IgnoreRange;
    control.injectFault(ignoreRange);
    auto whole = CCurlRequest(url).range("0-9").perform();
    EXPECT_EQ(whole.status, 200);
    EXPECT_EQ(whole.body.size(), m_data.size());

    Fault loop;
    loop.route = routes::kDataGet;
    loop.action = Action::RedirectLoop;
    loop.count = -1;
    control.injectFault(loop);
    auto looped = CCurlRequest(url).follow(3).perform();
    EXPECT_EQ(looped.code, CURLE_TOO_MANY_REDIRECTS);
    control.clearFaults();
    EXPECT_EQ(CCurlRequest(url).perform().status, 200);

    // Filters: a PUT-only fault leaves GETs alone; a delayed answer comes late.
    Fault putOnly;
    putOnly.method = "PUT";
    putOnly.status = 500;
    control.injectFault(putOnly);
    EXPECT_EQ(CCurlRequest(url).perform().status, 200);
    auto target = control.registerUpload(m_bucket.bucketId, "t.bin", 3);
    EXPECT_EQ(CCurlRequest(target.url).headers(target.headers).upload("abc").perform().status, 500);
    Fault truncatePut;
    truncatePut.route = routes::kDataPut;
    truncatePut.action = Action::TruncateBody;
    truncatePut.afterBytes = 1;
    control.injectFault(truncatePut);
    auto cut = CCurlRequest(target.url).headers(target.headers).upload("abc").perform();
    EXPECT_NE(cut.code, CURLE_OK);
    EXPECT_FALSE(control.file(m_bucket.bucketId, target.fileId).stored);

    Fault slow;
    slow.route = routes::kLogin;
    slow.delayMs = 300;
    control.injectFault(slow);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(http.send("POST", "/login", login).status, 200);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(300));
    auto logged = control.waitForRequest(
        [](const CServiceControlClient::RequestRecord& r) {
            return r.route == routes::kLogin && r.faulted && r.status == 200;
        },
        seconds(5), "the delayed login");
    EXPECT_GE(logged.endMicros - logged.startMicros, 300000u);
}

TEST_F(CServiceDataPlaneTest, ManyConcurrentDataConnectionsAreServedAtOnce) {
    constexpr int kClients = 64;
    const std::string url = dataUrl();
    // Each answer is held back long enough for every client to be inside the service at once.
    Fault hold;
    hold.route = routes::kDataGet;
    hold.count = kClients;
    hold.delayMs = 1500;
    m_service.control().injectFault(hold);
    m_service.control().resetStats();
    std::atomic<int> good{0};
    std::vector<std::thread> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.emplace_back([&] {
            auto r = CCurlRequest(url).range("100-199").perform();
            if (r.code == CURLE_OK && r.status == 206 && r.body == m_data.substr(100, 100)) ++good;
        });
    }
    for (auto& t : clients) t.join();
    EXPECT_EQ(good.load(), kClients);
    auto stats = m_service.control().stats();
    EXPECT_EQ(stats.maxConcurrentDataConnections, static_cast<unsigned>(kClients));
    EXPECT_EQ(stats.currentDataConnections, 0u);
}

TEST_F(CServiceDataPlaneTest, KeptAliveRequestsShareTheirConnectionIdInTheLog) {
    const std::string url = dataUrl();
    CURL* handle = curl_easy_init();
    auto first = CCurlRequest(url).range("0-0").perform(handle);
    auto second = CCurlRequest(url).range("1-1").perform(handle);
    curl_easy_cleanup(handle);
    auto third = CCurlRequest(url).range("2-2").perform();
    ASSERT_EQ(third.status, 206);
    auto gets = m_service.control().requests(routes::kDataGet);
    ASSERT_EQ(gets.size(), 3u);
    EXPECT_EQ(gets[0].connectionId, gets[1].connectionId);
    EXPECT_NE(gets[1].connectionId, gets[2].connectionId);
    EXPECT_EQ(gets[1].header("Range"), "bytes=1-1");
    EXPECT_EQ(gets[2].responseBodyBytes, 1u);
    EXPECT_LE(gets[0].endMicros, gets[1].startMicros);
}

TEST_F(CServiceDataPlaneTest, ThrottleLimitsBodyBytesPerSecondBothWays) {
    m_service.control().throttleData(256 * 1024);
    auto start = std::chrono::steady_clock::now();
    auto r = CCurlRequest(dataUrl()).perform();  // 64 KiB at 256 KiB/s
    EXPECT_EQ(r.body, m_data);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(200));
    auto target = m_service.control().registerUpload(m_bucket.bucketId, "slow.bin", m_data.size());
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(CCurlRequest(target.url).headers(target.headers).upload(m_data).perform().status,
              200);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(200));
    m_service.control().throttleData(0);
}

TEST_F(CServiceDataPlaneTest, WaitingForARequestThatNeverComesTimesOut) {
    auto start = std::chrono::steady_clock::now();
    try {
        m_service.control().waitForRoute(routes::kMultipartAbort, milliseconds(300));
        FAIL() << "no abort was sent";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("multipart.abort"), std::string::npos);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(5));
}

TEST_F(CServiceDataPlaneTest, ResetForgetsBucketsFilesFaultsAndTheLog) {
    const std::string url = dataUrl();
    Fault fault;
    fault.status = 500;
    fault.count = -1;
    m_service.control().injectFault(fault);
    m_service.control().reset();
    EXPECT_TRUE(m_service.control().requests(std::uint64_t{0}).empty());
    EXPECT_EQ(CCurlRequest(url).perform().status, 404);
    EXPECT_THROW(m_service.control().bucket(m_bucket.bucketId), std::runtime_error);
    EXPECT_FALSE(m_service.login().empty()) << "the fault went with the reset";
}

}  // namespace
}  // namespace vxt_test
