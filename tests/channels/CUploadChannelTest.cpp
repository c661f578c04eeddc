#include <Poco/Net/HTTPRequest.h>
#include <Poco/URI.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "CChannelsTestEnvironment.h"
#include "CUploadDirection.h"
#include "channels/CUploadChannel.h"
#include "channels/http_request_head.h"
#include "memory/CTRansferBufferManagerDynamic.h"
#include "support/CFakeTransferFile.h"
#include "support/CScriptedHttpServer.h"
#include "support/md5Hex.h"

namespace vx_transfers {
namespace {

using std::chrono::milliseconds;
using vxt_test::CFakeTransferFile;
using vxt_test::CServiceControlClient;
using State = ITransferChannel::State;

const milliseconds kWait(20000);

// Opens up the request generation, for checking the head byte by byte.
class CInspectableUploadChannel : public CUploadChannel {
public:
    using CUploadChannel::CUploadChannel;

    std::string head(unsigned long long startOffset) {
        Poco::Net::HTTPRequest request;
        httpRequestGenerate(Poco::URI(m_url), startOffset, request);
        return http_request_head::generate(request);
    }
};

class CUploadChannelTest : public ::testing::Test {
protected:
    CUploadChannelTest()
        : m_uid(CChannelsTestEnvironment::uniqueName("upload")),
          m_file(m_uid),
          m_manager(new CTRansferBufferManagerDynamic) {
        m_manager->allocateMemoryPool();
    }

    void SetUp() override { service().control().reset(); }

    static vxt_test::CLocalService& service() { return CChannelsTestEnvironment::service(); }

    // A channel for a target registered with the service for [offset, offset + size).
    // Recorded by `file`, or by m_file when none is given.
    std::unique_ptr<CUploadChannel> serviceChannel(vxt_test::CLocalService& server,
                                                   unsigned long long offset,
                                                   unsigned long long size,
                                                   CFakeTransferFile* file = nullptr) {
        CFakeTransferFile& parent = file != nullptr ? *file : m_file;
        m_bucket = server.control().createBucket();
        m_target = server.control().registerUpload(m_bucket.bucketId, parent.uid() + ".bin", size);
        auto channel = std::make_unique<CUploadChannel>(
            m_target.url, CChannelsTestEnvironment::sourcePathWide(), offset, size,
            m_target.headers, &parent, 0, m_manager, true);
        channel->setMaxRetries(3);
        parent.attach(*channel);
        return channel;
    }

    bool waitForEnd() {
        return m_file.waitFor(
            [](const CFakeTransferFile::Events& events) {
                for (const auto& event : events) {
                    if (event.isState && event.state.state != ITransferChannel::StateStarted &&
                        event.state.state != ITransferChannel::StatePaused) {
                        return true;
                    }
                }
                return false;
            },
            kWait);
    }

    std::string storedMd5(vxt_test::CLocalService& server) {
        return server.control().file(m_bucket.bucketId, m_target.fileId).md5;
    }

    std::string m_uid;
    CFakeTransferFile m_file;
    Poco::SharedPtr<ITransferBufferManager> m_manager;
    CServiceControlClient::BucketInfo m_bucket;
    CServiceControlClient::UploadTarget m_target;
};

TEST_F(CUploadChannelTest, RangeReachesTheServiceWithItsHeaders) {
    const unsigned long long offset = 777, size = 2 * 1024 * 1024 + 5;
    auto channel = serviceChannel(service(), offset, size);
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(waitForEnd());
    channel->stop();

    EXPECT_EQ(ITransferChannel::StateCompleted, m_file.states().back());
    EXPECT_EQ(vxt_test::md5Hex(CChannelsTestEnvironment::sourceRange(offset, size)),
              storedMd5(service()));
    const auto puts = service().control().requests(vxt_test::routes::kDataPut);
    ASSERT_EQ(1u, puts.size());
    EXPECT_EQ("PUT", puts[0].method);
    EXPECT_EQ(size, puts[0].bodyBytes);
    EXPECT_EQ(std::to_string(size), puts[0].header("Content-Length"));
    EXPECT_EQ(CChannelsTestEnvironment::kUserAgent, puts[0].header("User-Agent"));
    EXPECT_EQ("", puts[0].header("Content-Range"));
    ASSERT_FALSE(m_target.headers.empty());
    for (const auto& header : m_target.headers) {
        EXPECT_EQ(header.second, puts[0].header(header.first)) << header.first;
    }
}

TEST_F(CUploadChannelTest, HttpsUploadGoesThroughTheTlsListener) {
    vxt_test::CLocalService& tls = CChannelsTestEnvironment::tlsService();
    tls.control().reset();
    const unsigned long long size = 300000;
    auto channel = serviceChannel(tls, 0, size);
    ASSERT_EQ(0u, m_target.url.rfind("https://", 0));
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(waitForEnd());
    channel->stop();
    EXPECT_EQ(ITransferChannel::StateCompleted, m_file.states().back());
    EXPECT_EQ(vxt_test::md5Hex(CChannelsTestEnvironment::sourceRange(0, size)), storedMd5(tls));
}

TEST_F(CUploadChannelTest, FailingStatusIsRetriedFromTheRangeStartUpToTheLimit) {
    for (int status : {400, 403, 500, 503}) {
        SCOPED_TRACE(status);
        service().control().reset();
        CFakeTransferFile file(CChannelsTestEnvironment::uniqueName("status"));
        CServiceControlClient::Fault fault;
        fault.route = vxt_test::routes::kDataPut;
        fault.count = -1;
        fault.status = status;
        service().control().injectFault(fault);
        const unsigned long long size = 200000;
        auto channel = serviceChannel(service(), 10, size, &file);
        ASSERT_EQ(DT_SUCCESS, channel->start());
        ASSERT_TRUE(file.waitForState(ITransferChannel::StateFailed, kWait));
        channel->stop();

        const auto events = file.events();
        EXPECT_EQ(transfer_defs::FILE_ERROR_CONNECTION, events.back().state.error);
        // Each attempt sent the whole range and had all of it taken back.
        const auto puts = service().control().requests(vxt_test::routes::kDataPut);
        ASSERT_EQ(3u, puts.size());
        for (const auto& put : puts) EXPECT_EQ(size, put.bodyBytes);
        long long taken = 0;
        for (long long delta : file.progress()) taken += delta < 0 ? -delta : 0;
        EXPECT_EQ(static_cast<long long>(3 * size), taken);
        EXPECT_EQ(0, file.progressSum());
        EXPECT_EQ(ITransferChannel::StateFailed, CUploadDirection::storedState(file.uid(), 10));
    }
}

TEST_F(CUploadChannelTest, StatusBelow400CountsAsSuccess) {
    CServiceControlClient::Fault fault;
    fault.route = vxt_test::routes::kDataPut;
    fault.status = 308;
    service().control().injectFault(fault);
    auto channel = serviceChannel(service(), 0, 1000);
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(waitForEnd());
    channel->stop();
    EXPECT_EQ(ITransferChannel::StateCompleted, m_file.states().back());
    EXPECT_EQ(1u, service().control().requests(vxt_test::routes::kDataPut).size());
}

TEST_F(CUploadChannelTest, FailedAttemptsAreRetriedUntilTheRangeGetsThrough) {
    struct Case {
        const char* what;
        CServiceControlClient::FaultAction action;
        int status;
    };
    const Case cases[] = {
        {"status 500 at the end", CServiceControlClient::FaultAction::None, 500},
        {"closed in the middle of the body", CServiceControlClient::FaultAction::TruncateBody, 0},
        {"closed before any answer", CServiceControlClient::FaultAction::CloseBeforeHeaders, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        service().control().reset();
        CFakeTransferFile file(CChannelsTestEnvironment::uniqueName("retry"));
        CServiceControlClient::Fault fault;
        fault.route = vxt_test::routes::kDataPut;
        fault.action = c.action;
        fault.status = c.status;
        fault.afterBytes = 100000;
        service().control().injectFault(fault);
        const unsigned long long size = 3 * 1024 * 1024;
        auto channel = serviceChannel(service(), 0, size, &file);
        ASSERT_EQ(DT_SUCCESS, channel->start());
        ASSERT_TRUE(file.waitForState(ITransferChannel::StateCompleted, kWait))
            << file.states().back();
        channel->stop();
        EXPECT_EQ(vxt_test::md5Hex(CChannelsTestEnvironment::sourceRange(0, size)),
                  storedMd5(service()));
        EXPECT_EQ(2u, service().control().requests(vxt_test::routes::kDataPut).size());
        EXPECT_EQ(static_cast<long long>(size), file.progressSum());
    }
}

TEST_F(CUploadChannelTest, SilentServerFailsEachAttemptAfterTheWait) {
    vxt_test::CScriptedHttpServer silent("");
    auto channel = std::make_unique<CUploadChannel>(
        silent.url("x"), CChannelsTestEnvironment::sourcePathWide(), 0, 5000,
        CUploadChannel::HeaderList(), &m_file, 0, m_manager, false);
    channel->setMaxRetries(2);
    channel->setSocketWaitTimeoutMs(200);
    m_file.attach(*channel);
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(waitForEnd());
    channel->stop();
    EXPECT_EQ(ITransferChannel::StateFailed, m_file.states().back());
    EXPECT_EQ(transfer_defs::FILE_ERROR_CONNECTION, m_file.events().back().state.error);
    EXPECT_EQ(2, silent.requests());
}

TEST_F(CUploadChannelTest, MissingLocalFileFailsAtOnceWithoutStoringTheFailure) {
    auto channel = std::make_unique<CUploadChannel>(
        service().rootUrl() + "/nowhere", L"/nonexistent-dir/none.bin", 0, 5000,
        CUploadChannel::HeaderList{{"x-a", "b"}}, &m_file, 0, m_manager, true);
    channel->setMaxRetries(5);
    m_file.attach(*channel);
    ASSERT_EQ(DT_SUCCESS, channel->start());
    ASSERT_TRUE(waitForEnd());
    channel->stop();
    EXPECT_EQ(transfer_defs::FILE_ERROR_LOCAL_FILE, m_file.events().back().state.error);
    EXPECT_EQ(ITransferChannel::StateStarted, CUploadDirection::storedState(m_uid, 0));
}

TEST_F(CUploadChannelTest, StartWithoutUrlOrPathIsRefused) {
    const std::vector<std::pair<std::string, std::wstring>> cases{{"", L"/tmp/x"},
                                                                  {"http://127.0.0.1:1/x", L""}};
    for (const auto& c : cases) {
        CUploadChannel channel(c.first, c.second, 0, 10, CUploadChannel::HeaderList(), &m_file, 0,
                               m_manager, false);
        EXPECT_EQ(DT_INVALID_ARGUMENT, channel.start());
        EXPECT_FALSE(channel.isStarted());
    }
    EXPECT_TRUE(m_file.events().empty());
}

TEST_F(CUploadChannelTest, ConstructionStoresTheRowOnlyWhenAsked) {
    const CUploadChannel::HeaderList headers{{"x-one", "1"}, {"x-two", "2"}};
    CUploadChannel stored("http://127.0.0.1:1/a", L"/tmp/a", 100, 50, headers, &m_file, 0,
                          m_manager, true);
    CUploadChannel restored("http://127.0.0.1:1/b", L"/tmp/b", 200, 50, headers, &m_file, 0,
                            m_manager, false);
    std::vector<CChannelsDbInfo::ChannelInfo> rows;
    CDatabase::getInstance()->getChannelsInfo()->extractAll(rows);
    int found = 0;
    for (const auto& row : rows) {
        if (row.fileUid != m_uid) continue;
        ++found;
        EXPECT_EQ(100u, row.offset);
        EXPECT_EQ(50u, row.bytesToUpload);
        EXPECT_EQ("http://127.0.0.1:1/a", row.url);
        EXPECT_EQ(0u, row.state);
        EXPECT_EQ(headers, row.httpHeaders);
    }
    EXPECT_EQ(1, found);
}

TEST_F(CUploadChannelTest, RequestHeadIsExactlyTheHandWrittenPut) {
    const CUploadChannel::HeaderList headers{{"Content-Type", "application/octet-stream"},
                                             {"x-vx-upload-key", "k 1"}};
    CInspectableUploadChannel channel("http://127.0.0.1:8080/data/a%20b?sig=1&e=2#f", L"/tmp/a",
                                      1000, 500, headers, &m_file, 0, m_manager, false);
    const std::string common =
        "Host: 127.0.0.1\r\n"
        "Connection: Keep-Alive\r\n"
        "user-agent: " +
        std::string(CChannelsTestEnvironment::kUserAgent) +
        "\r\n"
        "Content-Type: application/octet-stream\r\n"
        "x-vx-upload-key: k 1\r\n"
        "Content-Length: 500\r\n";
    EXPECT_EQ("PUT /data/a%20b?sig=1&e=2#f HTTP/1.1\r\n" + common + "\r\n", channel.head(0));
    // Only a resumed range would carry it: relative start, absolute end, no unit.
    EXPECT_EQ(
        "PUT /data/a%20b?sig=1&e=2#f HTTP/1.1\r\n" + common + "Content-Range: 20-1499\r\n\r\n",
        channel.head(20));
}

}  // namespace
}  // namespace vx_transfers
