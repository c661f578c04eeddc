#include <Poco/Net/HTTPRequest.h>
#include <gtest/gtest.h>

#include "channels/http_request_head.h"

namespace vx_transfers {
namespace {

TEST(HttpRequestHeadTest, HeadIsRequestLineHostHeadersInOrderAndABlankLine) {
    EXPECT_EQ(
        "PUT /b/f?sig=a%2Fb HTTP/1.1\r\n"
        "Host: h.example\r\n"
        "Content-Type: application/octet-stream\r\n"
        "x-Mixed-CASE: v a l\r\n"
        "Content-Length: 10\r\n"
        "\r\n",
        http_request_head::generate("PUT", "/b/f?sig=a%2Fb", "h.example",
                                    {{"Content-Type", "application/octet-stream"},
                                     {"x-Mixed-CASE", "v a l"},
                                     {"Content-Length", "10"}}));
}

TEST(HttpRequestHeadTest, EmptyPathBecomesSlashAndNoHeadersMeansHostOnly) {
    EXPECT_EQ("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n",
              http_request_head::generate("GET", "", "127.0.0.1", {}));
}

TEST(HttpRequestHeadTest, RequestFilledByHooksKeepsTheOrderItsFieldsWereSetIn) {
    Poco::Net::HTTPRequest request;
    request.setMethod(Poco::Net::HTTPRequest::HTTP_GET);
    request.setURI("/x");
    request.setKeepAlive(true);
    request.set("user-agent", "ua");
    request.setHost("host");
    request.set("Range", "bytes=5-");
    EXPECT_EQ(
        "GET /x HTTP/1.1\r\n"
        "Host: host\r\n"
        "Connection: Keep-Alive\r\n"
        "user-agent: ua\r\n"
        "Range: bytes=5-\r\n"
        "\r\n",
        http_request_head::generate(request));
}

}  // namespace
}  // namespace vx_transfers
