#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiFileDetailsBase.h"
#include "rest/CRestApiFileDetailsBaseWToken.h"

namespace vx_transfers {
namespace {

class CRestApiFileDetailsBaseTest : public vxt_test::CRestTestFixture {
protected:
    void SetUp() override {
        CRestTestFixture::SetUp();
        setEndPoint(m_canned.url());
    }

    vxt_test::CCannedResponseServer m_canned;
};

TEST_F(CRestApiFileDetailsBaseTest, AnswerMustNameTheFileOrTheBucket) {
    struct Row {
        const char* name;
        const char* body;
        dt_error expected;
    };
    const Row rows[] = {
        {"both match", R"({"file":{"id":"F1","bucketId":"B1"}})", DT_SUCCESS},
        {"file matches", R"({"file":{"id":"F1","bucketId":"B9"}})", DT_SUCCESS},
        {"only bucket matches", R"({"file":{"id":"F9","bucketId":"B1"}})", DT_SUCCESS},
        {"only id present", R"({"file":{"id":"F1"}})", DT_SUCCESS},
        {"neither matches", R"({"file":{"id":"F9","bucketId":"B9"}})", DT_FAILURE},
        {"empty file object", R"({"file":{}})", DT_FAILURE},
        {"no file", R"({"id":"F1","bucketId":"B1"})", DT_FAILURE},
        {"file is null", R"({"file":null})", DT_FAILURE},
        {"file is a string", R"({"file":"F1"})", DT_FAILURE},
        {"id is an object", R"({"file":{"id":{"x":1},"bucketId":"B1"}})", DT_FAILURE},
        {"answer is an array", R"([1,2])", DT_FAILURE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        m_canned.answer(200, row.body);
        CRestApiFileDetailsBase call;
        Json::Value body;
        std::string fileId = "F1";
        std::string bucketId = "B1";
        ASSERT_EQ(DT_SUCCESS, call.sendRequest("/x", body, fileId, bucketId));
        Json::Value answer;
        EXPECT_EQ(row.expected, call.receiveResponse(answer));
    }
}

TEST_F(CRestApiFileDetailsBaseTest, IdentifiersAndTokenGoIntoTheBody) {
    CRestApiFileDetailsBaseWToken call;
    Json::Value body;
    body["status"] = "X";
    std::string fileId = "F1";
    std::string bucketId = "B1";
    std::string token = "T1";
    ASSERT_EQ(DT_SUCCESS, call.sendRequest("/x", body, fileId, bucketId, token));
    Json::Value answer;
    call.receiveResponse(answer);  // the server has the request once it has answered
    ASSERT_EQ(1u, m_canned.requests().size());
    const std::string request = m_canned.requests()[0];
    EXPECT_EQ(0u, request.find("POST /x HTTP/1.1\r\n"));
    EXPECT_NE(std::string::npos,
              request.find(R"({"bucketId":"B1","fileId":"F1","status":"X","token":"T1"})"));
}

}  // namespace
}  // namespace vx_transfers
