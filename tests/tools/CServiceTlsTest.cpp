// The service over HTTPS with its self-signed certificate: REST through Poco's HTTPS session,
// data through libcurl, as the library's https paths will use them.
#include <gtest/gtest.h>

#include "CCurlRequest.h"
#include "support/CJsonHttpClient.h"
#include "support/CLocalService.h"

namespace vxt_test {
namespace {

TEST(CServiceTlsTest, RestAndDataRoutesWorkOverHttps) {
    CLocalService::Options options;
    options.tls = true;
    CLocalService service(options);
    ASSERT_EQ(service.baseUrl().substr(0, 8), "https://");
    EXPECT_FALSE(service.login().empty());

    auto bucket = service.control().createBucket();
    const std::string data(300000, 'x');
    auto target = service.control().registerUpload(bucket.bucketId, "tls.bin", data.size());
    ASSERT_EQ(target.url.substr(0, 8), "https://");
    auto put = CCurlRequest(target.url).headers(target.headers).upload(data).perform();
    ASSERT_EQ(put.code, CURLE_OK);
    EXPECT_EQ(put.status, 200);

    CJsonHttpClient http(service.rootUrl());
    auto redirect =
        http.send("GET", "/api/v2/bucket/" + bucket.bucketId + "/file/" + target.fileId +
                             "/download?action=DOWNLOAD&token=" + bucket.token);
    ASSERT_EQ(redirect.status, 302);
    auto got = CCurlRequest(redirect.header("Location")).range("299990-").perform();
    EXPECT_EQ(got.status, 206);
    EXPECT_EQ(got.body, std::string(10, 'x'));
    auto whole = CCurlRequest(redirect.header("Location")).perform();
    EXPECT_EQ(whole.body.size(), data.size());

    // Plain HTTP on the TLS port is refused without harm.
    auto plain = CCurlRequest("http://127.0.0.1:" + std::to_string(service.port()) + "/login")
                     .timeoutMs(5000)
                     .perform();
    EXPECT_NE(plain.code, CURLE_OK);
    EXPECT_FALSE(service.login().empty());
}

}  // namespace
}  // namespace vxt_test
