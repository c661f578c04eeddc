#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiBucketAddFiles.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;
typedef CRestApiBucketAddFiles::RequestDetails Details;
typedef CRestApiBucketAddFiles::Response Response;

class CRestApiBucketAddFilesTest : public vxt_test::CRestTestFixture {
protected:
    static Details::FileSpec fileEntry(const std::string& name, unsigned long long size) {
        Details::FileSpec result;
        result.name = name;
        result.size = size;
        return result;
    }

    dt_error add(Details& details, Response& out) {
        CRestApiBucketAddFiles call;
        const dt_error sent = call.sendRequest(details);
        return sent != DT_SUCCESS ? sent : call.receiveResponse(out);
    }
};

TEST_F(CRestApiBucketAddFilesTest, FilesAreAnnouncedWithFixedDatesAndGetUploadUrls) {
    const CServiceControlClient::BucketInfo bucket = service().control().createBucket();
    Details details;
    details.authToken = service().login();
    details.bucketId = bucket.bucketId;
    details.token = bucket.token;
    details.files = {fileEntry("a.txt", 5), fileEntry("b.bin", 6000000000ULL)};
    Response out;
    ASSERT_EQ(DT_SUCCESS, add(details, out));
    ASSERT_EQ(2u, out.files.size());
    for (const Response::FileSpec& file : out.files) {
        EXPECT_FALSE(file.fileId.empty());
        EXPECT_FALSE(file.url.empty());
    }
    EXPECT_EQ("a.txt", service().control().file(bucket.bucketId, out.files[0].fileId).name);
    EXPECT_EQ(6000000000ULL,
              service().control().file(bucket.bucketId, out.files[1].fileId).declaredSize);

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kBucketFiles);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/api/v2/bucket/" + bucket.bucketId + "/files", request.target);
    EXPECT_EQ(details.authToken, request.header("x-vx-auth-token"));
    Json::Value expected;
    expected["token"] = bucket.token;
    expected["bucketId"] = bucket.bucketId;
    expected["uploader"] = "DESKTOP";
    expected["cloneFiles"] = Json::Value(Json::arrayValue);
    for (const Details::FileSpec& file : details.files) {
        Json::Value item;
        item["name"] = file.name;
        item["size"] = Json::UInt64(file.size);
        item["created"] = "2008-08-01T02:00:00.000Z";
        item["modified"] = "2008-08-01T02:00:00.000Z";
        item["path"] = Json::Value();
        expected["files"].append(item);
    }
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
}

TEST_F(CRestApiBucketAddFilesTest, EmptyListLeavesTheFilesKeyOut) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    Details details;
    details.bucketId = "B1";
    Response out;
    EXPECT_EQ(DT_SUCCESS, add(details, out));
    ASSERT_EQ(1u, canned.requests().size());
    const std::string request = canned.requests()[0];
    EXPECT_EQ(0u, request.find("POST /api/v2/bucket/B1/files HTTP/1.1\r\n"));
    EXPECT_EQ(std::string::npos, request.find("\"files\""));
}

TEST_F(CRestApiBucketAddFilesTest, AnsweredFilesAreTakenAsFarAsTheirKeysGo) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    canned.answer(200, R"({"files":[)"
                       R"({"file":{"id":"F1"},"uploadDetails":{"put":{"url":"http://h/1",)"
                       R"("expires":5000000000,"headers":{"x-a":"1","x-b":"2"}}}},)"
                       R"({"uploadDetails":{"put":{"url":"http://h/2"}}},)"
                       R"({"file":{"id":"F3"}},)"
                       R"({}]})");
    Details details;
    Response out;
    ASSERT_EQ(DT_SUCCESS, add(details, out));
    ASSERT_EQ(4u, out.files.size());
    EXPECT_EQ("F1", out.files[0].fileId);
    EXPECT_EQ("http://h/1", out.files[0].url);
    EXPECT_EQ(5000000000ULL, out.files[0].expires);
    const std::vector<std::pair<std::string, std::string>> headers{{"x-a", "1"}, {"x-b", "2"}};
    EXPECT_EQ(headers, out.files[0].headers);
    EXPECT_EQ("", out.files[1].fileId);
    EXPECT_EQ("http://h/2", out.files[1].url);
    EXPECT_EQ("F3", out.files[2].fileId);
    EXPECT_EQ("", out.files[2].url);
    EXPECT_EQ("", out.files[3].fileId);

    for (const char* body : {"{}", R"({"files":[]})", R"({"files":null})"}) {
        SCOPED_TRACE(body);
        canned.answer(200, body);
        Response empty;
        empty.files.resize(1);
        EXPECT_EQ(DT_SUCCESS, add(details, empty));
        EXPECT_TRUE(empty.files.empty());
    }
    canned.answer(200, R"({"files":[{"file":{"id":"F1"},"uploadDetails":{"put":"http://h"}}]})");
    EXPECT_EQ(DT_FAILURE, add(details, out));
}

}  // namespace
}  // namespace vx_transfers
