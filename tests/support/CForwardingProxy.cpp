#include "support/CForwardingProxy.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerParams.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/IPAddress.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/StreamCopier.h>
#include <Poco/String.h>
#include <Poco/ThreadPool.h>
#include <Poco/URI.h>

#include <sstream>

namespace vxt_test {

namespace {

// Headers that concern only one hop, or the proxy itself, and are not passed on.
bool isHopHeader(const std::string& name) {
    static const char* const kHop[] = {"Connection",
                                       "Keep-Alive",
                                       "Proxy-Connection",
                                       "Proxy-Authorization",
                                       "Proxy-Authenticate",
                                       "TE",
                                       "Trailer",
                                       "Transfer-Encoding",
                                       "Upgrade",
                                       "Content-Length"};
    for (const char* hop : kHop) {
        if (Poco::icompare(name, hop) == 0) {
            return true;
        }
    }
    return false;
}

bool isLoopback(const std::string& host) {
    if (host == "localhost") {
        return true;
    }
    Poco::Net::IPAddress address;
    return Poco::Net::IPAddress::tryParse(host, address) && address.isLoopback();
}

class CForwardingHandler : public Poco::Net::HTTPRequestHandler {
public:
    explicit CForwardingHandler(CForwardingProxy& proxy) : m_proxy(proxy) {}

    void handleRequest(Poco::Net::HTTPServerRequest& request,
                       Poco::Net::HTTPServerResponse& response) override {
        CForwardingProxy::Record record;
        record.method = request.getMethod();
        record.target = request.getURI();
        for (const auto& header : request) {
            record.headers.emplace_back(header.first, header.second);
        }
        const size_t index = m_proxy.add(record);

        std::string body;
        Poco::StreamCopier::copyToString(request.stream(), body);
        int status = 502;
        try {
            status = forward(request, body, response);
        } catch (const std::exception&) {
            status = 502;
        }
        if (status == 502 && !response.sent()) {
            response.setStatusAndReason(Poco::Net::HTTPResponse::HTTP_BAD_GATEWAY);
            response.setContentLength(0);
            response.send();
        }
        m_proxy.setStatus(index, status);
    }

private:
    // Gives the status relayed, or 502 when nothing was sent to the client yet.
    int forward(Poco::Net::HTTPServerRequest& request, const std::string& body,
                Poco::Net::HTTPServerResponse& response) {
        Poco::URI uri(request.getURI());
        if (uri.getScheme() != "http" || !isLoopback(uri.getHost())) {
            return 502;
        }
        Poco::Net::HTTPClientSession session(uri.getHost(), uri.getPort());
        session.setTimeout(Poco::Timespan(20, 0));
        Poco::Net::HTTPRequest outgoing(request.getMethod(), uri.getPathAndQuery(),
                                        request.getVersion());
        for (const auto& header : request) {
            if (!isHopHeader(header.first)) {
                outgoing.add(header.first, header.second);
            }
        }
        if (!body.empty() || request.hasContentLength()) {
            outgoing.setContentLength(static_cast<std::streamsize>(body.size()));
        }
        session.sendRequest(outgoing) << body;

        Poco::Net::HTTPResponse answer;
        std::istream& in = session.receiveResponse(answer);
        std::string answerBody;
        Poco::StreamCopier::copyToString(in, answerBody);

        response.setStatusAndReason(answer.getStatus(), answer.getReason());
        for (const auto& header : answer) {
            if (!isHopHeader(header.first)) {
                response.add(header.first, header.second);
            }
        }
        response.sendBuffer(answerBody.data(), answerBody.size());
        return static_cast<int>(answer.getStatus());
    }

    CForwardingProxy& m_proxy;
};

class CForwardingHandlerFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    explicit CForwardingHandlerFactory(CForwardingProxy& proxy) : m_proxy(proxy) {}

    Poco::Net::HTTPRequestHandler* createRequestHandler(
        const Poco::Net::HTTPServerRequest&) override {
        return new CForwardingHandler(m_proxy);
    }

private:
    CForwardingProxy& m_proxy;
};

}  // namespace

std::string CForwardingProxy::Record::header(const std::string& name) const {
    for (const auto& entry : headers) {
        if (Poco::icompare(entry.first, name) == 0) {
            return entry.second;
        }
    }
    return std::string();
}

CForwardingProxy::CForwardingProxy() : m_threads(new Poco::ThreadPool(1, 4)) {
    Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
    m_port = socket.address().port();
    Poco::Net::HTTPServerParams::Ptr params(new Poco::Net::HTTPServerParams);
    params->setMaxThreads(4);
    params->setKeepAlive(true);
    m_server.reset(new Poco::Net::HTTPServer(new CForwardingHandlerFactory(*this), *m_threads,
                                             socket, params));
    m_server->start();
}

CForwardingProxy::~CForwardingProxy() {
    m_server->stopAll(true);
    m_server.reset();
    m_threads->joinAll();
}

std::string CForwardingProxy::url() const {
    std::ostringstream text;
    text << "http://127.0.0.1:" << m_port;
    return text.str();
}

std::vector<CForwardingProxy::Record> CForwardingProxy::records() const {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_records;
}

size_t CForwardingProxy::add(const Record& record) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_records.push_back(record);
    return m_records.size() - 1;
}

void CForwardingProxy::setStatus(size_t index, int status) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (index < m_records.size()) {
        m_records[index].status = status;
    }
}

}  // namespace vxt_test
