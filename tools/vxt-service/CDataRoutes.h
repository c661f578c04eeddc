// The data plane: PUT of a whole file or of one multipart part to a signed URL, streamed to disk
// through a temporary file, and GET/HEAD of a stored file with single byte ranges. A PUT must
// carry the headers its URL was handed out with and exactly the announced Content-Length; an
// expired or altered URL gets 403.
#ifndef VXT_SERVICE_CDATAROUTES_H
#define VXT_SERVICE_CDATAROUTES_H

#include <cstdint>
#include <string>

#include "vxt-service/CConnectionIo.h"
#include "vxt-service/CFaultTable.h"
#include "vxt-service/CResponseWriter.h"
#include "vxt-service/CRouter.h"
#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CServiceImpl;

class CDataRoutes {
public:
    explicit CDataRoutes(CServiceImpl& service) : m_service(service) {}

    void handle(const HttpRequest& request, const RouteMatch& match, const FaultRule& fault,
                CConnectionIo& io, ExchangeResult& result);

    // Answers `response` without using the request body: the body is read and dropped when its
    // length is known and the client did not wait for "100 Continue", else the connection
    // closes after the answer.
    static void refuse(const HttpRequest& request, const HttpResponse& response, CConnectionIo& io,
                       ExchangeResult& result);

    // Judges a Range header against a file of `size` bytes: 206 with [first, last], 416, or 200
    // when the header is absent, malformed or asks for several ranges (served whole).
    static int evaluateRange(const std::string& header, std::uint64_t size, std::uint64_t& first,
                             std::uint64_t& last);

private:
    struct PutTarget {
        std::string key;
        std::uint64_t size = 0;
        std::string uploadKey;
        std::uint32_t partNumber = 0;
    };

    void put(const HttpRequest& request, const RouteMatch& match, const FaultRule& fault,
             CConnectionIo& io, ExchangeResult& result);
    void get(const HttpRequest& request, const RouteMatch& match, const FaultRule& fault,
             CConnectionIo& io, ExchangeResult& result);
    // The signature, or the scripted expiry; a 403 answer when they refuse.
    bool checkUrl(const HttpRequest& request, const FaultRule& fault, HttpResponse& error);
    bool lookupPutTarget(const RouteMatch& match, PutTarget& target, HttpResponse& error);
    bool checkPutHeaders(const HttpRequest& request, const PutTarget& target, HttpResponse& error);
    // Receives the body into the store under `target.key`. False when the connection ended
    // first (or a fault cut it); the caller then closes without answering.
    bool receiveBody(const HttpRequest& request, const PutTarget& target, const FaultRule& fault,
                     CConnectionIo& io, ExchangeResult& result, HttpResponse& error);

    CServiceImpl& m_service;
};

}  // namespace vxt_service

#endif
