#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiFileStatusUpdate.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;
typedef CRestApiFileStatusUpdate::RequestDetails Details;

class CRestApiFileStatusUpdateTest : public vxt_test::CRestTestFixture {};

TEST_F(CRestApiFileStatusUpdateTest, ProgressIsPostedToTheFileStatusPath) {
    const CServiceControlClient::BucketInfo bucket = service().control().createBucket();
    const CServiceControlClient::UploadTarget target =
        service().control().registerUpload(bucket.bucketId, "a.bin", 10000000000ULL);
    CRestApiFileStatusUpdate call;
    Details details;
    details.fileId = target.fileId;
    details.bucketId = bucket.bucketId;
    details.token = bucket.token;
    details.progress = 5000000000ULL;  // beyond 32 bits
    details.status = Details::UPLOADING;
    ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
    EXPECT_EQ(DT_SUCCESS, call.receiveResponse());

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kFileStatus);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/api/v2/bucket/" + bucket.bucketId + "/file/" + target.fileId + "/status",
              request.target);
    Json::Value expected;
    expected["status"] = "UPLOADING";
    expected["progress"] = Json::UInt64(5000000000ULL);
    expected["token"] = bucket.token;
    expected["fileId"] = target.fileId;
    expected["bucketId"] = bucket.bucketId;
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
    const CServiceControlClient::FileInfo file =
        service().control().file(bucket.bucketId, target.fileId);
    EXPECT_EQ("UPLOADING", file.status);
    ASSERT_EQ(1u, file.progressHistory.size());
    EXPECT_EQ(5000000000ULL, file.progressHistory[0]);
}

TEST_F(CRestApiFileStatusUpdateTest, StatusWordsFollowTheTableAndOutsideValuesSendNothing) {
    const char* const words[] = {"INITIALIZED", "UPLOADING", "SYNCING", "COMPLETED",
                                 "CANCELLED",   "DELETED",   "EXPIRED"};
    for (unsigned int value = 0; value < 7; ++value) {
        std::string word;
        EXPECT_EQ(DT_SUCCESS, CRestApiFileStatusUpdate::statusToString(
                                  static_cast<Details::FileStatus>(value), word));
        EXPECT_EQ(words[value], word);
    }
    CRestApiFileStatusUpdate call;
    Details details;
    details.status = static_cast<Details::FileStatus>(7);
    EXPECT_EQ(DT_INVALID_ARGUMENT, call.sendRequest(details));
    EXPECT_TRUE(allRequests().empty());
}

TEST_F(CRestApiFileStatusUpdateTest, AnswerNamingAnotherFileOfTheBucketIsAccepted) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    const struct {
        const char* body;
        dt_error expected;
    } rows[] = {
        {R"({"file":{"id":"OTHER","bucketId":"B1"}})", DT_SUCCESS},
        {R"({"file":{"id":"OTHER","bucketId":"B2"}})", DT_FAILURE},
        {R"({})", DT_FAILURE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        canned.answer(200, row.body);
        CRestApiFileStatusUpdate call;
        Details details;
        details.fileId = "F1";
        details.bucketId = "B1";
        details.status = Details::COMPLETED;
        ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
        EXPECT_EQ(row.expected, call.receiveResponse());
    }
}

}  // namespace
}  // namespace vx_transfers
