#include <gtest/gtest.h>

#include "vxt-service/CDataRoutes.h"
#include "vxt-service/CRequestHeadParser.h"

namespace vxt_service {
namespace {

TEST(CRequestHeadParserTest, AcceptsValidHeadsInEveryTargetForm) {
    struct Row {
        const char* head;
        const char* path;
        bool keepAlive;
    };
    const Row rows[] = {
        // The transfer channels' own head: Host without a port, lower-case user-agent.
        {"PUT /data/b/x/y?v=1&expires=2&sig=3 HTTP/1.1\r\nuser-agent: a\r\nHost: 127.0.0.1\r\n"
         "Content-Length: 5\r\n\r\n",
         "/data/b/x/y", true},
        // The REST session's absolute form for the download redirect request.
        {"GET http://127.0.0.1:80/vx/api/v2/bucket/b/file/f/download?action=DOWNLOAD&token=t "
         "HTTP/1.1\r\nHost: 127.0.0.1:80\r\n\r\n",
         "/vx/api/v2/bucket/b/file/f/download", true},
        {"GET https://h?x=1 HTTP/1.1\r\nHost: h\r\n\r\n", "/", true},
        {"GET /a%20b HTTP/1.0\r\n\r\n", "/a b", false},
        {"GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", "/", true},
        {"GET / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n", "/", false},
        {"POST /login HTTP/1.1\r\nHost: h\r\nContent-Length: 3, 3\r\nX-Empty:\r\n\r\n", "/login",
         true},
        {"POST /x HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n", "/x", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.head);
        HttpRequest request;
        std::string error;
        ASSERT_EQ(CRequestHeadParser::parse(row.head, request, error), 0) << error;
        EXPECT_EQ(request.path, row.path);
        EXPECT_EQ(request.keepAlive, row.keepAlive);
    }
}

TEST(CRequestHeadParserTest, KeepsQueryAndHeadersDecodedAndInOrder) {
    HttpRequest request;
    std::string error;
    ASSERT_EQ(CRequestHeadParser::parse("GET /b?token=a%2Bb&detail=false&flag HTTP/1.1\r\n"
                                        "Host: h\r\nX-A: 1\r\nx-a: 2\r\nExpect: 100-continue\r\n"
                                        "Content-Length: 10\r\n\r\n",
                                        request, error),
              0);
    EXPECT_EQ(request.queryValue("token"), "a+b");
    EXPECT_EQ(request.queryValue("detail"), "false");
    bool found = false;
    EXPECT_EQ(request.queryValue("flag", &found), "");
    EXPECT_TRUE(found);
    EXPECT_EQ(request.header("X-A"), "1");
    ASSERT_EQ(request.headers.size(), 5u);
    EXPECT_EQ(request.headers[2].second, "2");
    EXPECT_TRUE(request.expectContinue);
    EXPECT_TRUE(request.hasContentLength);
    EXPECT_EQ(request.contentLength, 10u);
}

TEST(CRequestHeadParserTest, RefusesMalformedHeadsWithTheRightStatus) {
    struct Row {
        const char* head;
        int status;
    };
    const Row rows[] = {
        {"GET / HTTP/1.1\nHost: h\r\n\r\n", 400},               // bare LF
        {"GET / HTTP/1.1\r\nHost: h\r\n folded\r\n\r\n", 400},  // obsolete folding
        {"GET / HTTP/1.1\r\n\r\n", 400},                        // no Host
        {"GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", 400},  // two Hosts
        {"GET / HTTP/1.1\r\nHost : h\r\n\r\n", 400},            // space before colon
        {"GET / HTTP/1.1\r\nHost h\r\n\r\n", 400},              // no colon
        {"GET  / HTTP/1.1\r\nHost: h\r\n\r\n", 400},            // double space
        {"GET / HTTP/2.0\r\nHost: h\r\n\r\n", 505},             // unsupported version
        {"GET / HTTQ/1.1\r\nHost: h\r\n\r\n", 400},             // not HTTP
        {"G(T / HTTP/1.1\r\nHost: h\r\n\r\n", 400},             // bad method token
        {"GET /#frag HTTP/1.1\r\nHost: h\r\n\r\n", 400},        // fragment
        {"GET ftp://h/ HTTP/1.1\r\nHost: h\r\n\r\n", 400},      // odd scheme
        {"GET /%zz HTTP/1.1\r\nHost: h\r\n\r\n", 400},          // bad escape
        {"GET /%00 HTTP/1.1\r\nHost: h\r\n\r\n", 400},          // NUL
        {"PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: -1\r\n\r\n", 400},
        {"PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
        {"PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 99999999999999999999\r\n\r\n", 400},
        {"PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
         400},
        {"PUT / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: gzip, chunked\r\n\r\n", 501},
        {"PUT / HTTP/1.1\r\nHost: h\r\nExpect: something\r\n\r\n", 417},
        {"GET / HTTP/1.1\r\nHost: h\r\nX: a\x01"
         "b\r\n\r\n",
         400},                                   // control character
        {"GET / HTTP/1.1\r\nHost: h\r\n", 400},  // unterminated
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.head);
        HttpRequest request;
        std::string error;
        EXPECT_EQ(CRequestHeadParser::parse(row.head, request, error), row.status);
        EXPECT_FALSE(error.empty());
    }
}

TEST(CRequestHeadParserTest, RangeEvaluationFollowsSingleRangeRules) {
    struct Row {
        const char* range;
        std::uint64_t size;
        int status;
        std::uint64_t first, last;
    };
    const Row rows[] = {
        {"bytes=0-0", 10, 206, 0, 0},     {"bytes=0-9", 10, 206, 0, 9},
        {"bytes=3-", 10, 206, 3, 9},      {"bytes=3-100", 10, 206, 3, 9},
        {"bytes=-4", 10, 206, 6, 9},      {"bytes=-40", 10, 206, 0, 9},
        {"BYTES=1-2", 10, 206, 1, 2},     {"bytes=10-", 10, 416, 0, 0},
        {"bytes=10-20", 10, 416, 0, 0},   {"bytes=-0", 10, 416, 0, 0},
        {"bytes=0-", 0, 416, 0, 0},       {"bytes=5-3", 10, 200, 0, 0},
        {"bytes=0-1,3-4", 10, 200, 0, 0}, {"bytes=a-b", 10, 200, 0, 0},
        {"items=0-1", 10, 200, 0, 0},     {"bytes=", 10, 200, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.range);
        std::uint64_t first = 0, last = 0;
        ASSERT_EQ(CDataRoutes::evaluateRange(row.range, row.size, first, last), row.status);
        if (row.status == 206) {
            EXPECT_EQ(first, row.first);
            EXPECT_EQ(last, row.last);
        }
    }
}

}  // namespace
}  // namespace vxt_service
