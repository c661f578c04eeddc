#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiMultiPartUploadAbort.h"
#include "rest/CRestApiMultiPartUploadBase.h"
#include "rest/CRestApiMultiPartUploadComplete.h"
#include "rest/CRestApiMultiPartUploadInitialize.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

// Complete and abort after a real initialize: the two closing calls of a multipart upload.
class CRestApiMultiPartUploadBaseTest : public vxt_test::CRestTestFixture {
protected:
    void SetUp() override {
        CRestTestFixture::SetUp();
        m_bucket = service().control().createBucket();
        m_target = service().control().registerUpload(m_bucket.bucketId, "big.bin", 10);
        CRestApiMultiPartUploadInitialize::RequestDetails details;
        fill(details);
        details.size = 10;
        CRestApiMultiPartUploadInitialize::RequestDetails::Part part;
        part.number = 1;
        part.size = 10;
        details.parts.push_back(part);
        CRestApiMultiPartUploadInitialize call;
        ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
        CRestApiMultiPartUploadInitialize::Response response;
        ASSERT_EQ(DT_SUCCESS, call.receiveResponse(response));
        m_uploadId = response.uploadId;
    }

    void fill(CRestApiMultiPartUploadBase::RequestDetails& details) {
        details.fileId = m_target.fileId;
        details.bucketId = m_bucket.bucketId;
        details.token = m_bucket.token;
        details.uploadId = m_uploadId;
    }

    Json::Value expectedBody() {
        Json::Value body;
        body["uploadId"] = m_uploadId;
        body["token"] = m_bucket.token;
        body["fileId"] = m_target.fileId;
        body["bucketId"] = m_bucket.bucketId;
        return body;
    }

    std::string path(const std::string& action) {
        return "/api/v2/bucket/" + m_bucket.bucketId + "/file/" + m_target.fileId +
               "/upload/multipart/" + action;
    }

    CServiceControlClient::BucketInfo m_bucket;
    CServiceControlClient::UploadTarget m_target;
    std::string m_uploadId;
};

TEST_F(CRestApiMultiPartUploadBaseTest, AbortCarriesTheUploadIdAndTheFileIdentifiers) {
    ASSERT_FALSE(m_uploadId.empty());
    CRestApiMultiPartUploadAbort call;
    CRestApiMultiPartUploadBase::RequestDetails details;
    fill(details);
    ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
    EXPECT_EQ(DT_SUCCESS, call.receiveResponse());

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kMultipartAbort);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ(path("abort"), request.target);
    EXPECT_EQ(Json::FastWriter().write(expectedBody()), request.body);
}

TEST_F(CRestApiMultiPartUploadBaseTest, CompleteCarriesTheNumberOfParts) {
    // The part's bytes are not there, so the service may refuse; the request is what counts.
    CRestApiMultiPartUploadComplete call;
    CRestApiMultiPartUploadComplete::RequestDetails details;
    fill(details);
    details.numberOfParts = 1;
    ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
    call.receiveResponse();

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kMultipartComplete);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ(path("complete"), request.target);
    Json::Value expected = expectedBody();
    expected["numberOfParts"] = 1;
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
}

TEST_F(CRestApiMultiPartUploadBaseTest, ClosingCallsAcceptOnlyAnAnswerAboutTheFile) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    const struct {
        const char* body;
        dt_error expected;
    } rows[] = {
        {R"({"file":{"id":"F1"}})", DT_SUCCESS},
        {R"({"file":{"bucketId":"B1"}})", DT_SUCCESS},
        {R"({"file":{"id":"F2","bucketId":"B2"}})", DT_FAILURE},
        {R"({"uploadId":"U1"})", DT_FAILURE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        canned.answer(200, row.body);
        CRestApiMultiPartUploadBase::RequestDetails details;
        details.fileId = "F1";
        details.bucketId = "B1";
        details.uploadId = "U1";
        CRestApiMultiPartUploadAbort abort;
        ASSERT_EQ(DT_SUCCESS, abort.sendRequest(details));
        EXPECT_EQ(row.expected, abort.receiveResponse());
        CRestApiMultiPartUploadComplete complete;
        CRestApiMultiPartUploadComplete::RequestDetails completeDetails;
        static_cast<CRestApiMultiPartUploadBase::RequestDetails&>(completeDetails) = details;
        ASSERT_EQ(DT_SUCCESS, complete.sendRequest(completeDetails));
        EXPECT_EQ(row.expected, complete.receiveResponse());
    }
}

}  // namespace
}  // namespace vx_transfers
