// Writes response heads and in-memory answers, applying the faults that cut an answer short.
#ifndef VXT_SERVICE_CRESPONSEWRITER_H
#define VXT_SERVICE_CRESPONSEWRITER_H

#include <cstdint>
#include <functional>
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
    // Called just before a response head goes out, so that whoever reads the request log after
    // seeing the answer finds its status and request body already recorded.
    std::function<void(const ExchangeResult&)> onAnswer;

    // Records the status about to be sent and tells onAnswer.
    void answering(int answerStatus) {
        status = answerStatus;
        if (onAnswer) onAnswer(*this);
    }
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
