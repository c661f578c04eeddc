#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiMultiPartUploadInitialize.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;
typedef CRestApiMultiPartUploadInitialize::RequestDetails Details;
typedef CRestApiMultiPartUploadInitialize::Response Response;

class CRestApiMultiPartUploadInitializeTest : public vxt_test::CRestTestFixture {
protected:
    static Details::Part part(unsigned int number, unsigned long long size,
                              const std::string& md5) {
        Details::Part result;
        result.number = number;
        result.size = size;
        result.md5Digest = md5;
        return result;
    }
};

TEST_F(CRestApiMultiPartUploadInitializeTest, PartsAreAnnouncedAndTheirUrlsComeBackInOrder) {
    const CServiceControlClient::BucketInfo bucket = service().control().createBucket();
    const CServiceControlClient::UploadTarget target =
        service().control().registerUpload(bucket.bucketId, "big.bin", 25);
    Details details;
    details.fileId = target.fileId;
    details.bucketId = bucket.bucketId;
    details.token = bucket.token;
    details.size = 25;
    details.parts = {part(1, 10, "0123456789abcdef0123456789abcdef"), part(2, 10, ""),
                     part(3, 5, "")};
    CRestApiMultiPartUploadInitialize call;
    ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
    Response response;
    ASSERT_EQ(DT_SUCCESS, call.receiveResponse(response));
    EXPECT_FALSE(response.uploadId.empty());
    ASSERT_EQ(3u, response.parts.size());
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(i + 1, response.parts[i].number);
        EXPECT_FALSE(response.parts[i].url.empty());
    }

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kMultipartInitialize);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/api/v2/bucket/" + bucket.bucketId + "/file/" + target.fileId +
                  "/upload/multipart/initialize",
              request.target);
    Json::Value expected;
    expected["uploader"] = "DESKTOP";
    expected["md5Digest"] = Json::Value();
    expected["size"] = 25;
    Json::Value first;
    first["number"] = 1;
    first["size"] = 10;
    first["md5Digest"] = "0123456789abcdef0123456789abcdef";
    expected["parts"].append(first);
    Json::Value second;
    second["number"] = 2;
    second["size"] = 10;
    second["md5Digest"] = Json::Value();
    expected["parts"].append(second);
    Json::Value third = second;
    third["number"] = 3;
    third["size"] = 5;
    expected["parts"].append(third);
    expected["uploadId"] = Json::Value();
    expected["token"] = bucket.token;
    expected["fileId"] = target.fileId;
    expected["bucketId"] = bucket.bucketId;
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
}

TEST_F(CRestApiMultiPartUploadInitializeTest, EmptyFileSendsPartsAsNullAndRetrySendsNoUploadId) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    canned.answer(500, "{}");
    Details details;
    details.fileId = "F1";
    details.bucketId = "B1";
    details.token = "T1";
    details.md5Digest = "d41d8cd98f00b204e9800998ecf8427e";
    CRestApiMultiPartUploadInitialize call;
    Response response;
    for (int attempt = 0; attempt < 2; ++attempt) {
        ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
        EXPECT_EQ(DT_FAILURE, call.receiveResponse(response));
    }
    const std::vector<std::string> sent = canned.requests();
    ASSERT_EQ(2u, sent.size());
    for (const std::string& request : sent) {
        Json::Value body;
        ASSERT_TRUE(Json::Reader().parse(request.substr(request.find("\r\n\r\n") + 4), body));
        EXPECT_TRUE(body.isMember("parts"));
        EXPECT_TRUE(body["parts"].isNull());
        EXPECT_TRUE(body["uploadId"].isNull());
        EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", body["md5Digest"].asString());
        EXPECT_EQ(0u, body["size"].asUInt64());
    }
}

TEST_F(CRestApiMultiPartUploadInitializeTest, AnswersAreReadAsFarAsTheirKeysGo) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    const std::string file = R"("file":{"id":"F1","bucketId":"B1"})";
    struct Row {
        const char* name;
        std::string body;
        dt_error expected;
    };
    const Row rows[] = {
        {"no upload id", "{" + file + R"(,"partUploadDetails":[]})", DT_FAILURE},
        {"no file", R"({"uploadId":"U1","partUploadDetails":[]})", DT_FAILURE},
        {"no part details", "{" + file + R"(,"uploadId":"U1"})", DT_SUCCESS},
        {"parts",
         "{" + file + R"(,"uploadId":"U1","partUploadDetails":[)" +
             R"({"url":"http://h/1","expires":5000000000,"number":1,)" +
             R"("headers":{"x-a":"1","x-b":"2"}},{"number":2}]})",
         DT_SUCCESS},
        {"url is a number", "{" + file + R"(,"uploadId":"U1","partUploadDetails":[{"url":[1]}]})",
         DT_FAILURE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        canned.answer(200, row.body);
        Details details;
        details.fileId = "F1";
        details.bucketId = "B1";
        CRestApiMultiPartUploadInitialize call;
        ASSERT_EQ(DT_SUCCESS, call.sendRequest(details));
        Response response;
        EXPECT_EQ(row.expected, call.receiveResponse(response));
        if (std::string(row.name) == "no part details") {
            EXPECT_EQ("U1", response.uploadId);
            EXPECT_TRUE(response.parts.empty());
        }
        if (std::string(row.name) == "parts") {
            ASSERT_EQ(2u, response.parts.size());
            EXPECT_EQ("http://h/1", response.parts[0].url);
            EXPECT_EQ(5000000000ULL, response.parts[0].expires);
            EXPECT_EQ(1, response.parts[0].number);
            const std::vector<std::pair<std::string, std::string>> headers{{"x-a", "1"},
                                                                           {"x-b", "2"}};
            EXPECT_EQ(headers, response.parts[0].headers);
            EXPECT_EQ("", response.parts[1].url);
            EXPECT_EQ(0u, response.parts[1].expires);
            EXPECT_EQ(2, response.parts[1].number);
            EXPECT_TRUE(response.parts[1].headers.empty());
        }
    }
}

}  // namespace
}  // namespace vx_transfers
