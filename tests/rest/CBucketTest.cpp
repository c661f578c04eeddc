#include <Poco/File.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>
#include <Poco/URI.h>

#include <fstream>

#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "platform/porting/string_convert.h"
#include "support/md5Hex.h"
#include "vx_transfers/CBucket.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

class CBucketTest : public vxt_test::CRestTestFixture {
protected:
    CBucket makeBucket(const std::string& password) {
        CBucket::UserCredentials credentials;
        credentials.userId = service().options().user;
        credentials.password = password;
        std::string label = "label";
        return CBucket(credentials, label);
    }

    // A real file with this content; gives its file URL.
    static std::wstring writeFile(const std::string& name, const std::string& content) {
        const std::string path = scratchDir() + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        std::wstring url;
        string_convert::StringToWstring("file://" + path, url);
        return url;
    }

    // PUTs the content to where the file description says, as a single-part upload would.
    static int put(const CUploadManager::FileDesc& desc, const std::string& content) {
        Poco::URI uri(desc.url);
        Poco::Net::HTTPClientSession session(uri.getHost(), uri.getPort());
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_PUT, uri.getPathAndQuery(),
                                       Poco::Net::HTTPMessage::HTTP_1_1);
        for (const auto& header : desc.additionalHttpHeaders) {
            request.set(header.first, header.second);
        }
        request.setContentLength(static_cast<std::streamsize>(content.size()));
        session.sendRequest(request) << content;
        Poco::Net::HTTPResponse response;
        std::string ignored;
        Poco::StreamCopier::copyToString(session.receiveResponse(response), ignored);
        return response.getStatus();
    }
};

TEST_F(CBucketTest, LogsInCreatesABucketAndAddsARealFile) {
    CBucket bucket = makeBucket(service().options().password);
    const CBucket::BucketInfo info = bucket.init();
    ASSERT_FALSE(info.bucketId.empty());
    EXPECT_FALSE(info.token.empty());
    EXPECT_FALSE(info.authToken.empty());
    EXPECT_EQ(info.token, service().control().bucket(info.bucketId).token);

    const std::string content = "the bytes of a small file\n";
    const std::wstring url = writeFile("report-1.txt", content);
    const CUploadManager::FileDesc desc = bucket.addFile(url);
    ASSERT_FALSE(desc.fileUid.empty());
    EXPECT_EQ(url, desc.fileUrl);
    EXPECT_FALSE(desc.url.empty());

    const CServiceControlClient::FileInfo file =
        service().control().file(info.bucketId, desc.fileUid);
    EXPECT_EQ("report-1.txt", file.name);
    EXPECT_EQ(content.size(), file.declaredSize);
    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kBucketFiles);
    EXPECT_EQ(info.authToken, request.header("x-vx-auth-token"));
    EXPECT_EQ(info.token, request.json["token"].asString());

    // The description is what a single-part upload needs.
    EXPECT_EQ(200, put(desc, content) / 100 * 100);
    EXPECT_EQ(vxt_test::md5Hex(content), service().control().file(info.bucketId, desc.fileUid).md5);
}

TEST_F(CBucketTest, FailedLoginGivesEmptyResultsAndAnEmptyBucketPath) {
    CBucket bucket = makeBucket("wrong");
    EXPECT_EQ(DT_FAILURE, bucket.login());
    const CBucket::BucketInfo info = bucket.init();
    EXPECT_TRUE(info.bucketId.empty());
    EXPECT_TRUE(info.token.empty());
    EXPECT_TRUE(requests(routes::kBucketCreate).empty());

    const CUploadManager::FileDesc desc = bucket.addFile(writeFile("b.txt", "b"));
    EXPECT_TRUE(desc.fileUid.empty());
    EXPECT_TRUE(desc.fileUrl.empty());
    bool sawEmptySegment = false;
    for (const CServiceControlClient::RequestRecord& request : allRequests()) {
        sawEmptySegment = sawEmptySegment || request.target == "/api/v2/bucket//files";
    }
    EXPECT_TRUE(sawEmptySegment);
}

TEST_F(CBucketTest, ServiceAnsweringNoFilesGivesAnEmptyDescription) {
    CBucket bucket = makeBucket(service().options().password);
    ASSERT_FALSE(bucket.init().bucketId.empty());
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    canned.answer(200, R"({"files":[]})");
    const CUploadManager::FileDesc desc = bucket.addFile(writeFile("c.txt", "c"));
    EXPECT_TRUE(desc.fileUid.empty());
    EXPECT_TRUE(desc.url.empty());
    EXPECT_TRUE(desc.additionalHttpHeaders.empty());
}

}  // namespace
}  // namespace vx_transfers
