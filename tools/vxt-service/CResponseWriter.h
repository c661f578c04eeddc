// Writes response heads and in-memory answers, applying the faults that cut an answer short.
#ifndef VXT_SERVICE_CRESPONSEWRITER_H
#define VXT_SERVICE_CRESPONSEWRITER_H

#include <cstdint>
#include <string>

#include "vxt-service/CConnectionIo.h"
#include "vxt-service/CFaultTable.h"
#include "vxt-service/HttpTypes.h"

namespace vxt_service {

// What became of one exchange, for the request log and the connection loop.
struct ExchangeResult {
    int status = 0;  // 0: the connection was closed without an answer
    std::uint64_t bodyBytes = 0;
    std::uint64_t responseBodyBytes = 0;
    bool close = false;
};

class CResponseWriter {
public:
    // The head of a response with a body of `contentLength` bytes.
    static std::string head(int status, const HeaderList& headers, std::uint64_t contentLength,
                            const std::string& contentType, bool keepAlive);
    // Sends `response` (without its body for HEAD), cut short as `fault` says
    // (CloseAfterHeaders, TruncateBody). Fills `result`.
    static void send(CConnectionIo& io, const HttpResponse& response, bool keepAlive, bool headOnly,
                     const FaultRule& fault, ExchangeResult& result);
};

}  // namespace vxt_service

#endif
