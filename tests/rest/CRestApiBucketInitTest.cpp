#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiBucketInit.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

class CRestApiBucketInitTest : public vxt_test::CRestTestFixture {
protected:
    dt_error create(const std::string& authToken, CRestApiBucketInit::Response& out) {
        CRestApiBucketInit call;
        CRestApiAuthBase::RequestDetails details;
        details.authToken = authToken;
        const dt_error sent = call.sendRequest(details);
        return sent != DT_SUCCESS ? sent : call.receiveResponse(out);
    }
};

TEST_F(CRestApiBucketInitTest, FixedBodyAndUserTokenMakeABucket) {
    const std::string authToken = service().login();
    CRestApiBucketInit::Response out;
    ASSERT_EQ(DT_SUCCESS, create(authToken, out));
    EXPECT_FALSE(out.bucketId.empty());
    EXPECT_FALSE(out.token.empty());
    EXPECT_EQ(out.token, service().control().bucket(out.bucketId).token);

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kBucketCreate);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/api/v2/bucket/message", request.target);
    EXPECT_EQ(authToken, request.header("x-vx-auth-token"));
    Json::Value expected;
    expected["summary"] = "Test";
    expected["viewMode"] = Json::Value();
    expected["type"] = "message";
    expected["previewsEnabled"] = true;
    expected["body"] = Json::Value();
    expected["password"] = Json::Value();
    expected["uploader"] = "DESKTOP";
    expected["files"] = Json::Value(Json::arrayValue);
    expected["cloneFiles"] = Json::Value(Json::arrayValue);
    expected["recipients"] = Json::Value(Json::arrayValue);
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
}

TEST_F(CRestApiBucketInitTest, WrongUserTokenFails) {
    CRestApiBucketInit::Response out;
    EXPECT_EQ(DT_FAILURE, create("not-a-token", out));
    EXPECT_TRUE(out.bucketId.empty());
}

TEST_F(CRestApiBucketInitTest, MissingKeysLeaveTheirFieldsEmpty) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    canned.answer(200, "{}");
    CRestApiBucketInit::Response out;
    EXPECT_EQ(DT_SUCCESS, create("U1", out));
    EXPECT_EQ("", out.bucketId);
    EXPECT_EQ("", out.token);
    EXPECT_EQ(0u, out.tokenExpires);

    canned.answer(200, R"({"bucketId":"B1","tokenExpires":12})");
    EXPECT_EQ(DT_SUCCESS, create("U1", out));
    EXPECT_EQ("B1", out.bucketId);
    EXPECT_EQ("", out.token);
    EXPECT_EQ(12u, out.tokenExpires);
}

}  // namespace
}  // namespace vx_transfers
