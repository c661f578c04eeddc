// One accepted connection: reads requests one after another (keep-alive, pipelining), names
// each by its route, logs it, applies scripted faults and hands it to the REST, data or control
// routes. Every failure ends this connection only.
#ifndef VXT_SERVICE_CHTTPCONNECTION_H
#define VXT_SERVICE_CHTTPCONNECTION_H

#include <Poco/Net/StreamSocket.h>

#include <cstdint>

#include "vxt-service/CConnectionIo.h"
#include "vxt-service/CFaultTable.h"
#include "vxt-service/CResponseWriter.h"
#include "vxt-service/CRouter.h"
#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CServiceImpl;

class CHttpConnection {
public:
    CHttpConnection(const Poco::Net::StreamSocket& socket, CServiceImpl& service);
    // Serves the connection until it closes or the service stops.
    void run();

private:
    Poco::Net::StreamSocket& socket() { return m_socket; }

    // Reads and drops what the peer still sends, for a bounded time, before closing.
    void linger(CConnectionIo& io);
    // Serves one request; false when the connection must close.
    bool serveOne(CConnectionIo& io);
    void serveRouted(HttpRequest& request, const RouteMatch& match, CConnectionIo& io,
                     ExchangeResult& result);
    // Reads a REST or control body (Content-Length or chunked) within the configured bound.
    // False with `error` set (413, 400) or with error.status 200 when the peer went away.
    bool readBody(HttpRequest& request, CConnectionIo& io, HttpResponse& error);
    bool readChunked(HttpRequest& request, CConnectionIo& io, HttpResponse& error);
    // The request's own absolute URL, for redirect loops.
    std::string ownUrl(const HttpRequest& request) const;
    // Applies a fault's status or redirect; true when it answered.
    bool answerFault(const HttpRequest& request, const FaultRule& fault, CConnectionIo& io,
                     ExchangeResult& result);

    Poco::Net::StreamSocket m_socket;
    CServiceImpl& m_service;
    std::uint64_t m_connectionId;
    bool m_linger = false;  // the last answer closes the connection with a body maybe unread
};

}  // namespace vxt_service

#endif
