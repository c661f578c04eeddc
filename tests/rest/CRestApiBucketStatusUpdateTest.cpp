#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiBucketStatusUpdate.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;
typedef CRestApiBucketStatusUpdate::RequestDetails Details;

class CRestApiBucketStatusUpdateTest : public vxt_test::CRestTestFixture {};

TEST_F(CRestApiBucketStatusUpdateTest, CompletionIsPostedToTheBucketStatusPath) {
    const CServiceControlClient::BucketInfo bucket = service().control().createBucket();
    CRestApiBucketStatusUpdate call;
    Details details;
    details.bucketId = bucket.bucketId;
    details.token = bucket.token;
    details.status = Details::COMPLETED;
    ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
    EXPECT_EQ(DT_SUCCESS, call.receiveResponse());

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kBucketStatusUpdate);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/api/v2/bucket/" + bucket.bucketId + "/status", request.target);
    Json::Value expected;
    expected["token"] = bucket.token;
    expected["bucketId"] = bucket.bucketId;
    expected["status"] = "COMPLETED";
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
    EXPECT_EQ("COMPLETED", service().control().bucket(bucket.bucketId).status);
}

TEST_F(CRestApiBucketStatusUpdateTest, StatusWordsFollowTheTableAndOutsideValuesSendNothing) {
    const char* const words[] = {"INITIALIZED", "UPLOADING", "SYNCING", "COMPLETED", "EXPIRED"};
    for (unsigned int value = 0; value < 5; ++value) {
        std::string word;
        EXPECT_EQ(DT_SUCCESS, CRestApiBucketStatusUpdate::statusToString(
                                  static_cast<Details::BucketStatus>(value), word));
        EXPECT_EQ(words[value], word);
    }
    std::string word = "unchanged";
    EXPECT_EQ(DT_INVALID_ARGUMENT, CRestApiBucketStatusUpdate::statusToString(
                                       static_cast<Details::BucketStatus>(5), word));
    EXPECT_EQ("unchanged", word);

    CRestApiBucketStatusUpdate call;
    Details details;
    details.bucketId = "B";
    details.status = static_cast<Details::BucketStatus>(5);
    EXPECT_EQ(DT_INVALID_ARGUMENT, call.sendRequest(details));
    EXPECT_TRUE(allRequests().empty());
}

TEST_F(CRestApiBucketStatusUpdateTest, AnswerMustNameTheSameBucket) {
    const struct {
        const char* body;
        dt_error expected;
    } rows[] = {
        {R"({"bucket":{"id":"B1","status":"COMPLETED"}})", DT_SUCCESS},
        {R"({"bucket":{"id":"B2"}})", DT_FAILURE},
        {R"({"bucket":{}})", DT_FAILURE},
        {R"({"id":"B1"})", DT_FAILURE},
        {R"({"bucket":["B1"]})", DT_FAILURE},
    };
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        canned.answer(200, row.body);
        CRestApiBucketStatusUpdate call;
        Details details;
        details.bucketId = "B1";
        details.status = Details::COMPLETED;
        ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
        EXPECT_EQ(row.expected, call.receiveResponse());
    }
}

}  // namespace
}  // namespace vx_transfers
