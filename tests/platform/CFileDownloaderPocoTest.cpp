#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CPlatformTestEnvironment.h"
#include "platform/CFileDownloaderPoco.h"

namespace vx_transfers {
namespace {

using platform_test::CScopedEnv;

// Routes: "/file" a body of 20000 bytes; "/query?x=1" echoes the request URI; "/empty" a 200
// without a body; anything else a 404. Records the URIs it was asked for.
class CTestRequestHandler : public Poco::Net::HTTPRequestHandler {
public:
    explicit CTestRequestHandler(std::vector<std::string>& seen, std::mutex& mutex)
        : m_seen(seen), m_mutex(mutex) {}

    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_seen.push_back(request.getMethod() + " " + request.getURI());
        }
        const std::string& uri = request.getURI();
        if (uri == "/file") {
            response.setContentLength(static_cast<std::streamsize>(body().size()));
            response.send() << body();
        } else if (uri.compare(0, 6, "/query") == 0) {
            response.setContentLength(static_cast<std::streamsize>(uri.size()));
            response.send() << uri;
        } else if (uri == "/empty") {
            response.setContentLength(0);
            response.send();
        } else {
            response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_NOT_FOUND);
            response.setContentLength(9);
            response.send() << "not found";
        }
    }

    static const std::string& body() {
        static const std::string content = [] {
            std::string text;
            for (int i = 0; text.size() < 20000; ++i) {
                text += std::to_string(i) + ",";
            }
            return text.substr(0, 20000);
        }();
        return content;
    }

private:
    std::vector<std::string>& m_seen;
    std::mutex& m_mutex;
};

class CTestHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(
        const Poco::Net::HTTPServerRequest&) override {
        return new CTestRequestHandler(m_seen, m_mutex);
    }

    std::vector<std::string> seen() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_seen;
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_seen;
};

struct DownloaderDeleter {
    void operator()(IFileDownloader* downloader) const { IFileDownloader::destroy(downloader); }
};
using DownloaderPtr = std::unique_ptr<IFileDownloader, DownloaderDeleter>;

std::string readWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class CFileDownloaderPocoTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_factory = new CTestHandlerFactory;
        Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
        m_port = socket.address().port();
        m_server.reset(
            new Poco::Net::HTTPServer(m_factory, socket, new Poco::Net::HTTPServerParams));
        m_server->start();
    }

    void TearDown() override { m_server->stopAll(true); }

    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(m_port) + path;
    }

    int download(const std::string& source, const std::string& target) {
        DownloaderPtr downloader(IFileDownloader::create(source, target));
        return downloader ? downloader->download() : -1;
    }

    // A proxy in the environment would send the requests elsewhere.
    CScopedEnv m_http{"http_proxy", nullptr};
    CScopedEnv m_httpUpper{"HTTP_PROXY", nullptr};
    CScopedEnv m_all{"all_proxy", nullptr};
    CScopedEnv m_allUpper{"ALL_PROXY", nullptr};
    platform_test::CTempDir m_dir;
    CTestHandlerFactory* m_factory = nullptr;  // owned by the server
    std::unique_ptr<Poco::Net::HTTPServer> m_server;
    Poco::UInt16 m_port = 0;
};

TEST_F(CFileDownloaderPocoTest, DownloadsTheBodyIntoTheTargetFile) {
    const std::string target = m_dir.file("file.txt");
    ASSERT_EQ(0, download(url("/file"), target));
    EXPECT_EQ(CTestRequestHandler::body(), readWhole(target));
    EXPECT_EQ(std::vector<std::string>{"GET /file"}, m_factory->seen());
}

TEST_F(CFileDownloaderPocoTest, SendsThePathWithItsQuery) {
    const std::string target = m_dir.file("query.txt");
    ASSERT_EQ(0, download(url("/query?x=1&y=two"), target));
    EXPECT_EQ("/query?x=1&y=two", readWhole(target));
}

TEST_F(CFileDownloaderPocoTest, FailuresGiveTwo) {
    struct Row {
        const char* name;
        std::string source;
        std::string target;
    };
    const Row rows[] = {
        {"not found", url("/missing"), m_dir.file("missing.txt")},
        {"empty body", url("/empty"), m_dir.file("empty.txt")},
        {"folder missing", url("/file"), m_dir.file("no-such-dir/file.txt")},
        {"nobody listening", "http://127.0.0.1:1/file", m_dir.file("refused.txt")},
        {"no host", "http:///file", m_dir.file("no-host.txt")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(2, download(row.source, row.target));
    }
}

TEST_F(CFileDownloaderPocoTest, BadArgumentsGiveOneWithoutARequest) {
    EXPECT_EQ(1, download("http://[::1", m_dir.file("bad-url.txt")));
    EXPECT_EQ(1, download("http://127.0.0.1:1%/x", m_dir.file("bad-port.txt")));
    EXPECT_EQ(1, download(url("/file"), ""));
    EXPECT_TRUE(m_factory->seen().empty());
}

}  // namespace
}  // namespace vx_transfers
