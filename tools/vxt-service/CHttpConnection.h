// One accepted connection: reads requests one after another (keep-alive, pipelining), names
// each by its route, logs it, applies scripted faults and hands it to the REST, data or control
// routes. Every failure ends this connection only.
#ifndef VXT_SERVICE_CHTTPCONNECTION_H
#define VXT_SERVICE_CHTTPCONNECTION_H

#include <Poco/Net/TCPServerConnection.h>
#include <Poco/Net/TCPServerConnectionFactory.h>

#include <cstdint>

#include "vxt-service/CConnectionIo.h"
#include "vxt-service/CFaultTable.h"
#include "vxt-service/CResponseWriter.h"
#include "vxt-service/CRouter.h"
#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CServiceImpl;

class CHttpConnection : public Poco::Net::TCPServerConnection {
public:
    CHttpConnection(const Poco::Net::StreamSocket& socket, CServiceImpl& service);
    void run() override;

    class Factory : public Poco::Net::TCPServerConnectionFactory {
    public:
        explicit Factory(CServiceImpl& service) : m_service(service) {}
        Poco::Net::TCPServerConnection* createConnection(
            const Poco::Net::StreamSocket& socket) override {
            return new CHttpConnection(socket, m_service);
        }

    private:
        CServiceImpl& m_service;
    };

private:
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
    bool answerFault(const HttpRequest& request, const FaultSpec& fault, CConnectionIo& io,
                     ExchangeResult& result);

    CServiceImpl& m_service;
    std::uint64_t m_connectionId;
};

}  // namespace vxt_service

#endif
