#include <Poco/Mutex.h>

#include <algorithm>

#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CFileProgressSender.h"
#include "rest/CFileProgressSenderHelper.h"
#include "support/CFreePort.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

const long kWaitMs = 20000;

// A clock that only moves when the test moves it.
class CManualClock {
public:
    CFileProgressSender::Clock clock() {
        return [this] {
            Poco::FastMutex::ScopedLock lock(m_mutex);
            return m_now;
        };
    }
    void advanceMs(long ms) {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        m_now += static_cast<Poco::Timestamp::TimeDiff>(ms) * 1000;
    }

private:
    Poco::FastMutex m_mutex;
    Poco::Timestamp m_now;
};

class CFileProgressSenderTest : public vxt_test::CRestTestFixture {
protected:
    void SetUp() override {
        CRestTestFixture::SetUp();
        m_bucket = service().control().createBucket();
        m_first = service().control().registerUpload(m_bucket.bucketId, "a.bin", 1000).fileId;
        m_second = service().control().registerUpload(m_bucket.bucketId, "b.bin", 1000).fileId;
        m_sender.reset(new CFileProgressSender(1));
        m_sender->setClock(m_clock.clock());
    }

    void TearDown() override {
        EXPECT_TRUE(m_sender->waitForReportsSent(kWaitMs));
        m_sender.reset();
        CRestTestFixture::TearDown();
    }

    void report(const std::string& fileId, unsigned long long progress) {
        m_sender->reportProgress(fileId, m_bucket.bucketId, m_bucket.token, progress);
    }

    // The progress values the service received for a file, once every report has finished.
    // Reports run in parallel on pool threads and may arrive in any order; sorted, they are in
    // the order they were made, since progress only grows.
    std::vector<std::uint64_t> received(const std::string& fileId) {
        EXPECT_TRUE(m_sender->waitForReportsSent(kWaitMs));
        std::vector<std::uint64_t> values =
            service().control().file(m_bucket.bucketId, fileId).progressHistory;
        std::sort(values.begin(), values.end());
        return values;
    }

    CManualClock m_clock;
    std::unique_ptr<CFileProgressSender> m_sender;
    CServiceControlClient::BucketInfo m_bucket;
    std::string m_first;
    std::string m_second;
};

typedef std::vector<std::uint64_t> Progress;

TEST_F(CFileProgressSenderTest, FirstReportGoesOutOnlyAfterOneInterval) {
    report(m_first, 10);
    EXPECT_EQ(Progress(), received(m_first));
    m_clock.advanceMs(999);
    report(m_first, 20);
    EXPECT_EQ(Progress(), received(m_first));
    m_clock.advanceMs(1);  // exactly one interval: only a shorter time holds a report back
    report(m_first, 30);
    EXPECT_EQ(Progress({30}), received(m_first));
}

TEST_F(CFileProgressSenderTest, EachFileIsReportedOncePerIntervalOnItsOwnClock) {
    report(m_first, 1);
    m_clock.advanceMs(500);
    report(m_second, 100);
    for (int step = 1; step <= 8; ++step) {
        m_clock.advanceMs(250);
        report(m_first, 1 + step);
        report(m_second, 100 + step);
    }
    // The first file started at 0 and is due at 1.0 s and 2.0 s; the second at 1.5 s and 2.5 s.
    EXPECT_EQ(Progress({3, 7}), received(m_first));
    EXPECT_EQ(Progress({104, 108}), received(m_second));

    const std::vector<CServiceControlClient::RequestRecord> posts = requests(routes::kFileStatus);
    ASSERT_EQ(4u, posts.size());
    for (const CServiceControlClient::RequestRecord& post : posts) {
        EXPECT_EQ("UPLOADING", post.json["status"].asString());
        EXPECT_EQ(m_bucket.token, post.json["token"].asString());
        EXPECT_EQ(m_bucket.bucketId, post.json["bucketId"].asString());
    }
}

TEST_F(CFileProgressSenderTest, FileSeenOnceIsNeverReported) {
    report(m_first, 1000);
    m_clock.advanceMs(60 * 60 * 1000);
    report(m_second, 5);
    EXPECT_TRUE(requests(routes::kFileStatus).empty());
}

TEST_F(CFileProgressSenderTest, ZeroIntervalMeansFiveMinutes) {
    m_sender->setSendInterval(0);
    report(m_first, 1);
    m_clock.advanceMs(299999);
    report(m_first, 2);
    EXPECT_EQ(Progress(), received(m_first));
    m_clock.advanceMs(1);
    report(m_first, 3);
    EXPECT_EQ(Progress({3}), received(m_first));
}

TEST_F(CFileProgressSenderTest, GroupsReportingOneFileIdShareItsClock) {
    CFileProgressSenderHelper firstGroup(m_sender.get());
    CFileProgressSenderHelper secondGroup(m_sender.get());
    firstGroup.registerGroup(m_bucket.bucketId, m_bucket.token);
    secondGroup.registerGroup(m_bucket.bucketId, m_bucket.token);
    firstGroup.reportProgress(m_first, 1);
    m_clock.advanceMs(1000);
    secondGroup.reportProgress(m_first, 2);
    firstGroup.reportProgress(m_first, 3);
    EXPECT_EQ(Progress({2}), received(m_first));

    CFileProgressSenderHelper withoutSender(nullptr);
    withoutSender.registerGroup(m_bucket.bucketId, m_bucket.token);
    withoutSender.reportProgress(m_second, 1);  // must do nothing, and not crash
}

TEST_F(CFileProgressSenderTest, FailedReportsCostOnlyALogLine) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    canned.answer(500, "{}");
    report(m_first, 1);
    m_clock.advanceMs(1000);
    report(m_first, 2);
    ASSERT_TRUE(m_sender->waitForReportsSent(kWaitMs));
    EXPECT_NE(std::string::npos,
              logSinceMark().find("Error sending progress to server (invalid or no response): "
                                  "file id = " +
                                  m_first));

    setEndPoint("http://127.0.0.1:" + std::to_string(vxt_test::CFreePort::pick()));
    m_clock.advanceMs(1000);
    report(m_first, 3);
    ASSERT_TRUE(m_sender->waitForReportsSent(kWaitMs));
    EXPECT_NE(std::string::npos,
              logSinceMark().find("Error sending progress to server: file id = " + m_first));

    // The clock moved on with each attempt: the next report waits a whole interval again.
    setEndPoint(service().baseUrl());
    report(m_first, 4);
    EXPECT_EQ(Progress(), received(m_first));
    m_clock.advanceMs(1000);
    report(m_first, 5);
    EXPECT_EQ(Progress({5}), received(m_first));
}

}  // namespace
}  // namespace vx_transfers
