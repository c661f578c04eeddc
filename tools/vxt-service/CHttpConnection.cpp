#include "vxt-service/CHttpConnection.h"

#include <Poco/Exception.h>
#include <Poco/Timespan.h>

#include <chrono>
#include <vector>

#include "vxt-service/CDataRoutes.h"
#include "vxt-service/CJson.h"
#include "vxt-service/CRequestHeadParser.h"
#include "vxt-service/CServiceImpl.h"

namespace vxt_service {
namespace {

// Counts a connection as a data connection for as long as it serves a data request, scripted
// delays included.
class CDataRequestGuard {
public:
    CDataRequestGuard(CServiceImpl& service, bool data) : m_service(service), m_data(data) {
        if (m_data) m_service.dataRequestStarted();
    }
    ~CDataRequestGuard() {
        if (m_data) m_service.dataRequestEnded();
    }
    CDataRequestGuard(const CDataRequestGuard&) = delete;
    CDataRequestGuard& operator=(const CDataRequestGuard&) = delete;

private:
    CServiceImpl& m_service;
    bool m_data;
};

constexpr std::uint64_t kLingerBytes = 64ULL * 1024 * 1024;
constexpr auto kLingerTime = std::chrono::seconds(2);

}  // namespace

CHttpConnection::CHttpConnection(const Poco::Net::StreamSocket& socket, CServiceImpl& service)
    : m_socket(socket), m_service(service), m_connectionId(0) {}

void CHttpConnection::run() {
    Poco::Net::StreamSocket& sock = socket();
    m_connectionId = m_service.connectionOpened(&sock);
    try {
        Poco::Timespan timeout(static_cast<long>(m_service.config().idleTimeoutMs / 1000),
                               static_cast<long>(m_service.config().idleTimeoutMs % 1000) * 1000);
        sock.setReceiveTimeout(timeout);
        sock.setSendTimeout(timeout);
        sock.setNoDelay(true);
        CConnectionIo io(sock, m_service.tls(), m_service.stopSignal());
        while (!m_service.stopSignal().raised() && serveOne(io)) {
        }
        if (m_linger && !m_service.stopSignal().raised()) linger(io);
    } catch (const std::exception&) {
        // A reset, a time-out or a TLS failure ends this connection and nothing else.
    }
    m_service.connectionClosed(&sock);
    try {
        sock.shutdown();
    } catch (const std::exception&) {
    }
}

void CHttpConnection::linger(CConnectionIo& io) {
    // The client may still be sending a body we refused; reading it for a while lets the answer
    // reach it instead of being lost to a reset.
    Poco::Net::StreamSocket& sock = socket();
    sock.shutdownSend();
    sock.setReceiveTimeout(Poco::Timespan(0, 500000));
    const auto deadline = std::chrono::steady_clock::now() + kLingerTime;
    std::vector<char> sink(64 * 1024);
    std::uint64_t drained = 0;
    while (drained < kLingerBytes && std::chrono::steady_clock::now() < deadline) {
        std::size_t n = io.readSome(sink.data(), sink.size());
        if (n == 0) break;
        drained += n;
    }
}

bool CHttpConnection::serveOne(CConnectionIo& io) {
    m_linger = false;
    std::string head;
    auto status = io.readHead(m_service.config().maxHeaderBytes, head);
    if (status == CConnectionIo::HeadStatus::Closed) return false;
    ExchangeResult result;
    HttpRequest request;
    std::string parseError;
    int parseStatus = status == CConnectionIo::HeadStatus::TooLarge
                          ? 431
                          : CRequestHeadParser::parse(head, request, parseError);
    if (parseStatus != 0) {
        RequestLogEntry entry;
        entry.connectionId = m_connectionId;
        entry.route = "unknown";
        entry.method = request.method;
        entry.target = request.target;
        std::uint64_t seq = m_service.log().begin(entry);
        HttpResponse response =
            CJson::error(parseStatus, parseStatus == 431 ? "request head too large" : parseError);
        response.close = true;
        CResponseWriter::send(io, response, false, false, FaultRule(), result);
        m_service.log().finish(seq, result.status, 0, result.responseBodyBytes, "", false);
        m_linger = true;
        return false;
    }
    RouteMatch match = CRouter::classify(request, m_service.config().pathPrefix);
    m_service.requestServed();
    if (match.kind == RouteMatch::Kind::Control) {
        HttpResponse error;
        if (!readBody(request, io, error)) {
            if (error.status != 200) {
                CResponseWriter::send(io, error, false, false, FaultRule(), result);
                m_linger = true;
            }
            return false;
        }
        CResponseWriter::send(io, m_service.control().handle(request), request.keepAlive, false,
                              FaultRule(), result);
        return !result.close;
    }
    {
        CDataRequestGuard guard(m_service, match.kind == RouteMatch::Kind::Data);
        serveRouted(request, match, io, result);
    }
    bool keep = !result.close && request.keepAlive;
    m_linger = !keep && result.status != 0;
    return keep;
}

void CHttpConnection::serveRouted(HttpRequest& request, const RouteMatch& match, CConnectionIo& io,
                                  ExchangeResult& result) {
    RequestLogEntry entry;
    entry.connectionId = m_connectionId;
    entry.route = match.name;
    entry.method = request.method;
    entry.target = request.target;
    entry.path = match.restPath.empty() ? request.path : match.restPath;
    entry.query = request.query;
    entry.headers = request.headers;
    std::uint64_t seq = m_service.log().begin(entry);
    FaultRule fault = m_service.faults().take(match.name, request.method, request.target);
    bool rest = match.kind != RouteMatch::Kind::Data;
    result.onAnswer = [&](const ExchangeResult& answered) {
        m_service.log().answer(seq, answered.status, answered.bodyBytes,
                               rest ? request.body : std::string());
    };
    auto finish = [&] {
        result.onAnswer = nullptr;
        m_service.log().finish(seq, result.status, result.bodyBytes, result.responseBodyBytes,
                               rest ? request.body : std::string(), fault.active());
    };
    try {
        if (fault.delayMs > 0 &&
            m_service.stopSignal().waitFor(std::chrono::milliseconds(fault.delayMs))) {
            result.close = true;
        } else if (fault.action == FaultAction::CloseBeforeHeaders) {
            result.close = true;
        } else if (answerFault(request, fault, io, result)) {
        } else if (match.kind == RouteMatch::Kind::Data) {
            m_service.data().handle(request, match, fault, io, result);
        } else {
            HttpResponse error;
            if (!readBody(request, io, error)) {
                if (error.status != 200) {
                    CResponseWriter::send(io, error, false, false, FaultRule(), result);
                }
                result.close = true;
            } else {
                result.bodyBytes = request.body.size();
                HttpResponse response = match.kind == RouteMatch::Kind::Rest
                                            ? m_service.rest().handle(request, match)
                                            : CJson::error(404, "no such route");
                CResponseWriter::send(io, response, request.keepAlive, request.method == "HEAD",
                                      fault, result);
            }
        }
    } catch (...) {
        result.close = true;
        finish();
        throw;
    }
    finish();
}

bool CHttpConnection::answerFault(const HttpRequest& request, const FaultRule& fault,
                                  CConnectionIo& io, ExchangeResult& result) {
    HttpResponse response;
    if (fault.action == FaultAction::RedirectLoop) {
        std::string location = fault.location.empty() ? ownUrl(request) : fault.location;
        response = CJson::error(fault.status != 0 ? fault.status : 302, "redirected");
        response.headers.emplace_back("Location", location);
    } else if (fault.status != 0) {
        response = CJson::error(fault.status, "scripted failure");
        if (fault.status >= 300 && fault.status < 400 && !fault.location.empty()) {
            response.headers.emplace_back("Location", fault.location);
        }
    } else {
        return false;
    }
    CDataRoutes::refuse(request, response, io, result);
    return true;
}

std::string CHttpConnection::ownUrl(const HttpRequest& request) const {
    if (request.target[0] != '/') return request.target;
    return m_service.rootUrl() + request.target;
}

bool CHttpConnection::readBody(HttpRequest& request, CConnectionIo& io, HttpResponse& error) {
    const std::uint64_t limit = m_service.config().maxRestBodyBytes;
    if (request.chunked) {
        if (request.expectContinue) io.write("HTTP/1.1 100 Continue\r\n\r\n");
        return readChunked(request, io, error);
    }
    if (request.contentLength > limit) {
        error = CJson::error(413, "body larger than " + std::to_string(limit) + " bytes");
        error.close = true;
        return false;
    }
    if (request.contentLength == 0) return true;
    if (request.expectContinue) io.write("HTTP/1.1 100 Continue\r\n\r\n");
    request.body.resize(static_cast<std::size_t>(request.contentLength));
    return io.readExact(&request.body[0], request.body.size());
}

bool CHttpConnection::readChunked(HttpRequest& request, CConnectionIo& io, HttpResponse& error) {
    const std::uint64_t limit = m_service.config().maxRestBodyBytes;
    std::string line;
    for (;;) {
        if (!io.readLine(line, 1024)) {
            error = CJson::error(400, "malformed chunk size line");
            error.close = true;
            return false;
        }
        std::string sizeText = line.substr(0, line.find(';'));
        while (!sizeText.empty() && (sizeText.back() == ' ' || sizeText.back() == '\t')) {
            sizeText.pop_back();
        }
        if (sizeText.empty() || sizeText.size() > 15 ||
            sizeText.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            error = CJson::error(400, "malformed chunk size");
            error.close = true;
            return false;
        }
        std::uint64_t size = std::stoull(sizeText, nullptr, 16);
        if (size == 0) break;
        if (request.body.size() + size > limit) {
            error = CJson::error(413, "body larger than " + std::to_string(limit) + " bytes");
            error.close = true;
            return false;
        }
        std::size_t at = request.body.size();
        request.body.resize(at + static_cast<std::size_t>(size));
        char crlf[2];
        if (!io.readExact(&request.body[at], static_cast<std::size_t>(size)) ||
            !io.readExact(crlf, 2) || crlf[0] != '\r' || crlf[1] != '\n') {
            error = CJson::error(400, "malformed chunk");
            error.close = true;
            return false;
        }
    }
    // Trailer fields are read and dropped.
    for (std::size_t count = 0;; ++count) {
        if (!io.readLine(line, 8192) || count > 64) {
            error = CJson::error(400, "malformed trailer");
            error.close = true;
            return false;
        }
        if (line.empty()) return true;
    }
}

}  // namespace vxt_service
